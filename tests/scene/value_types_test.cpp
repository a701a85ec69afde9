// Vectors compared bit by bit and in units of the last place, at the edges
// of float arithmetic.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "export/value_types/Vector_3D.h"
#include "export/value_types/Sphere_3D.h"

using namespace KZV;
using Pf = Point_3D<float>;
using Vf = Vector_3D<float>;

namespace {

float const kNaN = std::numeric_limits<float>::quiet_NaN();
float const kInf = std::numeric_limits<float>::infinity();

}  // namespace

TEST(ValueTypesTest, EqualsInUnitsOfTheLastPlace) {
  float const one_up = std::nextafter(1.0f, 2.0f);
  float const smallest = std::bit_cast<float>(1u), smallest_negative = std::bit_cast<float>(0x80000001u);
  struct Case {
    Vf a, b;
    int ulps;
    bool equal;
  };
  Case const cases[] = {
      {{1, -2, kInf}, {1, -2, kInf}, 0, true},  {{0, 0, 0}, {1e-6f, 0, 0}, 0, true},
      {{0, 0, 0}, {1e-5f, 0, 0}, 1000, false},  {{kNaN, 0, 0}, {kNaN, 0, 0}, 10, false},
      {{kInf, 0, 0}, {-kInf, 0, 0}, 10, false}, {{1, 0, 0}, {one_up, 0, 0}, 0, false},
      {{1, 0, 0}, {one_up, 0, 0}, 1, true},     {{smallest, 1, 1}, {smallest_negative, 1, 1}, 1, false},
      {{smallest, 1, 1}, {smallest_negative, 1, 1}, 2, true},
  };
  for (Case const& c : cases) EXPECT_EQ(c.a.Equals(c.b, c.ulps), c.equal) << c.a.x << " " << c.b.x << " " << c.ulps;

  // Points compare by value with NaN equal to anything; vectors bit by bit
  // with zero of either sign.
  EXPECT_TRUE(Pf(kNaN, 0, 0) == Pf(5, 0, 0));
  EXPECT_TRUE(Pf(-0.0f, 0, 0) == Pf(0, 0, 0));
  EXPECT_FALSE(Pf(1, 0, 0) == Pf(2, 0, 0));
  EXPECT_TRUE(Vf(kNaN, 0, 0) == Vf(kNaN, 0, 0));
  EXPECT_FALSE(Vf(kNaN, 0, 0) == Vf(5, 0, 0));
  EXPECT_TRUE(Vf(-0.0f, 0, 0) == Vf(0, 0, 0));
  EXPECT_TRUE(Vf(1, 0, 0) != Vf(one_up, 0, 0));
  EXPECT_EQ(Sphere_3D<float>(), Sphere_3D<float>(Pf(0, 0, 0), -1));
  EXPECT_NE(Sphere_3D<float>(), Sphere_3D<float>(Pf(0, 0, 0), 1));
}
