// The point cloud partition: its fixed shuffle, the shape rules of its
// nodes on random clouds, and the cases where it must not split.
#include "geometry/bounding/CloudNode.h"

#include <gtest/gtest.h>

#include <numeric>
#include <random>

namespace {

using namespace QX::Store;

std::vector<Point> RandomCloud(size_t count, uint32_t seed, float clustered_share) {
  std::mt19937 generator(seed);
  std::uniform_real_distribution<float> unit(0, 1);
  std::vector<Point> points(count);
  for (Point& p : points) {
    float const scale = unit(generator) < clustered_share ? 0.01f : 10.0f;
    p = {unit(generator) * scale, unit(generator) * scale, unit(generator) * scale};
  }
  return points;
}

bool Holds(BoundingBox const& b, Point const& p) {
  return p.x >= b.min_x && p.x <= b.max_x && p.y >= b.min_y && p.y <= b.max_y && p.z >= b.min_z && p.z <= b.max_z;
}

struct TreeCheck {
  std::vector<Point> const& points;
  std::vector<int> seen;
  size_t nodes = 0;

  // Returns the number of points held at and below `node`.
  uint64_t Visit(CloudNode const& node, uint32_t depth, bool root) {
    if (node.Used()) ++nodes;
    for (uint32_t i : node.indices) {
      ++seen[i];
      EXPECT_TRUE(Holds(node.box, points[i])) << "point " << i << " outside its node at depth " << depth;
    }
    if (!root && !node.indices.empty()) {
      EXPECT_GE(node.indices.size(), kCloudNodeMinimum) << "depth " << depth;
    }
    if (depth < kCloudMaxDepth) {
      EXPECT_LE(node.indices.size(), kCloudNodeTarget + kCloudNodeMinimum) << "depth " << depth;
    }
    uint64_t below = node.indices.size();
    if (node.children)
      for (CloudNode const& child : *node.children) below += Visit(child, depth + 1, false);
    EXPECT_EQ(node.count, below) << "depth " << depth;
    return below;
  }
};

TEST(CloudNode, ShuffleDrawsFromTheFixedTwister) {
  // Worked out with an independent implementation of the 32-bit twister
  // (init_genrand(201015)) and the rejection rule.
  std::vector<uint32_t> list(10);
  std::iota(list.begin(), list.end(), 0);
  ShuffleCloudIndices(list);
  EXPECT_EQ(list, (std::vector<uint32_t>{8, 6, 5, 3, 1, 9, 0, 2, 4, 7}));
  std::vector<uint32_t> one{42};
  ShuffleCloudIndices(one);
  EXPECT_EQ(one, std::vector<uint32_t>{42});
}

TEST(CloudNode, RandomCloudsKeepEveryPointOnceInNodesOfTheRightSize) {
  for (auto [count, clustered] : {std::pair<size_t, float>{60000, 0.0f}, {45000, 0.7f}}) {
    std::vector<Point> const points = RandomCloud(count, uint32_t(count), clustered);
    CloudNode const root = BuildCloudTree(points.data(), points.size());
    TreeCheck check{points, std::vector<int>(points.size(), 0)};
    EXPECT_EQ(check.Visit(root, 0, true), count);
    for (size_t i = 0; i < count; ++i) ASSERT_EQ(check.seen[i], 1) << "point " << i;
    EXPECT_GT(check.nodes, 3u);
    // The root is a sample of the whole cloud, not a corner of it.
    EXPECT_GE(root.indices.size(), kCloudNodeTarget / 2);
  }
}

TEST(CloudNode, SmallAndDegenerateCloudsStayInOneNode) {
  std::vector<Point> even;  // 10,001 points on a grid: the split gives all back
  for (int i = 0; i < 10001; ++i) even.push_back({float(i % 22), float(i / 22 % 22), float(i / 484)});
  std::vector<Point> const same(20000, Point{1, 2, 3});  // a chain down to the last depth, folded up
  std::vector<Point> const few = RandomCloud(10000, 7, 0);
  for (std::vector<Point> const* points : std::initializer_list<std::vector<Point> const*>{&even, &same, &few}) {
    CloudNode const root = BuildCloudTree(points->data(), points->size());
    EXPECT_EQ(root.indices.size(), points->size());
    EXPECT_EQ(root.children, nullptr);
  }
  CloudNode const empty = BuildCloudTree(nullptr, 0);
  EXPECT_FALSE(empty.Used());
}

}  // namespace
