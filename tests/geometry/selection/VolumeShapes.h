#pragma once
// Volumes of simple shapes for the selection tests, and the table-driven
// checks the volume tests share.
#include <gtest/gtest.h>

#include <array>
#include <span>
#include <vector>

#include "geometry/selection/PlaneClipping.h"
#include "geometry/selection/PlaneVolume.h"
#include "geometry/selection/RayVolume.h"
#include "geometry/selection/SphereVolume.h"

namespace QX::Store {

// The six rows of the axis-aligned box lo..hi, inner side inwards.
inline std::vector<PlaneRow> BoxRows(PointD lo, PointD hi) {
  return {{1, 0, 0, -lo.x}, {-1, 0, 0, hi.x}, {0, 1, 0, -lo.y},
          {0, -1, 0, hi.y}, {0, 0, 1, -lo.z}, {0, 0, -1, hi.z}};
}

inline PlaneVolume BoxVolume(PointD lo, PointD hi) {
  auto const rows = BoxRows(lo, hi);
  return PlaneVolume(rows, {(lo.x + hi.x) / 2, (lo.y + hi.y) / 2, (lo.z + hi.z) / 2});
}

// A ray from `origin` along +z in a square tube of half width `w`, which
// begins at the origin.
inline RayVolume RayAlongZ(PointD origin, double w) {
  std::array<PlaneRow, 5> const rows{{{1, 0, 0, w - origin.x},
                                      {-1, 0, 0, w + origin.x},
                                      {0, 1, 0, w - origin.y},
                                      {0, -1, 0, w + origin.y},
                                      {0, 0, 1, -origin.z}}};
  return RayVolume(rows, origin, {0, 0, 1});
}

inline BoundingSphere Sphere(PointD center, double radius) {
  return {center, radius * radius, -1.0};
}

// Rows of the table-driven tests: a shape and what the volume says of it.
struct SegmentCase {
  char const* name;
  PointD a, b;
  uint32_t expected;
  PointD hit;  // where the segment first meets the volume
};
struct TriangleCase {
  char const* name;
  Triangle t;
  uint32_t expected;
  PointD hit;  // checked only where the test names it
};

inline void ExpectSegments(SelectionVolume& volume, std::span<SegmentCase const> cases) {
  for (auto const& c : cases) {
    PointD const points[2] = {c.a, c.b};
    PointD hit{-7, -7, -7};
    EXPECT_EQ(volume.TestSegment(points, hit), c.expected) << c.name;
    if (c.expected != VolumeTest::Outside) {
      EXPECT_EQ(hit, c.hit) << c.name;
    }
  }
}

// Each triangle's test, twice (working lists must be left empty), and
// `good_hit(case, hit)` for every hit.
template <class HitCheck>
void ExpectTriangles(SelectionVolume& volume, std::span<TriangleCase const> cases, HitCheck const& good_hit) {
  for (auto const& c : cases) {
    PointD hit{-7, -7, -7}, again;
    uint32_t const result = volume.TestTriangle(c.t.data(), hit);
    EXPECT_EQ(result, c.expected) << c.name;
    EXPECT_EQ(volume.TestTriangle(c.t.data(), again), result) << c.name;
    if (result != VolumeTest::Outside) {
      EXPECT_TRUE(good_hit(c, hit)) << c.name;
      EXPECT_EQ(again, hit) << c.name;
    }
  }
}

}  // namespace QX::Store
