#include "geometry/bounding/ClusterRater.h"

#include <gtest/gtest.h>

#include <cmath>

namespace QX::Store {
namespace {

// Two boxes in clusters 0 and 1, five clusters empty.
float RateTwo(BoundingBox bounds, BoundingBox a, BoundingBox b) {
  std::vector<BoundingBox> const boxes = {a, b};
  ClusterRater const rater(bounds, boxes);
  ClusterSolution s;
  s.lists[0] = {0};
  s.lists[1] = {1};
  return rater.Rate(s);
}

TEST(ClusterRater, VolumetricOverlapIsScaledByTheWholeVolume) {
  BoundingBox const bounds{0, 0, 0, 10, 10, 10};
  // Empty clusters each cost 1 x 10 / 2 boxes.
  EXPECT_EQ(RateTwo(bounds, {0, 0, 0, 2, 2, 2}, {1, 1, 1, 3, 3, 3}), static_cast<float>(0.2) + 25.0f);
  EXPECT_EQ(RateTwo(bounds, {0, 0, 0, 1, 1, 1}, {5, 5, 5, 6, 6, 6}), 25.0f);
  // Two negative extents make a positive product, which counts.
  EXPECT_EQ(RateTwo(bounds, {0, 0, 0, 1, 1, 1}, {2, 2, 0, 3, 3, 1}), static_cast<float>(0.2) + 25.0f);
}

TEST(ClusterRater, FlatTasksRateByArea) {
  BoundingBox const flat{0, 0, 0, 10, 10, 0};
  std::vector<BoundingBox> const boxes = {{0, 0, 0, 2, 2, 0}, {1, 1, 0, 3, 3, 0}};
  ClusterRater const rater(flat, boxes);
  EXPECT_FALSE(rater.volumetric());
  EXPECT_DOUBLE_EQ(rater.overlap_scale(), 2.0);
  EXPECT_EQ(RateTwo(flat, boxes[0], boxes[1]), 2.0f + 25.0f);
}

TEST(ClusterRater, BoxesAtOnePointRateAsNotANumber) {
  BoundingBox const point{1, 1, 1, 1, 1, 1};
  std::vector<BoundingBox> const boxes = {point, point};
  ClusterRater const rater(point, boxes);
  EXPECT_TRUE(std::isinf(rater.overlap_scale()));
  EXPECT_TRUE(std::isnan(RateTwo(point, point, point)));
}

}  // namespace
}  // namespace QX::Store
