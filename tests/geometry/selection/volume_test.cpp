// The selection volumes: sphere, convex planes and ray, against points,
// boxes, spheres, segments and triangles.
#include <gtest/gtest.h>

#include "tests/geometry/selection/VolumeShapes.h"

namespace QX::Store {
namespace {

using namespace VolumeTest;

SphereVolume Unit() { return SphereVolume({0, 0, 0}, 1, 1); }

TEST(SphereVolume, PointsBoxesAndSpheres) {
  auto ball = Unit();
  EXPECT_TRUE(ball.ContainsPoint({1, 0, 0}));  // on the sphere is in
  EXPECT_TRUE(ball.ContainsPoint({0.6, 0.8, 0}));
  EXPECT_FALSE(ball.ContainsPoint({1.000000001, 0, 0}));
  EXPECT_TRUE(ball.StopsAtFirstHit());
  EXPECT_EQ(ball.DistanceSquared({0, 3, 4}), 25);
  struct BoxCase {
    char const* name;
    BoundingBoxD box;
    uint32_t expected;
  } const boxes[] = {
      {"within", {-0.5, -0.5, -0.5, 0.5, 0.5, 0.5}, Inside},
      {"half out", {0.5, 0.5, 0.5, 2, 2, 2}, Crossing},
      {"around the sphere", {-2, -2, -2, 2, 2, 2}, Crossing},
      {"touching from outside", {1, -1, -1, 2, 1, 1}, Crossing},
      {"apart", {2, 2, 2, 3, 3, 3}, Outside},
      {"near a corner but out", {0.8, 0.8, 0.8, 2, 2, 2}, Outside},
  };
  for (auto const& c : boxes) EXPECT_EQ(ball.TestBox(c.box), c.expected) << c.name;
  // Each sphere's test, and its rate: -1 outside, else the squared distance
  // of its centre. The test fills in a sphere's radius, so each takes a copy.
  struct SphereCase {
    char const* name;
    BoundingSphere sphere;
    uint32_t expected;
  } const spheres[] = {
      {"small, within", Sphere({0.2, 0, 0}, 0.5), Inside},
      // Inside asks only for the centre and the size, not for containment.
      {"small centre in, reaching out", Sphere({0.9, 0, 0}, 0.5), Inside},
      {"larger, centre in", Sphere({0, 0, 0}, 2), Crossing},
      {"touching from outside", Sphere({3, 0, 0}, 2), Crossing},
      {"apart", Sphere({3, 0, 0}, 1.5), Outside},
  };
  for (SphereCase c : spheres) {
    EXPECT_EQ(ball.TestSphere(c.sphere), c.expected) << c.name;
    EXPECT_EQ(ball.Rate(c.sphere), c.expected == Outside ? -1.0 : ball.DistanceSquared(c.sphere.center)) << c.name;
  }
  // The volume's own radius is derived from its square when not given.
  auto touching = Sphere({3, 0, 0}, 2);
  EXPECT_EQ(SphereVolume({0, 0, 0}, 1, -1.0).TestSphere(touching), Crossing);
  EXPECT_EQ(touching.radius, 2);
}

TEST(SphereVolume, SegmentsAndTriangles) {
  SegmentCase const segments[] = {
      {"both ends in", {-0.5, 0, 0}, {0.5, 0, 0}, Inside, {-0.5, 0, 0}},
      {"first end in", {0.5, 0, 0}, {3, 0, 0}, Crossing, {0.5, 0, 0}},
      {"second end in", {3, 0, 0}, {0.5, 0, 0}, Crossing, {0.5, 0, 0}},
      {"through", {-2, 0, 0}, {2, 0, 0}, Crossing, {-1, 0, 0}},
      {"grazing", {-2, 1, 0}, {2, 1, 0}, Crossing, {0, 1, 0}},
      {"beside", {-2, 1.5, 0}, {2, 1.5, 0}, Outside, {}},
      {"pointing away", {2, 0, 0}, {3, 0, 0}, Outside, {}},
      {"stopping short", {-3, 0, 0}, {-2, 0, 0}, Outside, {}},
      {"a point outside", {2, 0, 0}, {2, 0, 0}, Outside, {}},
  };
  auto ball = Unit();
  ExpectSegments(ball, segments);
  TriangleCase const triangles[] = {
      {"within", {{{-0.5, 0, 0}, {0.5, 0, 0}, {0, 0.5, 0}}}, Inside, {}},
      {"one vertex in", {{{0.5, 0, 0}, {3, 0, 0}, {3, 3, 0}}}, Crossing, {}},
      {"an edge through it", {{{-2, 0.5, 0}, {2, 0.5, 0}, {0, 5, 0}}}, Crossing, {}},
      {"over the centre", {{{-10, -10, 0.5}, {10, -10, 0.5}, {0, 10, 0.5}}}, Crossing, {}},
      {"in a tangent plane", {{{-10, -10, 1}, {10, -10, 1}, {0, 10, 1}}}, Outside, {}},
      {"beside, in a plane through the centre", {{{-2, 1.5, 0}, {2, 1.5, 0}, {0, 5, 0}}}, Outside, {}},
      {"two equal vertices across it", {{{-2, 0, 0}, {-2, 0, 0}, {2, 0, 0}}}, Outside, {}},
      {"far", {{{5, 5, 5}, {6, 5, 5}, {5, 6, 5}}}, Outside, {}},
  };
  // A hit may lie on the sphere, where rounding can put it a hair outside.
  ExpectTriangles(ball, triangles,
                  [&](TriangleCase const&, PointD hit) { return ball.DistanceSquared(hit) <= 1 + 1e-12; });
}

PlaneVolume Cube() { return BoxVolume({0, 0, 0}, {2, 2, 2}); }

TEST(PlaneVolume, SegmentsAndTriangles) {
  SegmentCase const segments[] = {
      {"both ends in", {0.5, 1, 1}, {1.5, 1, 1}, Inside, {1.5, 1, 1}},
      {"first end in", {1, 1, 1}, {5, 1, 1}, Crossing, {1, 1, 1}},
      {"second end in", {5, 1, 1}, {1, 1, 1}, Crossing, {1, 1, 1}},
      {"through", {-1, 1, 1}, {3, 1, 1}, Crossing, {0, 1, 1}},
      {"grazing a face", {-1, 2, 1}, {3, 2, 1}, Crossing, {0, 2, 1}},
      {"beside", {-1, 3, 1}, {3, 3, 1}, Outside, {}},
      {"short of it", {-3, 1, 1}, {-1, 1, 1}, Outside, {}},
  };
  auto volume = Cube();
  ExpectSegments(volume, segments);
  TriangleCase const triangles[] = {
      {"within", {{{0.5, 0.5, 1}, {1.5, 0.5, 1}, {1, 1.5, 1}}}, Inside, {}},
      {"one vertex in", {{{1, 1, 1}, {5, 1, 1}, {5, 5, 1}}}, Crossing, {}},
      {"covering a cross-section", {{{-10, -10, 1}, {10, -10, 1}, {0, 10, 1}}}, Crossing, {}},
      {"no vertex in, through the middle", {{{-1, 1, 1}, {3, 1, 1}, {1, 1, 5}}}, Crossing, {}},
      {"apart", {{{3, 3, 3}, {4, 3, 3}, {3, 4, 3}}}, Outside, {}},
      {"plane beside the volume", {{{-10, -10, 3}, {10, -10, 3}, {0, 10, 3}}}, Outside, {}},
      {"two equal vertices across it", {{{-1, 1, 1}, {-1, 1, 1}, {3, 1, 1}}}, Outside, {}},
      {"two equal vertices, one in", {{{-1, 1, 1}, {-1, 1, 1}, {1, 1, 1}}}, Crossing, {}},
  };
  // A hit of a clipped triangle lies in the volume.
  ExpectTriangles(volume, triangles,
                  [&](TriangleCase const&, PointD hit) { return volume.ContainsPoint(hit); });
}

RayVolume Ray() { return RayAlongZ({0, 0, -5}, 0.25); }

TEST(RayVolume, Triangles) {
  TriangleCase const cases[] = {
      {"across the ray", {{{-1, -1, 0}, {1, -1, 0}, {0, 1, 0}}}, Crossing, {0, 0, 0}},
      {"the other winding", {{{-1, -1, 0}, {0, 1, 0}, {1, -1, 0}}}, Crossing, {0, 0, 0}},
      {"slanted", {{{-1, -1, 1}, {1, -1, 1}, {0, 1, 3}}}, Crossing, {0, 0, 2}},
      {"through an edge", {{{0, -1, 0}, {2, -1, 0}, {0, 1, 0}}}, Crossing, {0, 0, 0}},
      {"through a vertex", {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}}, Crossing, {0, 0, 0}},
      {"at the origin", {{{-1, -1, -5}, {1, -1, -5}, {0, 1, -5}}}, Crossing, {0, 0, -5}},
      {"just beside", {{{1e-9, -1, 0}, {2, -1, 0}, {1e-9, 1, 0}}}, Outside, {}},
      {"behind the origin", {{{-1, -1, -10}, {1, -1, -10}, {0, 1, -10}}}, Outside, {}},
      {"parallel, holding the ray", {{{0, -1, -10}, {0, 1, -10}, {0, 0, 10}}}, Outside, {}},
      {"collinear vertices", {{{0, -1, 0}, {0, 1, 0}, {0, 0, 0}}}, Outside, {}},
      {"two equal vertices", {{{-1, 0, 0}, {-1, 0, 0}, {1, 0, 0}}}, Outside, {}},
      {"small, within the tube", {{{-0.001, -0.001, 0}, {0.001, -0.001, 0}, {0, 0.001, 0}}},
       Crossing, {0, 0, 0}},
  };
  auto ray = Ray();
  ExpectTriangles(ray, cases, [](TriangleCase const& c, PointD hit) { return hit == c.hit; });
}

// A segment's hit is the last of its ends inside the tube.
TEST(RayVolume, Segments) {
  SegmentCase const segments[] = {
      {"along the ray", {0, 0, 1}, {0, 0, 9}, Inside, {0, 0, 9}},
      {"leaving the tube", {0, 0, 1}, {5, 0, 1}, Crossing, {0, 0, 1}},
      {"beside it", {2, 0, 0}, {2, 1, 0}, Outside, {}},
  };
  auto ray = Ray();
  ExpectSegments(ray, segments);
}

}  // namespace
}  // namespace QX::Store
