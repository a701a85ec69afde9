#pragma once
// Volumes of simple shapes for the selection tests.
#include <gtest/gtest.h>

#include <array>
#include <span>
#include <vector>

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

// Rows of the table-driven tests: a box or a sphere and what the volume
// says of it.
struct BoxCase {
  char const* name;
  BoundingBoxD box;
  uint32_t expected;
};
struct SphereCase {
  char const* name;
  BoundingSphere sphere;
  uint32_t expected;
};

template <class Volume>
void ExpectBoxes(Volume const& volume, std::span<BoxCase const> cases) {
  for (auto const& c : cases) EXPECT_EQ(volume.TestBox(c.box), c.expected) << c.name;
}

// Each sphere's test, and its rate: -1 outside, else the squared distance
// of its centre. The tests fill in a sphere's radius, so each takes a copy.
template <class Volume>
void ExpectSpheres(Volume const& volume, std::span<SphereCase const> cases) {
  for (SphereCase c : cases) {
    EXPECT_EQ(volume.TestSphere(c.sphere), c.expected) << c.name;
    EXPECT_EQ(volume.Rate(c.sphere), c.expected == VolumeTest::Outside ? -1.0 : volume.DistanceSquared(c.sphere.center))
        << c.name;
  }
}

}  // namespace QX::Store
