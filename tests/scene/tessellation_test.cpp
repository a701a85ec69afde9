#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "SceneFixture.h"
#include "scene/ShellKey.h"

using namespace KZV;

namespace {

// Every directed edge of a closed, consistently wound surface has exactly
// one partner running the other way.
void ExpectClosedAndConsistent(ShellKey const& shell) {
  IntArray faces;
  ASSERT_TRUE(shell.ShowFacelist(faces));
  std::map<std::pair<int, int>, int> edges;
  for (size_t i = 0; i < faces.size(); i += size_t(faces[i]) + 1)
    for (int k = 0; k < faces[i]; ++k) ++edges[{faces[i + 1 + k], faces[i + 1 + (k + 1) % faces[i]]}];
  for (auto const& [edge, count] : edges) {
    EXPECT_EQ(count, 1);
    auto partner = edges.find({edge.second, edge.first});
    EXPECT_TRUE(partner != edges.end() && partner->second == 1);
  }
}

double MaxDistanceFromArc(PointArray const& points, Point center, float radius) {
  double worst = 0;
  for (size_t i = 0; i + 1 < points.size(); ++i) {
    Point const mid = points[i] + (points[i + 1] - points[i]) * 0.5f;
    worst = std::max(worst, std::fabs((mid - center).Length() - radius));
    worst = std::max(worst, std::fabs((points[i] - center).Length() - radius));
  }
  return worst;
}

}  // namespace

using TessellationTest = SceneTest;

TEST_F(TessellationTest, SphereIsClosedAndOutwardUnderLeftHandedness) {
  Point const center(1, 2, 3);
  SphereKey sphere = root.InsertSphere(center, 2, {0, 1, 0}, {1, 0, 0});
  ShellKey shell = root.InsertShellFromGeometry(sphere);
  ExpectClosedAndConsistent(shell);
  PointArray points;
  shell.ShowPoints(points);
  VectorArray left, right;
  shell.ShowNetVertexNormalsByRange(0, points.size(), left, Drawing::Handedness::Left);
  shell.ShowNetVertexNormalsByRange(0, points.size(), right, Drawing::Handedness::Right);
  for (size_t i = 0; i < points.size(); ++i) {
    Vector analytic = points[i] - center;
    EXPECT_NEAR(analytic.Length(), 2.0, 1e-5);
    analytic.Normalize();
    EXPECT_GT(left[i].Dot(analytic), 0.99f);
    EXPECT_LT(right[i].Dot(analytic), -0.99f);
  }
  EXPECT_FALSE(sphere.Empty()) << "the source geometry stays";
}

TEST_F(TessellationTest, CappedCylinderIsClosedWithRadialAndAxialNormals) {
  CylinderKey cylinder = root.InsertCylinder({0, 0, 0}, {0, 0, 4}, 1, CylinderCaps::Both);
  ShellKey shell = root.InsertShellFromGeometry(cylinder);
  PointArray points;
  shell.ShowPoints(points);
  VectorArray normals;
  shell.ShowNetVertexNormalsByRange(0, points.size(), normals, Drawing::Handedness::Left);
  size_t const around = points.size() / 4;  // two side rings, two cap rings
  for (size_t i = 0; i < 2 * around; ++i) {
    Vector radial(points[i].x, points[i].y, 0);
    EXPECT_GT(normals[i].Dot(radial.Normalize()), 0.99f);
  }
  for (size_t i = 2 * around; i < 3 * around; ++i) EXPECT_EQ(normals[i], Vector(0, 0, -1));
  for (size_t i = 3 * around; i < 4 * around; ++i) EXPECT_EQ(normals[i], Vector(0, 0, 1));

  // Closed once the cap rings are welded onto the side rings.
  IntArray faces;
  shell.ShowFacelist(faces);
  IntArray welded;
  for (size_t i = 0; i < faces.size(); i += size_t(faces[i]) + 1) {
    welded.push_back(faces[i]);
    for (int k = 1; k <= faces[i]; ++k) welded.push_back(faces[i + k] >= int(2 * around) ? faces[i + k] - int(2 * around) : faces[i + k]);
  }
  ExpectClosedAndConsistent(root.InsertShell(PointArray(points.begin(), points.begin() + 2 * around), welded));
}

TEST_F(TessellationTest, CirclesKeepWithinTheDeviation) {
  CircleKey circle = root.InsertCircle({5, 0, 0}, {0, 5, 0}, {-5, 0, 0});
  PointArray points;
  root.InsertLineFromGeometry(circle, -1).ShowPoints(points);
  EXPECT_GE(points.size(), 33u);
  EXPECT_EQ(points.front(), points.back());
  EXPECT_LE(MaxDistanceFromArc(points, {0, 0, 0}, 5), 5.0 / 200 + 1e-5);

  root.InsertLineFromGeometry(circle, 0.001f).ShowPoints(points);
  EXPECT_LE(MaxDistanceFromArc(points, {0, 0, 0}, 5), 0.001 + 1e-5);
}

