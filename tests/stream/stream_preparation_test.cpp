// Stream preparation of whole models: what it leaves in the model's files,
// what it logs, and that a prepared model is left alone.
#include "stream/StreamPreparation.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "geometry/bounding/BoundingNode.h"
#include "geometry/bounding/BoundingTree.h"
#include "store/ImageRecord.h"
#include "store/Instance.h"
#include "store/Model.h"
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

  std::uintmax_t SizeOf(char const* model, char const* file) {
    return std::filesystem::file_size(FileOf(model, file));
  }
};

TEST_F(StreamPreparation, WritesMeshRecordsBoxesAndTree) {
  Model model = ModelWithInstances("m", 300);
  model.PrepareStream(1);
  ModelImpl& impl = model.Impl();

  ASSERT_TRUE(impl.bounding_tree);
  EXPECT_EQ(impl.bounding_tree->items.size(), 300u);
  BoundingBox const& root = impl.bounding_tree->root->bounds;
  EXPECT_FLOAT_EQ(root.min_x, 0.0f);
  EXPECT_FLOAT_EQ(root.max_x, 2990.0f + 5.0f);
  for (auto const& entry : impl.instances) {
    EXPECT_TRUE(entry.value.bounds.Valid()) << entry.value.key;
    EXPECT_GT(entry.value.weight, 0.0f);
  }
  EXPECT_GT(SizeOf("m", kStreamMeshesName), 0u);
  EXPECT_GT(SizeOf("m", kStreamMeshesTocName), 0u);
  EXPECT_GT(SizeOf("m", kStreamBoundingName), 0u);
  EXPECT_EQ(log.Count("preparing stream took "), 1);
  EXPECT_EQ(log.Count("PrepareStream seems invalid"), 0);
}

TEST_F(StreamPreparation, APreparedModelIsLeftAlone) {
  Model model = ModelWithInstances("m", 3);
  model.PrepareStream(1);
  auto const digest = FileBytes("m", kDigestName);
  auto const tree_time = std::filesystem::last_write_time(FileOf("m", kStreamBoundingName));
  log.lines.clear();

  model.PrepareStream(1);
  EXPECT_EQ(FileBytes("m", kDigestName), digest);
  EXPECT_EQ(std::filesystem::last_write_time(FileOf("m", kStreamBoundingName)), tree_time);
  EXPECT_EQ(log.Count("preparing stream took "), 0);
}

TEST_F(StreamPreparation, AReopenedModelLoadsEverythingFromItsFiles) {
  std::vector<BoundingBox> boxes;
  {
    Model model = ModelWithInstances("m", 3000);
    // Points and lines as meshes of their own, and an image.
    qx_test::TestMesh lines = qx_test::GridMesh(4, 0, 50);
    lines.data.line_elements = std::move(lines.data.face_elements);
    lines.data.face_elements.clear();
    model.InsertInstance(model.InsertMesh(lines.Data()), 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, {});
    qx_test::TestMesh points = qx_test::GridMesh(5, 0, -50);
    points.data.point_elements = std::move(points.data.face_elements);
    points.data.face_elements.clear();
    model.InsertInstance(model.InsertMesh(points.Data()), 0, 0, 0, 0, 0, 0, 0, 7, 0, 0, {});
    uint8_t const pixels[8 * 8 * 4] = {1, 2, 3, 4};
    model.InsertImageRGBA(8, 8, pixels);
    model.PrepareStream(1);
    for (auto const& entry : model.Impl().instances) boxes.push_back(entry.value.bounds);
  }
  for (char const* file : {kStreamMeshesName, kStreamMeshesTocName, kStreamImagesName,
                           kStreamImagesTocName, kStreamBoundingName})
    EXPECT_GT(SizeOf("m", file), 0u) << file;
  auto const tree_bytes = FileBytes("m", kStreamBoundingName);
  auto const tree_time = std::filesystem::last_write_time(FileOf("m", kStreamBoundingName));

  Model model = Open("m");
  ModelImpl& impl = model.Impl();
  EXPECT_FALSE(impl.bounding_tree);
  for (auto const& entry : impl.meshes) {
    if (entry.value.kind != MeshKind::Record) continue;
    EXPECT_FALSE(impl.mesh_records[entry.value.index].toc.empty()) << entry.key;
  }
  model.PrepareStream(1);
  ASSERT_TRUE(impl.bounding_tree);
  EXPECT_EQ(impl.bounding_tree->items.size(), 3002u);
  std::vector<BoundingBox> again;
  for (auto const& entry : impl.instances) again.push_back(entry.value.bounds);
  EXPECT_EQ(again, boxes);
  // The tree came from its file: the file wasn't written again.
  EXPECT_EQ(FileBytes("m", kStreamBoundingName), tree_bytes);
  EXPECT_EQ(std::filesystem::last_write_time(FileOf("m", kStreamBoundingName)), tree_time);
}

TEST_F(StreamPreparation, ModelWithoutInstancesStillPreparesImages) {
  Model model = Open("m");
  uint8_t const pixels[4 * 4 * 3] = {200, 10, 10};
  model.InsertImageRGB(4, 4, pixels);
  model.PrepareStream(1);

  EXPECT_FALSE(model.Impl().bounding_tree);
  EXPECT_EQ(log.Count("Optimized 1 stream image in "), 1);
  EXPECT_EQ(log.Count("PrepareStream seems invalid - possible empty Model?"), 1);
  EXPECT_GT(SizeOf("m", kStreamImagesTocName), 0u);
  EXPECT_FALSE(std::filesystem::exists(FileOf("m", kStreamBoundingName)));
}

TEST_F(StreamPreparation, ReadOnlyModelsAreRefusedButPrepareInMemory) {
  { Model model = ModelWithInstances("m", 2); }
  Model model = Open("m", true);
  EXPECT_EQ(qx_store_test::ThrownText([&] { model.PrepareStream(1); }),
            "Attempted to modify a read only model.");

  PrepareScratch scratch;
  PrepareCore(model.Impl(), scratch, true, 1);
  EXPECT_TRUE(model.Impl().bounding_tree);
  EXPECT_EQ(log.Count("preparing stream took "), 0);
  EXPECT_FALSE(std::filesystem::exists(FileOf("m", kStreamBoundingName)));
}

}  // namespace
