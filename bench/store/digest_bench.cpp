// Writing and reading the digest of a large model: 1,000,000 instances,
// 200,000 matrices and 100,000 meshes. Reports bytes per second of each.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <string>

#include "files/File.h"
#include "files/FileSystem.h"
#include "store/Cache.h"
#include "store/ModelImpl.h"

namespace {

using namespace QX::Store;
namespace fs = std::filesystem;

constexpr uint32_t kInstances = 1'000'000;
constexpr uint32_t kMatrices = 200'000;
constexpr uint32_t kMeshes = 100'000;

fs::path BenchDirectory() {
  static fs::path const dir = [] {
    fs::path d = fs::temp_directory_path() / ("qx-digest-bench-" + std::to_string(::getpid()));
    fs::remove_all(d);
    fs::create_directories(d);
    return d;
  }();
  return dir;
}

void Fill(ModelImpl& m) {
  for (uint32_t i = 0; i < kMatrices; ++i) {
    double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, double(i), 0, 0};
    m.InsertMatrix(matrix);
  }
  m.mesh_records.reserve(kMeshes + 1);
  for (uint32_t i = 1; i <= kMeshes; ++i) {
    MeshRecord& record = m.mesh_records.emplace_back();
    record.key = i;
    record.stored_offset = int64_t(i) * 1000;
    record.content_hash = i * 0x9E3779B97F4A7C15ull;
    record.bounds = BoundingBox{0, 0, 0, 1, 1, float(i)};
    m.meshes.Insert(i, MeshEntry{uint32_t(m.mesh_records.size() - 1), MeshKind::Record});
  }
  m.next.mesh = kMeshes + 1;
  m.instances.Reserve(kInstances);
  for (uint32_t i = 1; i <= kInstances; ++i) {
    Instance instance;
    instance.key = i;
    instance.mesh = 1 + i % kMeshes;
    instance.matrix = i % kMatrices;
    instance.flags = 7;
    m.instances.Insert(i, std::move(instance));
  }
  m.next.instance = kInstances + 1;
  m.dirty = true;
}

// Makes the model once; every benchmark works on its digest.
struct BenchModel {
  BenchModel() : cache(Cache::Open(nullptr)) {
    path = (BenchDirectory() / "model").string();
    model = cache.OpenModel(path.c_str(), false);
    Fill(model.Impl());
    model.Impl().WriteDigest();
  }
  uint64_t DigestSize() const { return fs::file_size(fs::path(path) / kDigestName); }

  Cache cache;
  Model model;
  std::string path;
};

BenchModel& Shared() {
  static BenchModel bench;
  return bench;
}

void BM_WriteDigest(benchmark::State& state) {
  ModelImpl& m = Shared().model.Impl();
  for (auto _ : state) m.WriteDigest();
  state.SetBytesProcessed(int64_t(state.iterations() * Shared().DigestSize()));
}

void BM_ReadDigest(benchmark::State& state) {
  BenchModel& bench = Shared();
  fs::path const digest = fs::path(bench.path) / kDigestName;
  for (auto _ : state) {
    state.PauseTiming();  // making and releasing the tables isn't reading
    auto fresh = std::make_unique<ModelImpl>(nullptr, nullptr, &DefaultFiles());
    fresh->quiet = true;
    fresh->mesh_tocs_read = fresh->image_tocs_read = true;
    std::unique_ptr<File> file = DefaultFiles().NewFile(digest);
    file->OpenRead(false);
    state.ResumeTiming();
    fresh->ReadDigest(*file);
    benchmark::DoNotOptimize(fresh->instances.size());
    state.PauseTiming();
    fresh.reset();
    state.ResumeTiming();
  }
  state.SetBytesProcessed(int64_t(state.iterations() * bench.DigestSize()));
}

BENCHMARK(BM_WriteDigest)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_ReadDigest)->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace

BENCHMARK_MAIN();
