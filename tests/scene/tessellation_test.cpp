// Curves into lines and surfaces into shells.
#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "SceneFixture.h"
#include "scene/ShellKey.h"

using namespace KZV;

namespace {

// Every directed edge of a closed, consistently wound surface has exactly
// one partner running the other way.
void ExpectClosedAndConsistent(IntArray const& faces) {
  std::map<std::pair<int, int>, int> edges;
  for (size_t i = 0; i < faces.size(); i += size_t(faces[i]) + 1)
    for (int k = 0; k < faces[i]; ++k) ++edges[{faces[i + 1 + k], faces[i + 1 + (k + 1) % faces[i]]}];
  for (auto const& [edge, count] : edges) {
    auto partner = edges.find({edge.second, edge.first});
    EXPECT_TRUE(count == 1 && partner != edges.end() && partner->second == 1) << edge.first << "-" << edge.second;
  }
}

double MaxDistanceFromArc(PointArray const& points, Point center, float radius) {
  double worst = 0;
  for (size_t i = 0; i + 1 < points.size(); ++i) {
    Point const mid = points[i] + (points[i + 1] - points[i]) * 0.5f;
    worst = std::max({worst, std::fabs((mid - center).Length() - radius), std::fabs((points[i] - center).Length() - radius)});
  }
  return worst;
}

}  // namespace

class TessellationTest : public SceneTest {
 protected:
  PointArray Line(Key const& curve, float deviation = -1) {
    PointArray points;
    root.InsertLineFromGeometry(curve, deviation).ShowPoints(points);
    return points;
  }
};

TEST_F(TessellationTest, CappedCylinderIsClosedWithRadialAndAxialNormals) {
  ShellKey shell = root.InsertShellFromGeometry(root.InsertCylinder({0, 0, 0}, {0, 0, 4}, 1, CylinderCaps::Both));
  PointArray points;
  shell.ShowPoints(points);
  VectorArray normals;
  shell.ShowNetVertexNormalsByRange(0, points.size(), normals, Drawing::Handedness::Left);
  int const around = int(points.size() / 4);  // two side rings, two cap rings
  for (int i = 0; i < 2 * around; ++i) EXPECT_GT(normals[i].Dot(Vector(points[i].x, points[i].y, 0)), 0.99f);
  for (int i = 2 * around; i < 3 * around; ++i) EXPECT_EQ(normals[i], Vector(0, 0, -1));
  for (int i = 3 * around; i < 4 * around; ++i) EXPECT_EQ(normals[i], Vector(0, 0, 1));
  // Closed once the cap rings are welded onto the side rings.
  IntArray faces;
  shell.ShowFacelist(faces);
  for (size_t i = 0; i < faces.size(); i += size_t(faces[i]) + 1)
    for (int k = 1; k <= faces[i]; ++k) faces[i + k] %= 2 * around;
  ExpectClosedAndConsistent(faces);
}

TEST_F(TessellationTest, CirclesArcsAndWedgesKeepWithinTheDeviation) {
  CircleKey circle = root.InsertCircle({5, 0, 0}, {0, 5, 0}, {-5, 0, 0});
  PointArray points = Line(circle);
  EXPECT_GE(points.size(), 33u);
  EXPECT_EQ(points.front(), points.back());
  EXPECT_LE(MaxDistanceFromArc(points, {0, 0, 0}, 5), 5.0 / 200 + 1e-5);
  EXPECT_LE(MaxDistanceFromArc(Line(circle, 0.001f), {0, 0, 0}, 5), 0.001 + 1e-5);
  Point const start(1, 0, 0), middle(0, -1, 0), end(-1, 0, 0);
  PointArray const arc = Line(root.InsertCircularArc(start, middle, end));
  EXPECT_EQ(arc.front(), start);
  EXPECT_LT((arc.back() - end).Length(), 1e-5);
  for (Point const& p : arc) EXPECT_LE(p.y, 1e-5f) << "the arc goes round through the middle point";
  PointArray const wedge = Line(root.InsertCircularWedge(start, middle, end));
  EXPECT_EQ(wedge.front(), Point(0, 0, 0));
  EXPECT_EQ(wedge.back(), Point(0, 0, 0));
  EXPECT_EQ(wedge.size(), arc.size() + 2);
}

TEST_F(TessellationTest, EllipsesLieOnTheirEllipse) {
  PointArray points = Line(root.InsertEllipse({0, 0, 0}, {4, 0, 0}, {0, 0, 1}));
  EXPECT_EQ(points.front(), points.back());
  for (Point const& p : points) EXPECT_NEAR(p.x * p.x / 16 + p.z * p.z, 1.0, 1e-5);
  points = Line(root.InsertEllipticalArc({0, 0, 0}, {4, 0, 0}, {0, 1, 0}, 0, 0.25f));
  EXPECT_EQ(points.front(), Point(4, 0, 0));
  EXPECT_LT((points.back() - Point(0, 1, 0)).Length(), 1e-5);
}

TEST_F(TessellationTest, RationalNURBSCurveDrawsAnExactQuarterCircle) {
  NURBSCurveShape shape;
  shape.degree = 2;
  shape.points = {{1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
  shape.weights = {1, float(std::sqrt(0.5)), 1};
  PointArray points = Line(root.InsertNURBSCurve(shape), 1e-4f);
  EXPECT_GT(points.size(), 8u);
  EXPECT_EQ(points.front(), Point(1, 0, 0));
  EXPECT_LT((points.back() - Point(0, 1, 0)).Length(), 1e-6);
  EXPECT_LE(MaxDistanceFromArc(points, {0, 0, 0}, 1), 1e-4 + 1e-6);
  // Degree 1 is the control polygon itself: four pieces a span, no more.
  shape.degree = 1;
  shape.weights.clear();
  points = Line(root.InsertNURBSCurve(shape));
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
  // A flat bilinear patch, and a quadratic one that stays inside its control points' hull.
  NURBSSurfaceShape flat{1, 1, 2, 2, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}, {}, {}, {}};
  NURBSSurfaceShape wavy{2, 2, 3, 3, {}, {}, {}, {}};
  for (int v = 0; v < 3; ++v)
    for (int u = 0; u < 3; ++u) wavy.points.push_back({float(u), float(v), float((u + v) % 2)});
  for (NURBSSurfaceShape const& patch : {flat, wavy}) {
    float const extent = float(patch.u_count - 1);
    ShellKey surface = root.InsertShellFromGeometry(root.InsertNURBSSurface(patch));
    PointArray points;
    surface.ShowPoints(points);
    EXPECT_EQ(points.size(), 81u);
    for (Point const& p : points) {
      EXPECT_TRUE(p.x >= 0 && p.x <= extent && p.y >= 0 && p.y <= extent) << p.x << ", " << p.y;
      EXPECT_TRUE(p.z >= 0 && p.z <= extent - 1) << p.z;
    }
  }
  VectorArray normals;
  PointArray points;
  ShellKey surface = root.InsertShellFromGeometry(root.InsertNURBSSurface(flat));
  surface.ShowPoints(points);
  surface.ShowNetVertexNormalsByRange(0, points.size(), normals, Drawing::Handedness::Right);
  EXPECT_EQ(normals, VectorArray(points.size(), Vector(0, 0, 1)));
}
