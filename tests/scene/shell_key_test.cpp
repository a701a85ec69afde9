#include <gtest/gtest.h>

#include <cmath>

#include "SceneFixture.h"
#include "export/value_types/Exceptions.h"
#include "scene/MaterialMappingKit.h"
#include "scene/ShellKey.h"

using namespace KZV;

namespace {

struct Triangle {
  Point a, b, c;
};

// Triangles of the strips, each window of three one triangle.
std::vector<Triangle> StripTriangles(IntArray const& strips, PointArray const& points) {
  std::vector<Triangle> out;
  for (size_t i = 0; i < strips.size(); i += size_t(strips[i]) + 1)
    for (int k = 2; k < strips[i]; ++k) {
      int const* s = &strips[i + 1];
      if (k % 2 == 0) out.push_back({points[s[k - 2]], points[s[k - 1]], points[s[k]]});
      else out.push_back({points[s[k - 1]], points[s[k - 2]], points[s[k]]});
    }
  return out;
}

double SignedAreaXY(Point const& a, Point const& b, Point const& c) {
  return 0.5 * ((double(b.x) - a.x) * (double(c.y) - a.y) - (double(c.x) - a.x) * (double(b.y) - a.y));
}

bool InsideXY(PointArray const& polygon, double x, double y) {
  bool inside = false;
  for (size_t i = 0, j = polygon.size() - 1; i < polygon.size(); j = i++) {
    Point const& p = polygon[i];
    Point const& q = polygon[j];
    if ((p.y > y) != (q.y > y) && x < (q.x - p.x) * (y - p.y) / (q.y - p.y) + p.x) inside = !inside;
  }
  return inside;
}

IntArray OneFace(size_t n) {
  IntArray face{int(n)};
  for (size_t i = 0; i < n; ++i) face.push_back(int(i));
  return face;
}

void ExpectExactCover(PointArray const& polygon, double expected_area) {
  SegmentKey root = Database::CreateRootSegment();
  ShellKey shell = root.InsertShell(polygon, OneFace(polygon.size()));
  IntArray strips, faces;
  ASSERT_TRUE(shell.ShowTristrips(strips, faces));
  auto const triangles = StripTriangles(strips, polygon);
  EXPECT_LE(triangles.size(), polygon.size() - 2);
  EXPECT_EQ(faces.size(), triangles.size());
  double area = 0;
  for (Triangle const& t : triangles) {
    double const a = SignedAreaXY(t.a, t.b, t.c);
    EXPECT_GT(a, 0) << "every triangle keeps the face's winding";
    area += a;
    EXPECT_TRUE(InsideXY(polygon, (t.a.x + t.b.x + t.c.x) / 3.0, (t.a.y + t.b.y + t.c.y) / 3.0));
  }
  EXPECT_NEAR(area, expected_area, 1e-4);
  root.Delete();
}

}  // namespace

using ShellKeyTest = SceneTest;

