#include "geometry/bounding/MatrixMath.h"

#include <gtest/gtest.h>

namespace QX::Store {
namespace {

void ExpectNear(PointD a, PointD b) {
  EXPECT_NEAR(a.x, b.x, 1e-9);
  EXPECT_NEAR(a.y, b.y, 1e-9);
  EXPECT_NEAR(a.z, b.z, 1e-9);
}

TEST(TransformCamera, FollowsRotationScaleAndTranslationKeepingSigns) {
  // A quarter turn about z (x -> y, y -> -x), scale 2, then a move by (10, 0, 0).
  Matrix const m = {0, 2, 0, -2, 0, 0, 0, 0, 2, 10, 0, 0};
  PointD position{0, -5, 0}, target{0, 0, 0}, up{0, 0, 3};
  double width = -1.5, height = 2;
  TransformCamera(position, target, up, width, height, Expand(m));
  ExpectNear(position, {20, 0, 0});
  ExpectNear(target, {10, 0, 0});
  ExpectNear(up, {0, 0, 1});
  EXPECT_NEAR(height, 4, 1e-12);
  EXPECT_NEAR(width, -3, 1e-12);

  // Within 1e-12 of the identity nothing changes, not even the length of up.
  Matrix4 near_identity = Expand(kIdentityMatrix);
  near_identity[0] = 1 + 1e-13;
  up = {0, 0, 3};
  TransformCamera(position, target, up, width, height, near_identity);
  EXPECT_EQ(up, (PointD{0, 0, 3}));
}

}  // namespace
}  // namespace QX::Store
