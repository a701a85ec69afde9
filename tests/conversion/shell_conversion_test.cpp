// Shells into meshes: point clouds, normals, uvs, vertex and face colors.
#include "ConversionFixture.h"
#include "conversion/UnitToByte.h"
#include "scene/ShellKey.h"
#include "scene/VisibilityKit.h"

namespace qx_conversion_test {
namespace {

using namespace KZV;

class ShellConversionTest : public ConversionTest {
 protected:
  QX::Store::StoredMesh const& OnlyMesh() {
    EXPECT_EQ(1u, MeshCount());
    return Mesh(Instances().at(0)->mesh);
  }
};

TEST(UnitToByteTest, MapsTheUnitRangeOntoBytes) {
  EXPECT_EQ(255, UnitToByte(1.0f));
  EXPECT_EQ(127, UnitToByte(0.5f));
  EXPECT_EQ(0, UnitToByte(0.0f));
  EXPECT_EQ(0, UnitToByte(1.0f / 256));
  EXPECT_EQ(1, UnitToByte(std::nextafter(1.0f / 256, 1.0f)));
  EXPECT_EQ(255, UnitToByte(-1.0f));
}

TEST_F(ShellConversionTest, AShellWithoutFacesIsAPointMesh) {
  root.InsertShell({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}}, {});
  Convert();
  auto const& mesh = OnlyMesh();
  ASSERT_EQ(1u, mesh.point_elements.size());
  EXPECT_EQ((std::vector<uint32_t>{0, 1, 2}), Words(mesh.point_elements, 0));
  EXPECT_TRUE(mesh.face_elements.empty());
}

TEST_F(ShellConversionTest, APointMeshNeedsVerticesVisible) {
  root.InsertShell({{0, 0, 0}, {1, 0, 0}}, {});
  VisibilityKit off;
  off.SetVertices(false);
  root.SetVisibility(off);
  Convert();
  EXPECT_EQ(0u, MeshCount());
}

TEST_F(ShellConversionTest, NormalsAreComputedOnlyWhenForced) {
  SegmentKey plain = root.Subsegment();
  InsertSquare(plain);
  Convert();
  EXPECT_TRUE(OnlyMesh().normals.empty());

  ConverterOptions force;
  force.ForceNormals = true;
  Convert(force);
  auto const& mesh = Mesh(Instances().back()->mesh);
  ASSERT_FALSE(mesh.normals.empty());
  // The tuples now carry a normal: 2 words a vertex, 2 triangles.
  EXPECT_EQ(12u, Words(mesh.face_elements, 0).size());
}

TEST_F(ShellConversionTest, ExplicitNormalsOnEveryVertexAreKept) {
  ShellKey shell = InsertSquare(root);
  shell.SetVertexNormalsByRange(0, VectorArray(4, Vector(0, 0, -1)));
  Convert();
  auto const& mesh = OnlyMesh();
  ASSERT_FALSE(mesh.normals.empty());
  EXPECT_FLOAT_EQ(-1.0f, mesh.normals[0].z);
}

TEST_F(ShellConversionTest, ParametersOnSomeVerticesOnlyGiveNoUvs) {
  SegmentKey partial = root.Subsegment();
  InsertSquare(partial).SetVertexParametersByRange(0, 3, {0, 0, 1, 0, 1, 1}, 2);
  Convert();
  EXPECT_TRUE(OnlyMesh().uvs.empty());

  SegmentKey full = root.Subsegment();
  InsertSquare(full).SetVertexParametersByRange(0, 4, {0, 0, 7, 1, 0, 7, 1, 1, 7, 0, 1, 7}, 3);
  Convert();
  auto const& mesh = Mesh(Instances().back()->mesh);
  ASSERT_EQ(4u, mesh.uvs.size());
  EXPECT_EQ(1.0f, mesh.uvs[2].u);
  EXPECT_EQ(1.0f, mesh.uvs[2].v);
}

TEST_F(ShellConversionTest, VertexColorsBecomeBytesAndPaletteIndicesInterpolate) {
  ShellKey shell = InsertSquare(root);
  shell.SetVertexRGBColorsByRange(Shell::Component::Faces, 0, {{1, 0, 0}, {0, 1, 0}});
  // Default palette: entry 1 is white, entry 2 green; halfway between them.
  shell.SetVertexIndexColorsByRange(Shell::Component::Faces, 2, {1.5f, 0.0f});
  Convert();
  auto const& mesh = OnlyMesh();
  ASSERT_EQ(4u, mesh.colors.size());
  EXPECT_EQ((QX::Store::RGBA32{255, 0, 0, 255}), mesh.colors[0]);
  EXPECT_EQ((QX::Store::RGBA32{127, 255, 127, 255}), mesh.colors[2]);
  EXPECT_EQ((QX::Store::RGBA32{0, 0, 0, 255}), mesh.colors[3]);
}

TEST_F(ShellConversionTest, FaceColorsGroupFacesWithTheUncoloredOnesLast) {
  // Four triangles: blue, uncolored, red, blue.
  PointArray points{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {2, 0, 0}, {2, 1, 0}};
  ShellKey shell = root.InsertShell(points, {3, 0, 1, 2, 3, 0, 2, 3, 3, 1, 4, 5, 3, 1, 5, 2});
  shell.SetFaceRGBColorsByRange(0, {{0, 0, 1}});
  shell.SetFaceRGBColorsByRange(2, {{1, 0, 0}, {0, 0, 1}});
  Convert();
  auto const& mesh = OnlyMesh();
  ASSERT_EQ(3u, mesh.face_elements.size());
  QX::Store::MeshRecord const* record = impl().FindMesh(Instances()[0]->mesh);
  auto const* map = impl().material_maps.Find(record->face_material_map);
  ASSERT_NE(nullptr, map);
  ASSERT_EQ(2u, map->keys.size());
  EXPECT_LT(map->keys[0], map->keys[1]);
  // Blue was seen first and got the lower key: element 0 has both blue faces.
  EXPECT_EQ(6u, Words(mesh.face_elements, 0).size());
  EXPECT_EQ(3u, Words(mesh.face_elements, 1).size());
  EXPECT_EQ(3u, Words(mesh.face_elements, 2).size());
}

TEST_F(ShellConversionTest, FaceColorsByPaletteIndexStayInTheFirstElement) {
  ShellKey shell = InsertSquare(root);
  shell.SetFaceIndexColorsByRange(0, {2.0f});
  Convert();
  auto const& mesh = OnlyMesh();
  ASSERT_EQ(1u, mesh.face_elements.size());
  EXPECT_EQ(6u, Words(mesh.face_elements, 0).size());
}

TEST_F(ShellConversionTest, FaceOutlinesCloseEachFace) {
  InsertSquare(root);
  ConverterOptions outlines;
  outlines.FaceOutlines = true;
  Convert(outlines);
  auto const& mesh = OnlyMesh();
  ASSERT_EQ(1u, mesh.line_elements.size());
  EXPECT_EQ((std::vector<uint32_t>{QX::Store::kNoIndex, 0, 1, 2, 3, 0}), Words(mesh.line_elements, 0));
}

TEST_F(ShellConversionTest, SurfacesAreTessellatedIntoShellsAndCurvesIntoLines) {
  root.InsertSphere({0, 0, 0}, 1.0f, {0, 1, 0}, {1, 0, 0});
  root.InsertCircle({1, 0, 0}, {0, 1, 0}, {-1, 0, 0});
  root.InsertPolygon({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
  Convert();
  ASSERT_EQ(3u, MeshCount());
  auto const instances = Instances();
  EXPECT_FALSE(Mesh(instances[0]->mesh).face_elements.empty());
  EXPECT_FALSE(Mesh(instances[1]->mesh).line_elements.empty());
  EXPECT_FALSE(Mesh(instances[2]->mesh).face_elements.empty());
}

}  // namespace
}  // namespace qx_conversion_test
