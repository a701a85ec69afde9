#include "geometry/bounding/FrustumPlanes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace QX::Store {
namespace {

TEST(PreparePlanes, ZeroOrNaNNormalHasNoInverseLength) {
  std::vector<PlaneRow> const rows = {{3, -4, 0, 2}, {0, 0, 0, 1}, {NAN, 1, 1, 0}};
  auto const planes = PreparePlanes(rows);
  EXPECT_EQ(planes[0].normal_sign, (std::array<double, 3>{1, -1, 1}));
  EXPECT_DOUBLE_EQ(planes[0].inverse_length_squared, 1.0 / 25);
  EXPECT_EQ(planes[1].inverse_length_squared, 0);
  EXPECT_EQ(planes[2].inverse_length_squared, 0);
}

// Outside only if all eight corners lie on or behind one plane.
bool BruteForceInside(FrustumPlanes const& f, Point c, Point h) {
  for (auto const& p : f.planes) {
    bool any_in_front = false;
    for (int corner = 0; corner < 8; ++corner) {
      double const x = c.x + ((corner & 1) ? h.x : -h.x);
      double const y = c.y + ((corner & 2) ? h.y : -h.y);
      double const z = c.z + ((corner & 4) ? h.z : -h.z);
      any_in_front = any_in_front || p.normal[0] * x + p.normal[1] * y + p.normal[2] * z > p.offset;
    }
    if (!any_in_front) return false;
  }
  return true;
}

TEST(BoxInFrustum, AgreesWithTestingAllCorners) {
  // Small integers keep the float arithmetic exact, so both tests must agree.
  std::mt19937 gen(11);
  std::uniform_int_distribution<int> coefficient(-4, 4), place(-20, 20), half(0, 6);
  int inside = 0, outside = 0;
  for (int round = 0; round < 300; ++round) {
    std::array<float, 16> m;
    for (float& e : m) e = static_cast<float>(coefficient(gen));
    FrustumPlanes const f = MakeFrustumPlanes(m);
    EXPECT_EQ(f.planes[1].normal[2], m[11] - m[9]);  // R3 - R1, column-major
    EXPECT_EQ(f.planes[3].offset, -(m[15] + m[12]));  // R3 + R0
    for (int k = 0; k < 20; ++k) {
      Point const c{float(place(gen)), float(place(gen)), float(place(gen))};
      Point const h{float(half(gen)), float(half(gen)), float(half(gen))};
      bool const expected = BruteForceInside(f, c, h);
      EXPECT_EQ(BoxInFrustum(f, c, h), expected);
      (expected ? inside : outside)++;
    }
  }
  EXPECT_GT(inside, 100);
  EXPECT_GT(outside, 100);
}

}  // namespace
}  // namespace QX::Store
