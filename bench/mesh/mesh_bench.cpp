// Mesh insertion and stream encoding: one large mesh in the expanded form
// and many small meshes in the indexed form. Prints triangles per second for
// storing (with duplicate detection) and for encoding, split into reading
// the stored record, welding, and compressing plus writing. Times are CPU
// time of this thread, so that other work on the machine doesn't count,
// except for the encoding as a whole: its compression runs on several
// threads, so it is wall time.
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <thread>
#include <vector>

#include "files/DiskFile.h"
#include "geometry/mesh/MeshData.h"
#include "geometry/mesh/MeshDuplicates.h"
#include "geometry/mesh/MeshRecord.h"
#include "geometry/mesh/MeshWeld.h"
#include "geometry/mesh/StoredMesh.h"
#include "geometry/mesh/StreamMesh.h"
#include "geometry/mesh/StreamRecordQueue.h"

using namespace QX::Store;
namespace {

double Now() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

double Seconds(double since) { return Now() - since; }

double WallNow() {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// An n x n grid on a wavy surface of height `height`, with a normal and a
// uv per point.
struct Grid {
  std::vector<Point> points, normals;
  std::vector<UV> uvs;
  MeshData data;
  uint64_t triangles = 0;

  Grid(uint32_t n, float height) {
    for (uint32_t j = 0; j < n; ++j)
      for (uint32_t i = 0; i < n; ++i) {
        float const x = float(i), y = float(j);
        float const z = height * float((i * 7 + j * 13) % 17) / 17;
        points.push_back({x, y, z});
        normals.push_back({z, 1 - z, 0.5f});
        uvs.push_back({float(i) / float(n), float(j) / float(n)});
      }
    std::vector<uint32_t> words;
    words.reserve(size_t(n - 1) * (n - 1) * 18);
    for (uint32_t j = 0; j + 1 < n; ++j)
      for (uint32_t i = 0; i + 1 < n; ++i) {
        uint32_t const a = j * n + i;
        for (uint32_t p : {a, a + 1, a + n, a + 1, a + n + 1, a + n})
          words.insert(words.end(), {p, p, p});
      }
    triangles = uint64_t(n - 1) * (n - 1) * 2;
    data.face_elements.push_back(std::move(words));
    data.flags = kFaceNormals | kFaceUvs;
    data.points = points.data();
    data.point_count = uint32_t(points.size());
    data.normals = normals.data();
    data.normal_count = uint32_t(normals.size());
    data.uvs = uvs.data();
    data.uv_count = uint32_t(uvs.size());
  }
};

struct Files {
  std::filesystem::path dir;
  DiskFile stored, stream, toc;
  explicit Files(std::filesystem::path where)
      : dir(std::move(where)),
        stored(dir / "_meshes.qxi"),
        stream(dir / "_stream_meshes.qxd"),
        toc(dir / "_stream_meshes_toc.qxd") {
    for (DiskFile* f : {&stored, &stream, &toc}) f->OpenWrite(true, true);
  }
};

struct Timings {
  double insert = 0, read = 0, weld = 0, encode = 0;
  uint64_t triangles = 0, stream_bytes = 0;

  void Print(char const* what) const {
    double const other = encode - read - weld;
    std::printf("%s: %.0f triangles\n", what, double(triangles));
    std::printf("  insertion        %8.3f s  %8.2f M triangles/s\n", insert, triangles / insert / 1e6);
    std::printf("  encoding         %8.3f s  %8.2f M triangles/s\n", encode, triangles / encode / 1e6);
    std::printf("    read stored    %8.3f s\n", read);
    std::printf("    welding        %8.3f s  %8.2f M triangles/s\n", weld, triangles / weld / 1e6);
    std::printf("    compress+write %8.3f s  (%.1f MB written)\n", other, stream_bytes / 1e6);
  }
};

void Run(std::vector<Grid*> const& meshes, Files& files, Timings& t, unsigned threads) {
  std::vector<MeshRecord> records(meshes.size());
  MeshKeyLists candidates, duplicates;
  StoredMesh scratch;
  Matrix unused{};
  DuplicateSearch search{candidates, duplicates, files.stored, scratch,
                         [&](MeshKey key) { return &records[key]; },
                         [&](Matrix const& m) { return unused = m, MatrixKey(1); }};
  double start = Now();
  for (size_t i = 0; i < meshes.size(); ++i) {
    records[i].key = MeshKey(i);
    if (!FindDuplicate(meshes[i]->data, records[i], search))
      WriteStoredMesh(files.stored, meshes[i]->data, records[i], nullptr);
    t.triangles += meshes[i]->triangles;
  }
  t.insert += Seconds(start);

  for (MeshRecord const& record : records) {
    start = Now();
    ReadStoredMesh(files.stored, record, scratch);
    t.read += Seconds(start);
    start = Now();
    detail::WeldSummary summary;
    detail::WeldMesh(scratch, summary);
    t.weld += Seconds(start);
  }
  start = WallNow();
  StreamRecordQueue queue(files.stream, files.toc, 1, threads, nullptr);
  for (MeshRecord& record : records) EncodeStreamMesh(files.stored, queue, record, scratch);
  queue.Flush();
  t.encode += WallNow() - start;
  t.stream_bytes = uint64_t(files.stream.Size());
}

}  // namespace

// Encodes on one thread, then on every hardware thread, and prints the
// ratio of the encoding times measured in this one run.
int main() {
  std::filesystem::path const dir = std::filesystem::temp_directory_path() / "qx-mesh-bench";
  unsigned const all = std::max(1u, std::thread::hardware_concurrency());
  double large_encode[2] = {0, 0}, small_encode[2] = {0, 0};
  for (int run = 0; run < 2; ++run) {
    unsigned const threads = run == 0 ? 1 : all;
    std::printf("--- %u thread%s\n", threads, threads == 1 ? "" : "s");
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir / "large");
    std::filesystem::create_directories(dir / "small");
    {
      Grid large(1001, 1);  // 2,000,000 triangles
      Files files(dir / "large");
      Timings t;
      Run({&large}, files, t, threads);
      t.Print("one mesh, expanded form");
      large_encode[run] = t.encode;
    }
    {
      std::vector<Grid> grids;
      grids.reserve(10000);
      // 200 triangles each, all of other shapes, so that none is a duplicate.
      for (int i = 0; i < 10000; ++i) grids.emplace_back(11, 1 + float(i) * 1e-3f);
      std::vector<Grid*> meshes;
      for (Grid& g : grids) meshes.push_back(&g);
      Files files(dir / "small");
      Timings t;
      Run(meshes, files, t, threads);
      t.Print("10,000 meshes, indexed form");
      small_encode[run] = t.encode;
    }
  }
  std::printf("encoding speed-up on %u threads: large mesh %.2fx, small meshes %.2fx\n", all,
              large_encode[0] / large_encode[1], small_encode[0] / small_encode[1]);
  std::filesystem::remove_all(dir);
  return 0;
}