TEST_F(ShellKeyTest, ConcaveFacesAreCoveredExactly) {
  // An L shape, counter-clockwise, area 3.
  ExpectExactCover({{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {1, 1, 0}, {1, 2, 0}, {0, 2, 0}}, 3.0);
  // A five-pointed star outline, area of the star.
  PointArray star;
  for (int i = 0; i < 10; ++i) {
    double const angle = M_PI / 2 + i * M_PI / 5;
    double const r = i % 2 == 0 ? 1.0 : 0.4;
    star.push_back({float(r * std::cos(angle)), float(r * std::sin(angle)), 0});
  }
  double star_area = 0;
  for (size_t i = 0; i < star.size(); ++i) star_area += SignedAreaXY({0, 0, 0}, star[i], star[(i + 1) % star.size()]);
  ExpectExactCover(star, star_area);
  // A comb with deep notches.
  ExpectExactCover({{0, 0, 0}, {5, 0, 0}, {5, 3, 0}, {4, 3, 0}, {4, 1, 0}, {3, 1, 0}, {3, 3, 0}, {2, 3, 0},
                    {2, 1, 0}, {1, 1, 0}, {1, 3, 0}, {0, 3, 0}},
                   5 + 3 * 2);
}

TEST_F(ShellKeyTest, TristripsNameTheFaceOfEachTriangle) {
  ShellKey shell = root.InsertShell({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {2, 0, 0}},
                                    {3, 0, 1, 2, 2, 0, 4, 4, 0, 1, 2, 3});
  EXPECT_EQ(shell.GetFaceCount(), 3u);
  IntArray strips, faces;
  ASSERT_TRUE(shell.ShowTristrips(strips, faces));
  EXPECT_EQ(faces, (IntArray{0, 2, 2}));  // the two-point face has no triangle
  IntArray plain;
  shell.ShowTristrips(plain);
  EXPECT_EQ(plain, strips);

  ShellKey cloud = root.InsertShell({{0, 0, 0}}, {});
  EXPECT_TRUE(cloud.ShowTristrips(strips));
  EXPECT_TRUE(strips.empty());
}

TEST_F(ShellKeyTest, ComputedNormalsFollowTheHandedness) {
  // Counter-clockwise seen from +z.
  ShellKey shell = root.InsertShell({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {4, 0, 1, 2, 3});
  VectorArray normals;
  ASSERT_TRUE(shell.ShowNetVertexNormalsByRange(0, 4, normals, Drawing::Handedness::Right));
  for (Vector const& n : normals) EXPECT_EQ(n, Vector(0, 0, 1));
  ASSERT_TRUE(shell.ShowNetVertexNormalsByRange(1, 2, normals, Drawing::Handedness::Left));
  ASSERT_EQ(normals.size(), 2u);
  for (Vector const& n : normals) EXPECT_EQ(n, Vector(0, 0, -1));

  BoolArray valid;
  VectorArray explicit_normals;
  EXPECT_FALSE(shell.ShowVertexNormalsByRange(0, 4, valid, explicit_normals));
  shell.SetVertexNormalsByRange(2, {{1, 0, 0}});
  EXPECT_TRUE(shell.ShowVertexNormalsByRange(0, 4, valid, explicit_normals));
  EXPECT_EQ(valid, (BoolArray{false, false, true, false}));
  shell.ShowNetVertexNormalsByRange(0, 4, normals, Drawing::Handedness::Left);
  EXPECT_EQ(normals[2], Vector(1, 0, 0));
  EXPECT_EQ(normals[3], Vector(0, 0, -1));
  EXPECT_THROW(shell.ShowNetVertexNormalsByRange(3, 2, normals, Drawing::Handedness::Left),
               IndexOutOfRangeException);
}

TEST_F(ShellKeyTest, VertexParametersKeepTheirStride) {
  ShellKey shell = root.InsertShell({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {3, 0, 1, 2});
  BoolArray valid;
  FloatArray params;
  size_t stride = 0;
  EXPECT_FALSE(shell.ShowVertexParametersByRange(0, 3, valid, params, stride));
  shell.SetVertexParametersByRange(1, 2, {0.5f, 0.25f, 0, 1, 1, 0}, 3);
  ASSERT_TRUE(shell.ShowVertexParametersByRange(0, 3, valid, params, stride));
  EXPECT_EQ(stride, 3u);
  EXPECT_EQ(valid, (BoolArray{false, true, true}));
  EXPECT_EQ(params, (FloatArray{0, 0, 0, 0.5f, 0.25f, 0, 1, 1, 0}));
  EXPECT_THROW(shell.SetVertexParametersByRange(0, 1, {1, 2}, 2), InvalidOperationException);
}

TEST_F(ShellKeyTest, VertexAndFaceColorsReportTheirTypes) {
  ShellKey shell = root.InsertShell({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}, {3, 0, 1, 2, 3, 1, 3, 2});
  shell.SetVertexRGBColorsByRange(Shell::Component::Faces, 0, {{1, 0, 0}});
  shell.SetVertexRGBAColorsByRange(Shell::Component::Faces, 1, {{0, 1, 0, 0.5f}});
  shell.SetVertexIndexColorsByRange(Shell::Component::Faces, 2, {2.5f});
  MaterialTypeArray types;
  RGBColorArray rgb;
  RGBAColorArray rgba;
  FloatArray indices;
  ASSERT_TRUE(shell.ShowVertexColorsByRange(0, 4, Shell::Component::Faces, types, rgb, rgba, indices));
  EXPECT_EQ(types, (MaterialTypeArray{Material::Type::RGBColor, Material::Type::RGBAColor,
                                      Material::Type::PaletteIndex, Material::Type::None}));
  EXPECT_EQ(rgb[0], (RGBColor{1, 0, 0}));
  EXPECT_EQ(rgba[1], (RGBAColor{0, 1, 0, 0.5f}));
  EXPECT_EQ(indices[2], 2.5f);
  EXPECT_EQ(rgb.size(), 4u);
  EXPECT_FALSE(shell.ShowVertexColorsByRange(0, 4, Shell::Component::Edges, types, rgb, rgba, indices));

  FloatArray values;
  EXPECT_FALSE(shell.ShowFaceColorsByRange(0, 2, types, rgb, values));
  shell.SetFaceRGBColorsByRange(1, {{0, 0, 1}});
  ASSERT_TRUE(shell.ShowFaceColorsByRange(0, 2, types, rgb, values));
  EXPECT_EQ(types, (MaterialTypeArray{Material::Type::None, Material::Type::RGBColor}));
  EXPECT_EQ(rgb[1], (RGBColor{0, 0, 1}));
  EXPECT_THROW(shell.SetFaceRGBColorsByRange(2, {{0, 0, 1}}), IndexOutOfRangeException);
}

TEST_F(ShellKeyTest, MaterialMappingOfItsOwn) {
  ShellKey shell = root.InsertShell({{0, 0, 0}}, {});
  MaterialMappingKit kit;
  EXPECT_FALSE(shell.ShowMaterialMapping(kit));
  shell.SetMaterialMapping(MaterialMappingKit().SetLineColor(MaterialSetting::Index(3)));
  ASSERT_TRUE(shell.ShowMaterialMapping(kit));
  Material::Type type{};
  RGBAColor color;
  float value = 0;
  EXPECT_TRUE(kit.ShowLineColor(type, color, value));
  EXPECT_EQ(type, Material::Type::PaletteIndex);
  EXPECT_EQ(value, 3);
}
