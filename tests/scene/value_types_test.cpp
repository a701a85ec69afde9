#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>

#include "export/value_types/Cuboid_3D.h"
#include "export/value_types/Plane_3D.h"
#include "export/value_types/Point_2D.h"
#include "export/value_types/Sphere_3D.h"

using namespace KZV;
using Pf = Point_3D<float>;
using Vf = Vector_3D<float>;

namespace {

float FromBits(uint32_t bits) { return std::bit_cast<float>(bits); }
float const kNaN = std::numeric_limits<float>::quiet_NaN();
float const kInf = std::numeric_limits<float>::infinity();

}  // namespace

TEST(ValueTypesTest, CuboidFromPointsMatchesSingleMerges) {
  EXPECT_EQ(Cuboid_3D<float>(0, nullptr), Cuboid_3D<float>());
  Pf const one(1, 2, 3);
  Cuboid_3D<float> single(1, &one);
  EXPECT_EQ(single.min, single.max);

  Pf const three[] = {{1, 5, -2}, {-3, 0, 4}, {2, -1, 0}};
  Cuboid_3D<float> step_by_step;
  for (Pf const& p : three) step_by_step.Merge(p);
  Cuboid_3D<float> built(3, three);
  EXPECT_EQ(built, step_by_step);
  EXPECT_EQ(built.min, Pf(-3, -1, -2));
  EXPECT_EQ(built.max, Pf(2, 5, 4));

  Cuboid_3D<double> box;
  EXPECT_EQ(box.min.x, std::numeric_limits<double>::max());
  EXPECT_EQ(box.max.x, -std::numeric_limits<double>::max());
  EXPECT_EQ(std::bit_cast<uint32_t>(Cuboid_3D<float>().min.x), 0x7F7FFFFFu);
}

TEST(ValueTypesTest, MergeOfNaNReplacesMinOnly) {
  Pf const p(1, 1, 1);
  Cuboid_3D<float> box(1, &p);
  box.Merge(Pf(kNaN, 0, 0));
  EXPECT_TRUE(std::isnan(box.min.x));
  EXPECT_EQ(std::bit_cast<uint32_t>(box.max.x), std::bit_cast<uint32_t>(1.0f));
}

TEST(ValueTypesTest, CuboidCornersRunZFastest) {
  Cuboid_3D<double> box(Point_3D<double>(0, 0, 0), Point_3D<double>(1, 2, 3));
  box.Expand(1);
  Point_3D<double> corners[8];
  box.Generate_Cuboid_Points(corners);
  EXPECT_EQ(corners[0], Point_3D<double>(-1, -1, -1));
  EXPECT_EQ(corners[1], Point_3D<double>(-1, -1, 4));
  EXPECT_EQ(corners[2], Point_3D<double>(-1, 3, -1));
  EXPECT_EQ(corners[4], Point_3D<double>(2, -1, -1));
  EXPECT_EQ(corners[7], Point_3D<double>(2, 3, 4));
}

TEST(ValueTypesTest, NormalizeEdges) {
  Vf zero(0, 0, 0);
  zero.Normalize(false, 0.0f);
  EXPECT_EQ(zero, Vf(0, 0, 0));
  EXPECT_FALSE(std::isnan(zero.x));

  Vf huge(1e30f, 0, 0);
  EXPECT_EQ(huge.Normalize(true, 0.0f), Vf(1, 0, 0));
  Vf overflowing(1e30f, 0, 0);
  EXPECT_EQ(overflowing.Normalize(false, 0.0f), Vf(0, 0, 0));

  Vf v(3, 0, 4);
  v.Normalize();
  EXPECT_FLOAT_EQ(v.x, 0.6f);
  EXPECT_FLOAT_EQ(v.z, 0.8f);
  Vf tiny(1e-3f, 0, 0);
  EXPECT_EQ(tiny.Normalize(false, 1e-2f), Vf(0, 0, 0));
}

