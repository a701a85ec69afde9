// Builds a model by hand through the store and writes its stream, then a
// page of a small scene through the export entry; exits non-zero on failure.
// Usage: qx_consumer WORK_DIR TEMPLATE
#include <cstdio>
#include <exception>
#include <filesystem>
#include <vector>

#include "export/HtmlExport.h"
#include "geometry/mesh/MeshData.h"
#include "scene/Database.h"
#include "scene/KeyPath.h"
#include "scene/SegmentKey.h"
#include "scene/ShellKey.h"
#include "store/Cache.h"
#include "store/Model.h"

namespace fs = std::filesystem;
using namespace QX::Store;

namespace {

// A unit square of two triangles, drawn three times side by side.
void WriteStream(fs::path const& dir) {
  Cache cache = Cache::Open(nullptr);
  Model model = cache.OpenModel((dir / "model").c_str(), false);
  std::vector<Point> const points{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
  MeshData mesh;
  mesh.points = points.data();
  mesh.point_count = uint32_t(points.size());
  mesh.face_elements = {{0, 1, 2, 0, 2, 3}};
  mesh.flags = 0;
  MeshKey const square = model.InsertMesh(mesh);
  MaterialKey const red = model.InsertMaterial(RGBAColor{0.8f, 0.1f, 0.1f, 1});
  for (int i = 0; i < 3; ++i) {
    double const placement[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 1.5 * i, 0, 0};
    model.InsertInstance(square, model.InsertMatrix(placement), red, kNoKey, kNoKey, 0, 0, 0, 1, 0, 0, {});
  }
  model.PrepareStream(1);
  fs::path const stream = dir / "squares.qxs";
  model.GenerateStreamFile(stream.c_str());
  if (fs::file_size(stream) == 0) throw std::runtime_error("empty stream");
}

void WritePage(fs::path const& dir, char const* page_template) {
  KZV::SegmentKey const root = KZV::Database::CreateRootSegment("consumer");
  root.InsertShell({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {3, 0, 1, 2});
  fs::path const page = dir / "page.html";
  KZV::HTML::File::Export(KZV::KeyPath({root}), page.c_str(), page_template);
  if (fs::file_size(page) == 0) throw std::runtime_error("empty page");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: qx_consumer WORK_DIR TEMPLATE\n");
    return 2;
  }
  try {
    fs::create_directories(argv[1]);
    WriteStream(argv[1]);
    WritePage(argv[1], argv[2]);
  } catch (std::exception const& error) {
    std::fprintf(stderr, "qx_consumer: %s\n", error.what());
    return 1;
  }
  std::puts("qx_consumer: stream and page written");
  return 0;
}
