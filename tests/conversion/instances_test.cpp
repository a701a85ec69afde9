// Instances with their materials, flags and clip regions; pooled geometry;
// the model's side of the converter's end.
#include <algorithm>

#include "ConversionFixture.h"
#include "scene/KeyPath.h"
#include "scene/VisibilityKit.h"

namespace qx_conversion_test {
namespace {

using namespace KZV;

class InstancesTest : public ConversionTest {
 protected:
  static PointArrayArray Square() { return {{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}}; }
};

TEST_F(InstancesTest, ClipRegionsAboveTheRootDontCount) {
  SegmentKey top = Database::CreateRootSegment("top");
  SegmentKey middle = top.Subsegment("middle");
  top.SetClipRegion(Square(), Drawing::ClipSpace::World, Drawing::ClipOperation::Keep);
  SegmentKey start = middle.Subsegment("start");
  SegmentKey part = start.Subsegment("part");
  InsertSquare(part);
  part.InsertLine({{0, 0, 0}, {1, 1, 1}});

  KeyPath const path(KeyArray{start, middle, top});
  Convert({}, &path);
  auto instances = Instances();
  ASSERT_EQ(2u, instances.size());
  EXPECT_EQ(0u, instances[0]->clip);
  EXPECT_EQ(0u, impl().clip_regions.size());

  // Regions at the root and below count; both geometries share one region.
  start.SetClipRegion(Square(), Drawing::ClipSpace::Window, Drawing::ClipOperation::Remove);
  part.SetClipRegion(Square(), Drawing::ClipSpace::World, Drawing::ClipOperation::Keep);
  Convert({}, &path);
  instances = Instances();
  ASSERT_EQ(4u, instances.size());
  EXPECT_NE(0u, instances[2]->clip);
  EXPECT_EQ(instances[2]->clip, instances[3]->clip);
  ASSERT_EQ(1u, impl().clip_regions.size());
  auto const& loops = impl().clip_regions.Find(instances[2]->clip)->loops;
  ASSERT_EQ(2u, loops.size());
  EXPECT_EQ(1u, loops[0].first_flag);   // removing
  EXPECT_EQ(1u, loops[0].second_flag);  // in window space
  EXPECT_EQ(0u, loops[1].first_flag);
  EXPECT_EQ(0u, loops[1].second_flag);
  ASSERT_EQ(1u, loops[1].polygons.size());
  EXPECT_EQ(4u, impl().poly_polygons.Find(loops[1].polygons[0])->points.size());
  top.Delete();
}

TEST_F(InstancesTest, MaterialsFollowTheVisibleClasses) {
  MaterialMappingKit mapping;
  mapping.SetFaceColor({0, 1, 0, 1});
  mapping.SetLineColor(MaterialSetting::Color(RGBColor{0, 0, 1}));
  root.SetMaterialMapping(mapping);
  SegmentKey lines_only = root.Subsegment();
  VisibilityKit visibility;
  visibility.SetFaces(false).SetText(false).SetVertices(false).SetLines(true);
  lines_only.SetVisibility(visibility);
  lines_only.InsertLine({{0, 0, 0}, {1, 0, 0}});
  InsertSquare(root.Subsegment());
  Convert();
  auto const instances = Instances();
  ASSERT_EQ(2u, instances.size());
  EXPECT_EQ(2u, instances[0]->flags);
  EXPECT_EQ(0u, instances[0]->face_material);
  EXPECT_EQ(0u, instances[0]->point_material);
  EXPECT_NE(0u, instances[0]->line_material);
  EXPECT_EQ(7u, instances[1]->flags);
  EXPECT_NE(0u, instances[1]->face_material);
  EXPECT_NE(instances[1]->face_material, instances[1]->line_material);
}

TEST_F(InstancesTest, PooledGeometryOfASegmentPathIsOneMeshPerBucket) {
  SegmentKey library = Database::CreateRootSegment("library");
  SegmentKey part = library.Subsegment("part");
  InsertSquare(part);
  part.InsertShell({{5, 0, 0}, {6, 0, 0}, {6, 1, 0}}, {3, 0, 1, 2});
  part.InsertLine({{0, 0, 0}, {0, 0, 1}});
  root.Subsegment().IncludeSegment(part);
  root.Subsegment().IncludeSegment(part);
  ConverterOptions pooled;
  pooled.GeometryMode = 2;
  Convert(pooled);
  // Faces and lines of like flags and materials share one bucket; the
  // second path reuses its mesh.
  EXPECT_EQ(1u, MeshCount());
  auto const instances = Instances();
  ASSERT_EQ(2u, instances.size());
  EXPECT_EQ(instances[0]->mesh, instances[1]->mesh);
  auto const& mesh = Mesh(instances[0]->mesh);
  EXPECT_EQ(9u, mesh.points.size());
  ASSERT_EQ(2u, mesh.face_elements.size());
  EXPECT_EQ((std::vector<uint32_t>{4, 5, 6}), Words(mesh.face_elements, 1));
  ASSERT_EQ(1u, mesh.line_elements.size());
  EXPECT_EQ((std::vector<uint32_t>{7, 8}), Words(mesh.line_elements, 0));
  library.Delete();
}

TEST_F(InstancesTest, PooledPathsKeepReferencedGeometryApart) {
  SegmentKey library = Database::CreateRootSegment("library");
  SegmentKey part = library.Subsegment("part");
  InsertSquare(part);
  ShellKey triangle = library.InsertShell({{5, 0, 0}, {6, 0, 0}, {6, 1, 0}}, {3, 0, 1, 2});
  InsertSquare(root);
  root.ReferenceGeometry(part);
  MatrixKit move;
  move.Translate(0, 0, 9);
  root.ReferenceGeometry(triangle).SetModellingMatrix(move);
  ConverterOptions pooled;
  pooled.GeometryMode = 2;
  Convert(pooled);
  // The referenced segment's pool, the triangle on its own matrix, and the
  // root's own square.
  auto const instances = Instances();
  ASSERT_EQ(3u, instances.size());
  EXPECT_EQ(3u, MeshCount());
  double m[12];
  impl().GetMatrix(instances[1]->matrix, m);
  EXPECT_EQ(9.0, m[11]);
  EXPECT_EQ(4u, Mesh(instances[2]->mesh).points.size());
  library.Delete();
}

TEST_F(InstancesTest, UserDataAndTheGroupOfAllInstancesReachTheModel) {
  ShellKey shell = InsertSquare(root);
  shell.SetUserData(7, {1, 2, 3});
  root.Subsegment().InsertLine({{0, 0, 0}, {1, 0, 0}});
  ConverterOptions options;
  options.ExportUserData = true;
  options.GroupAllInstances = true;
  size_t const data = impl().keyed_data.size();
  Convert(options);
  // The list of pairs and one entry of the shell's data.
  EXPECT_EQ(data + 2, impl().keyed_data.size());
  EXPECT_EQ(1u, impl().groups.size());
}

}  // namespace
}  // namespace qx_conversion_test