TEST(ValueTypesTest, PlaneNormalizeScalesAllFour) {
  Plane_3D<double> plane(0, 0, 2, 4);
  plane.Normalize(0);
  EXPECT_EQ(plane.c, 1);
  EXPECT_EQ(plane.d, 2);
  Plane_3D<double> flat(0, 0, 0, 5);
  flat.Normalize(0);
  EXPECT_EQ(flat.d, 0);
  Plane_3D<float> through(Vf(0, 1, 0), Pf(0, 3, 0));
  EXPECT_EQ(through.d, -3);
  EXPECT_EQ(Vf(through), Vf(0, 1, 0));
}

TEST(ValueTypesTest, EqualsInUnitsOfTheLastPlace) {
  Vf const v(1, -2, kInf);
  EXPECT_TRUE(v.Equals(v, 0));
  EXPECT_TRUE(Vf(0, 0, 0).Equals(Vf(1e-6f, 0, 0), 0));
  EXPECT_FALSE(Vf(0, 0, 0).Equals(Vf(1e-5f, 0, 0), 1000));
  EXPECT_FALSE(Vf(kNaN, 0, 0).Equals(Vf(kNaN, 0, 0), 10));
  EXPECT_FALSE(Vf(kInf, 0, 0).Equals(Vf(-kInf, 0, 0), 10));

  float const one_up = std::nextafter(1.0f, 2.0f);
  EXPECT_FALSE(Vf(1, 0, 0).Equals(Vf(one_up, 0, 0), 0));
  EXPECT_TRUE(Vf(1, 0, 0).Equals(Vf(one_up, 0, 0), 1));

  float const smallest = FromBits(1), smallest_negative = FromBits(0x80000001u);
  EXPECT_FALSE(Vf(smallest, 1, 1).Equals(Vf(smallest_negative, 1, 1), 1));
  EXPECT_TRUE(Vf(smallest, 1, 1).Equals(Vf(smallest_negative, 1, 1), 2));
}

TEST(ValueTypesTest, EqualityRules) {
  EXPECT_TRUE(Pf(kNaN, 0, 0) == Pf(5, 0, 0));
  EXPECT_TRUE(Pf(-0.0f, 0, 0) == Pf(0, 0, 0));
  EXPECT_FALSE(Pf(1, 0, 0) == Pf(2, 0, 0));
  EXPECT_TRUE(Vf(kNaN, 0, 0) == Vf(kNaN, 0, 0));
  EXPECT_FALSE(Vf(kNaN, 0, 0) == Vf(5, 0, 0));
  EXPECT_TRUE(Vf(-0.0f, 0, 0) == Vf(0, 0, 0));
  EXPECT_TRUE(Vf(1, 0, 0) != Vf(std::nextafter(1.0f, 2.0f), 0, 0));
  EXPECT_EQ(Sphere_3D<float>(), Sphere_3D<float>(Pf(0, 0, 0), -1));
  EXPECT_NE(Sphere_3D<float>(), Sphere_3D<float>(Pf(0, 0, 0), 1));
}

TEST(ValueTypesTest, ArithmeticRules) {
  Vf const a(1, 2, 3), b(4, 5, 6);
  EXPECT_EQ(a.Cross(b), Vf(-3, 6, -3));
  EXPECT_EQ(a.Dot(b), 32);
  EXPECT_EQ(Pf(1, 1, 1) - Pf(0, 1, 2), Vf(1, 0, -1));
  EXPECT_EQ(Pf(1, 1, 1) + a, Pf(2, 3, 4));
  Vf third = Vf(1, 1, 1) / 3.0f;
  float const r = 1.0f / 3.0f;
  EXPECT_EQ(third, Vf(1 * r, 1 * r, 1 * r));
  EXPECT_EQ(Vf(1e20f, 0, 0).LengthSquared(), double(1e20f) * double(1e20f));  // no overflow in float
  Pf p(1, 2, 3);
  p[1] = 7;
  EXPECT_EQ(p.y, 7);
  Point_2D<double> q(1, 2);
  EXPECT_EQ(q.y, 2);
}
