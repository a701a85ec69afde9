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

TEST(ClusterRater, SizeThresholdsComeFromTheBoxCount) {
  std::vector<BoundingBox> boxes(200, BoundingBox{0, 0, 0, 1, 1, 1});
  ClusterRater const rater({0, 0, 0, 1, 1, 1}, boxes);
  EXPECT_TRUE(rater.volumetric());
  EXPECT_EQ(rater.small(), 21u);  // 200 * 0.10989012f = 21.97...
  EXPECT_EQ(rater.smaller(), 7u);
  EXPECT_EQ(rater.smallest(), 3u);
  EXPECT_DOUBLE_EQ(rater.overlap_scale(), 200.0);

  // Cluster sizes 30, 21, 10, 5, 2, 0, 132: penalties 0, 1, 12, 170, 2000,
  // 2200, 0. All boxes coincide, but their overlap is one box per pair.
  ClusterSolution s;
  uint32_t next = 0;
  size_t const sizes[7] = {30, 21, 10, 5, 2, 0, 132};
  for (size_t k = 0; k < 7; ++k) {
    for (size_t i = 0; i < sizes[k]; ++i) s.lists[k].push_back(next++);
  }
  double const overlap = 15 * 1.0;  // pairs among the six clusters with boxes
  EXPECT_EQ(rater.Rate(s), static_cast<float>(overlap * 200.0) + 4383.0f * (10.0f / 200.0f));
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
