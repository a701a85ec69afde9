#include "geometry/bounding/MatrixMath.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "geometry/bounding/BoundingSphere.h"

namespace QX::Store {
namespace {

PointD Through(Matrix const& m, PointD p) {
  TransformPoints(m, &p, 1);
  return p;
}

void ExpectNear(PointD a, PointD b, double eps = 1e-9) {
  EXPECT_NEAR(a.x, b.x, eps);
  EXPECT_NEAR(a.y, b.y, eps);
  EXPECT_NEAR(a.z, b.z, eps);
}

TEST(Concat, AppliesTheLeftMatrixFirstAndExpandAgrees) {
  std::mt19937 gen(3);
  std::uniform_real_distribution<double> value(-2, 2);
  for (int round = 0; round < 50; ++round) {
    Matrix a, b;
    for (double& e : a) e = value(gen);
    for (double& e : b) e = value(gen);
    PointD const p{value(gen), value(gen), value(gen)};
    PointD const expected = Through(b, Through(a, p));
    ExpectNear(Through(Concat(a, b), p), expected);

    Matrix4 const e = Expand(Concat(a, b));
    ExpectNear({e[0] * p.x + e[1] * p.y + e[2] * p.z + e[3], e[4] * p.x + e[5] * p.y + e[6] * p.z + e[7],
                e[8] * p.x + e[9] * p.y + e[10] * p.z + e[11]},
               expected);
    EXPECT_EQ(e[12], 0);
    EXPECT_EQ(e[15], 1);
  }
}

TEST(TransformCamera, IdentityWithinToleranceChangesNothing) {
  Matrix4 m = Expand(kIdentityMatrix);
  m[0] = 1 + 1e-13;
  m[7] = 1e-13;
  PointD position{1, 2, 3}, target{0, 0, 0}, up{0, 0, 2};
  double width = -4, height = 5;
  TransformCamera(position, target, up, width, height, m);
  EXPECT_EQ(up, (PointD{0, 0, 2}));  // not even normalised
  EXPECT_EQ(width, -4);
}

TEST(TransformCamera, FollowsRotationScaleAndTranslationKeepingSigns) {
  // Turn a quarter about z (x -> y, y -> -x), scale by 2, move by (10, 0, 0).
  Matrix const m = {0, 2, 0, -2, 0, 0, 0, 0, 2, 10, 0, 0};
  PointD position{0, -5, 0}, target{0, 0, 0}, up{0, 0, 3};
  double width = -1.5, height = 2;
  TransformCamera(position, target, up, width, height, Expand(m));
  ExpectNear(position, {20, 0, 0});
  ExpectNear(target, {10, 0, 0});
  ExpectNear(up, {0, 0, 1});
  EXPECT_NEAR(height, 4, 1e-12);
  EXPECT_NEAR(width, -3, 1e-12);
}

TEST(BoundingSphere, BoxOfSphereOfBoxHoldsTheBox) {
  BoundingBoxD const box{-1, 2, 3, 1, 6, 3};
  BoundingSphere sphere = SphereOfBox(box);
  EXPECT_EQ(sphere.center, (PointD{0, 4, 3}));
  EXPECT_EQ(sphere.radius_squared, 5);
  EXPECT_EQ(sphere.radius, -1.0);
  BoundingBoxD const out = BoxOfSphere(sphere);
  EXPECT_DOUBLE_EQ(sphere.radius, std::sqrt(5.0));
  EXPECT_DOUBLE_EQ(out.max_x, 1.415 * std::sqrt(5.0));
  EXPECT_DOUBLE_EQ(out.min_y, 4 - 1.415 * std::sqrt(5.0));
}

}  // namespace
}  // namespace QX::Store
