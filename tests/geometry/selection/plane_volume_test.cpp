#include "geometry/selection/PlaneVolume.h"

#include <gtest/gtest.h>

#include "tests/geometry/selection/VolumeShapes.h"

namespace QX::Store {
namespace {

using namespace VolumeTest;

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

}  // namespace
}  // namespace QX::Store
