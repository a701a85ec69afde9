// Pooled geometry, referenced geometry in pools, and the model's side of
// the converter's end.
#include "ConversionFixture.h"

namespace qx_conversion_test {
namespace {

using namespace KZV;

using InstancesTest = ConversionTest;
PointArrayArray const kSquare = {{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}};

TEST_F(InstancesTest, PooledGeometryOfASegmentPathIsOneMeshPerBucket) {
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
}

TEST_F(InstancesTest, PooledPathsKeepReferencedGeometryApart) {
  SegmentKey part = library.Subsegment("part");
  InsertSquare(part);
  ShellKey triangle = library.InsertShell({{5, 0, 0}, {6, 0, 0}, {6, 1, 0}}, {3, 0, 1, 2});
  InsertSquare(root);
  root.ReferenceGeometry(part);
  root.ReferenceGeometry(triangle).SetModellingMatrix(MatrixKit().Translate(0, 0, 9));
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
