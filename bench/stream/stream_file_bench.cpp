// Writing stand-alone stream files: a model of 10,000 instances over 1,000
// meshes, and a model of one mesh of about 1,000,000 triangles. Reports the
// output rate and the share of time spent compressing, measured by
// compressing the contents of every Z block of the file once more at the
// engine's settings; blocks of a single mesh or image record are the
// model's stored blocks, which the engine copies, and are left out.
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <unistd.h>
#include <utility>

#include "bench/stream/JitteredGrid.h"
#include "store/Cache.h"
#include "store/Model.h"
#include "stream/ChunkCompression.h"
#include "stream/StreamReader.h"
#include "stream/WireTags.h"

namespace {

using namespace QX::Store;
using Clock = std::chrono::steady_clock;

double SecondsOf(std::function<void()> const& work) {
  Clock::time_point const start = Clock::now();
  work();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

Bytes ReadAll(std::filesystem::path const& path) {
  Bytes bytes(std::filesystem::file_size(path));
  std::ifstream(path, std::ios::binary).read(reinterpret_cast<char*>(bytes.data()), bytes.size());
  return bytes;
}

bool StoredRecord(uint32_t tag) {
  return tag == Tag::SmallMesh || tag == Tag::LargeMesh || tag == Tag::MeshChunk ||
         tag == Tag::Image;
}

double CompressionSeconds(Bytes const& file) {
  std::vector<Bytes> payloads;
  StreamReader reader(file);
  StreamRecord record;
  Bytes current;
  uint32_t records = 0, first_tag = 0;
  auto const close = [&] {
    if (!current.empty() && !(records == 1 && StoredRecord(first_tag)))
      payloads.push_back(current);
    current.clear();
    records = 0;
  };
  while (reader.Next(record)) {
    if (record.depth == 1 && !record.is_block) {
      if (records++ == 0) first_tag = record.tag;
      current.insert(current.end(), record.bytes.begin(), record.bytes.end());
    } else {
      close();
    }
  }
  close();
  Bytes out;
  return SecondsOf([&] {
    for (Bytes const& payload : payloads) {
      out.clear();
      AppendCompressedBlock(payload, true, out);
    }
  });
}

void Run(char const* title, std::filesystem::path const& dir,
         std::function<void(Model&)> const& build) {
  Cache cache = Cache::Open(nullptr);
  Model model = cache.OpenModel((dir / title).string().c_str(), false);
  model.Include(model, 0);
  build(model);
  double const prepare = SecondsOf([&] { model.PrepareStream(1); });
  std::filesystem::path path;
  double const total = SecondsOf([&] { path = model.GenerateStreamFile(nullptr); });
  Bytes const file = ReadAll(path);
  double const zstd = CompressionSeconds(file);
  std::printf("%s: prepare %.2f s, stream file %.2f s, %.1f MB at %.1f MB/s, compression %.0f%%\n",
              title, prepare, total, file.size() / 1e6, file.size() / 1e6 / total,
              100.0 * zstd / total);
}

}  // namespace

int main() {
  std::filesystem::path const dir =
      std::filesystem::temp_directory_path() / ("qx_stream_file_bench_" + std::to_string(getpid()));
  std::filesystem::create_directories(dir);
  Run("instances", dir, [](Model& model) {
    std::vector<MeshKey> meshes;
    for (uint32_t i = 0; i < 1000; ++i) meshes.push_back(InsertJitteredGrid(model, 8 + i % 13, i, float(i)));
    MaterialKey const color = model.InsertMaterial(RGBAColor{0.5f, 0.5f, 0.5f, 1});
    for (uint32_t i = 0; i < 10000; ++i) {
      double const m[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, double(i % 100) * 30, double(i / 100) * 30, 0};
      model.InsertInstance(meshes[i % meshes.size()], model.InsertMatrix(m), color, kNoKey, kNoKey,
                           0, 0, 0, 7, 0, 0, {});
    }
  });
  Run("triangles", dir, [](Model& model) {
    std::vector<MeshKey> meshes;
    meshes.push_back(InsertJitteredGrid(model, 708, 1));  // 707 x 707 x 2 triangles
    model.InsertInstance(meshes[0], 0, kNoKey, kNoKey, kNoKey, 0, 0, 0, 7, 0, 0, {});
  });
  std::filesystem::remove_all(dir);
  return 0;
}
