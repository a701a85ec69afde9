#include "geometry/bounding/BoundingBoxD.h"

#include <gtest/gtest.h>

#include <random>

#include "geometry/bounding/MatrixMath.h"

namespace QX::Store {
namespace {

TEST(ScanPoints, NoPointsGiveAZeroPointBoxNotTheEmptyOne) {
  BoundingBox const box = ScanPoints(static_cast<Point const*>(nullptr), 0);
  EXPECT_EQ(box, (BoundingBox{0, 0, 0, 0, 0, 0}));
  EXPECT_TRUE(box.Valid());
}

TEST(TransformBox, HoldsEveryTransformedPointOfTheBox) {
  std::mt19937 gen(7);
  std::uniform_real_distribution<double> value(-3, 3), unit(0, 1);
  for (int round = 0; round < 200; ++round) {
    Matrix m;
    for (double& e : m) e = value(gen);
    BoundingBoxD box{value(gen), value(gen), value(gen), 0, 0, 0};
    box.max_x = box.min_x + unit(gen) * 4;
    box.max_y = box.min_y + unit(gen) * 4;
    box.max_z = box.min_z + unit(gen) * 4;
    BoundingBoxD const out = TransformBox(box, m);
    for (int k = 0; k < 20; ++k) {
      PointD p{box.min_x + unit(gen) * (box.max_x - box.min_x),
               box.min_y + unit(gen) * (box.max_y - box.min_y),
               box.min_z + unit(gen) * (box.max_z - box.min_z)};
      TransformPoints(m, &p, 1);
      double const eps = 1e-9;
      EXPECT_TRUE(p.x >= out.min_x - eps && p.x <= out.max_x + eps);
      EXPECT_TRUE(p.y >= out.min_y - eps && p.y <= out.max_y + eps);
      EXPECT_TRUE(p.z >= out.min_z - eps && p.z <= out.max_z + eps);
    }
  }
}

}  // namespace
}  // namespace QX::Store
