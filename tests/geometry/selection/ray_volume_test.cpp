#include "geometry/selection/RayVolume.h"

#include <gtest/gtest.h>

#include "tests/geometry/selection/VolumeShapes.h"

namespace QX::Store {
namespace {

using namespace VolumeTest;

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

TEST(RayVolume, BoxesSpheresSegmentsAndPointsAgainstTheTube) {
  BoxCase const cases[] = {
      {"around the origin: the ray starts inside", {-1, -1, -6, 1, 1, -4}, Crossing},
      {"ahead", {-1, -1, 0, 1, 1, 1}, Crossing},
      {"behind", {-1, -1, -9, 1, 1, -6}, Outside},
      {"beside", {2, 2, 0, 3, 3, 1}, Outside},
      {"within the tube", {-0.005, -0.005, 0, 0.005, 0.005, 1}, Inside},
  };
  auto ray = Ray();
  for (auto const& c : cases) {
    EXPECT_EQ(ray.TestBox(c.box), c.expected) << c.name;
    auto sphere = SphereOfBox(c.box);
    EXPECT_EQ(ray.Rate(sphere) < 0, c.expected == Outside) << c.name;
  }
  auto ahead = Sphere({0, 0, 5}, 1);
  EXPECT_EQ(ray.TestSphere(ahead), Crossing);
  EXPECT_EQ(ray.Rate(ahead), 100);

  SegmentCase const segments[] = {
      {"across", {-1, 0, 5}, {1, 0, 5}, Crossing, {-0.25, 0, 5}},
      {"beside", {-1, 0.5, 5}, {1, 0.5, 5}, Outside, {}},
  };
  ExpectSegments(ray, segments);
  PointD const along[2] = {{0, 0, 1}, {0, 0, 9}};
  PointD hit;
  EXPECT_EQ(ray.TestSegment(along, hit), Inside);
  EXPECT_TRUE(ray.ContainsPoint({0.01, -0.01, 100}));
  EXPECT_FALSE(ray.ContainsPoint({0, 0, -5.5}));
}

}  // namespace
}  // namespace QX::Store