TEST_F(TessellationTest, ArcsAndWedgesRunThroughTheirThreePoints) {
  Point const start(1, 0, 0), middle(0, -1, 0), end(-1, 0, 0);
  PointArray arc;
  root.InsertLineFromGeometry(root.InsertCircularArc(start, middle, end)).ShowPoints(arc);
  EXPECT_EQ(arc.front(), start);
  EXPECT_TRUE((arc.back() - end).Length() < 1e-5);
  for (Point const& p : arc) EXPECT_LE(p.y, 1e-5f) << "the arc goes round through the middle point";

  PointArray wedge;
  root.InsertLineFromGeometry(root.InsertCircularWedge(start, middle, end)).ShowPoints(wedge);
  EXPECT_EQ(wedge.front(), Point(0, 0, 0));
  EXPECT_EQ(wedge.back(), Point(0, 0, 0));
  EXPECT_EQ(wedge.size(), arc.size() + 2);
}

TEST_F(TessellationTest, EllipsesLieOnTheirEllipse) {
  PointArray points;
  root.InsertLineFromGeometry(root.InsertEllipse({0, 0, 0}, {4, 0, 0}, {0, 0, 1})).ShowPoints(points);
  EXPECT_EQ(points.front(), points.back());
  for (Point const& p : points) EXPECT_NEAR(p.x * p.x / 16 + p.z * p.z, 1.0, 1e-5);

  root.InsertLineFromGeometry(root.InsertEllipticalArc({0, 0, 0}, {4, 0, 0}, {0, 1, 0}, 0, 0.25f)).ShowPoints(points);
  EXPECT_EQ(points.front(), Point(4, 0, 0));
  EXPECT_LT((points.back() - Point(0, 1, 0)).Length(), 1e-5);
}

TEST_F(TessellationTest, RationalNURBSCurveDrawsAnExactQuarterCircle) {
  NURBSCurveShape shape;
  shape.degree = 2;
  shape.points = {{1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
  shape.weights = {1, float(std::sqrt(0.5)), 1};
  PointArray points;
  root.InsertLineFromGeometry(root.InsertNURBSCurve(shape), 1e-4f).ShowPoints(points);
  EXPECT_GT(points.size(), 8u);
  EXPECT_EQ(points.front(), Point(1, 0, 0));
  EXPECT_LT((points.back() - Point(0, 1, 0)).Length(), 1e-6);
  EXPECT_LE(MaxDistanceFromArc(points, {0, 0, 0}, 1), 1e-4 + 1e-6);

  // Degree 1 is the control polygon itself: four pieces a span, no more.
  shape.degree = 1;
  shape.weights.clear();
  root.InsertLineFromGeometry(root.InsertNURBSCurve(shape)).ShowPoints(points);
  ASSERT_EQ(points.size(), 9u);
  EXPECT_EQ(points[4], Point(1, 1, 0));
  for (Point const& p : points) EXPECT_TRUE(p.x == 1 || p.y == 1);
}

TEST_F(TessellationTest, PolygonsMeshesAndSurfacesBecomeShells) {
  ShellKey polygon = root.InsertShellFromGeometry(
      root.InsertPolygon({{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {1, 1, 0}, {1, 2, 0}, {0, 2, 0}}));
  EXPECT_EQ(polygon.GetFaceCount(), 1u);
  IntArray strips;
  polygon.ShowTristrips(strips);
  EXPECT_FALSE(strips.empty());

  ShellKey mesh = root.InsertShellFromGeometry(
      root.InsertMesh(2, 3, {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {0, 1, 0}, {1, 1, 0}, {2, 1, 0}}));
  EXPECT_EQ(mesh.GetPointCount(), 6u);
  EXPECT_EQ(mesh.GetFaceCount(), 4u);

  NURBSSurfaceShape patch;
  patch.u_degree = patch.v_degree = 1;
  patch.u_count = patch.v_count = 2;
  patch.points = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}};
  ShellKey surface = root.InsertShellFromGeometry(root.InsertNURBSSurface(patch));
  PointArray points;
  surface.ShowPoints(points);
  EXPECT_EQ(points.size(), 81u);
  for (Point const& p : points) {
    EXPECT_GE(p.x, 0);
    EXPECT_LE(p.x, 1);
    EXPECT_EQ(p.z, 0);
  }
  VectorArray normals;
  surface.ShowNetVertexNormalsByRange(0, points.size(), normals, Drawing::Handedness::Right);
  for (Vector const& n : normals) EXPECT_EQ(n, Vector(0, 0, 1));
}
