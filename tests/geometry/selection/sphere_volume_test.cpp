#include "geometry/selection/SphereVolume.h"

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
  BoxCase const boxes[] = {
      {"within", {-0.5, -0.5, -0.5, 0.5, 0.5, 0.5}, Inside},
      {"half out", {0.5, 0.5, 0.5, 2, 2, 2}, Crossing},
      {"around the sphere", {-2, -2, -2, 2, 2, 2}, Crossing},
      {"touching from outside", {1, -1, -1, 2, 1, 1}, Crossing},
      {"apart", {2, 2, 2, 3, 3, 3}, Outside},
      {"near a corner but out", {0.8, 0.8, 0.8, 2, 2, 2}, Outside},
  };
  ExpectBoxes(ball, boxes);
  SphereCase const spheres[] = {
      {"small, within", Sphere({0.2, 0, 0}, 0.5), Inside},
      // Inside asks only for the centre and the size, not for containment.
      {"small centre in, reaching out", Sphere({0.9, 0, 0}, 0.5), Inside},
      {"larger, centre in", Sphere({0, 0, 0}, 2), Crossing},
      {"touching from outside", Sphere({3, 0, 0}, 2), Crossing},
      {"apart", Sphere({3, 0, 0}, 1.5), Outside},
  };
  ExpectSpheres(ball, spheres);
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

}  // namespace
}  // namespace QX::Store
