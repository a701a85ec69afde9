// Stream preparation of whole models: what it leaves in the model's files,
// what it logs, and that a prepared model is left alone.
#include "stream/StreamPreparation.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "geometry/bounding/BoundingTree.h"
#include "store/ModelImpl.h"
#include "tests/geometry/mesh/TestMesh.h"
#include "tests/store/StoreFixture.h"

namespace {

using namespace QX::Store;
using qx_store_test::StoreTest;

class StreamPreparation : public StoreTest {
 protected:
  // A model with `count` instances of one grid mesh, side by side.
  Model ModelWithInstances(char const* name, int count) {
    Model model = Open(name);
    qx_test::TestMesh grid = qx_test::GridMesh(6);
    MeshKey const mesh = model.InsertMesh(grid.Data());
    for (int i = 0; i < count; ++i) {
      double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 10.0 * i, 0, 0};
      model.InsertInstance(mesh, model.InsertMatrix(matrix), 0, 0, 0, 0, 0, 0, 7, 0, 0, {});
    }
    return model;
  }

  // A mesh of one kind of elements only.
  static qx_test::TestMesh Only(ElementWords MeshData::*elements, float dy) {
    qx_test::TestMesh mesh = qx_test::GridMesh(4, 0, dy);
    std::swap(mesh.data.face_elements, mesh.data.*elements);
    return mesh;
  }
};

// Faces, lines, points and an image are prepared into files; a reopened
// model reads its records back, and its tree from its file, which stays
// untouched. A prepared, unchanged model is left alone.
TEST_F(StreamPreparation, AReopenedModelLoadsEverythingFromItsFiles) {
  {
    Model model = ModelWithInstances("m", 3000);
    for (bool const lines : {true, false}) {
      qx_test::TestMesh mesh = Only(lines ? &MeshData::line_elements : &MeshData::point_elements, lines ? 50 : -50);
      model.InsertInstance(model.InsertMesh(mesh.Data()), 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, {});
    }
    uint8_t const pixels[8 * 8 * 4] = {1, 2, 3, 4};
    model.InsertImageRGBA(8, 8, pixels);
    model.PrepareStream(1);
    EXPECT_EQ(log.Count("preparing stream took "), 1);
  }
  auto const tree_bytes = FileBytes("m", kStreamBoundingName);
  auto const tree_time = std::filesystem::last_write_time(FileOf("m", kStreamBoundingName));

  Model model = Open("m");
  ModelImpl& impl = model.Impl();
  EXPECT_FALSE(impl.bounding_tree);
  for (auto const& entry : impl.meshes) {
    if (entry.value.kind == MeshKind::Record) {
      EXPECT_FALSE(impl.mesh_records[entry.value.index].toc.empty());
    }
  }
  EXPECT_GT(std::filesystem::file_size(FileOf("m", kStreamImagesTocName)), 0u);
  model.PrepareStream(1);
  ASSERT_TRUE(impl.bounding_tree);
  EXPECT_EQ(impl.bounding_tree->items.size(), 3002u);
  EXPECT_EQ(FileBytes("m", kStreamBoundingName), tree_bytes);
  EXPECT_EQ(std::filesystem::last_write_time(FileOf("m", kStreamBoundingName)), tree_time);

  auto const digest = FileBytes("m", kDigestName);
  log.lines.clear();
  model.PrepareStream(1);
  EXPECT_EQ(FileBytes("m", kDigestName), digest);
  EXPECT_EQ(log.Count("preparing stream took "), 0);
}

TEST_F(StreamPreparation, ModelWithoutInstancesStillPreparesImages) {
  Model model = Open("m");
  uint8_t const pixels[4 * 4 * 3] = {200, 10, 10};
  model.InsertImageRGB(4, 4, pixels);
  model.PrepareStream(1);
  EXPECT_FALSE(model.Impl().bounding_tree);
  EXPECT_EQ(log.Count("Optimized 1 stream image in "), 1);
  EXPECT_EQ(log.Count("PrepareStream seems invalid - possible empty Model?"), 1);
  EXPECT_GT(std::filesystem::file_size(FileOf("m", kStreamImagesTocName)), 0u);
  EXPECT_FALSE(std::filesystem::exists(FileOf("m", kStreamBoundingName)));
}

TEST_F(StreamPreparation, ReadOnlyModelsAreRefusedButPrepareInMemory) {
  { Model model = ModelWithInstances("m", 2); }
  Model model = Open("m", true);
  EXPECT_EQ(qx_store_test::ThrownText([&] { model.PrepareStream(1); }), "Attempted to modify a read only model.");
  PrepareScratch scratch;
  PrepareCore(model.Impl(), scratch, true, 1);
  EXPECT_TRUE(model.Impl().bounding_tree);
  EXPECT_EQ(log.Count("preparing stream took "), 0);
  EXPECT_FALSE(std::filesystem::exists(FileOf("m", kStreamBoundingName)));
}

}  // namespace
