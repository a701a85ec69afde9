// Stream preparation on several threads writes the bytes that one thread
// writes: the mesh records, their compression and their tables of contents.
#include <gtest/gtest.h>

#include "store/Model.h"
#include "store/ModelImpl.h"
#include "tests/geometry/mesh/TestMesh.h"
#include "tests/store/StoreFixture.h"

namespace {

using namespace QX::Store;
using qx_store_test::StoreTest;

class ParallelPreparation : public StoreTest {
 protected:
  // Meshes of many sizes (indexed records, some compressed, one expanded
  // into chunks), one instance each, prepared on `threads` threads.
  void Prepare(std::string const& name, unsigned threads) {
    Model model = Open(name);
    std::vector<uint32_t> sides{2, 5, 17, 40, 64, 91, 120, 181, 300};
    for (uint32_t n = 20; n < 60; n += 3) sides.push_back(n);
    for (uint32_t n : sides) {
      qx_test::TestMesh grid = qx_test::GridMesh(n, float(n), 0, 0);
      MeshKey const mesh = model.InsertMesh(grid.Data());
      double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
      model.InsertInstance(mesh, model.InsertMatrix(matrix), 0, 0, 0, 0, 0, 0, 7, 0, 0, {});
    }
    model.Impl().prepare_threads = threads;
    model.PrepareStream(1);
  }
};

TEST_F(ParallelPreparation, AnyNumberOfThreadsWritesTheSameMeshFiles) {
  Prepare("one", 1);
  std::vector<uint8_t> const meshes = FileBytes("one", kStreamMeshesName);
  std::vector<uint8_t> const tocs = FileBytes("one", kStreamMeshesTocName);
  ASSERT_GT(meshes.size(), 1000000u);
  for (unsigned threads : {2u, 8u}) {
    std::string const name = "threads" + std::to_string(threads);
    Prepare(name, threads);
    EXPECT_EQ(FileBytes(name, kStreamMeshesName), meshes) << threads << " threads";
    EXPECT_EQ(FileBytes(name, kStreamMeshesTocName), tocs) << threads << " threads";
  }
}

}  // namespace
