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

}  // namespace
}  // namespace QX::Store
