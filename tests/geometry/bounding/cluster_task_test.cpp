#include "geometry/bounding/ClusterTask.h"

#include <gtest/gtest.h>

namespace QX::Store {
namespace {

std::vector<BoundingItem> Items(size_t count, uint32_t weight) {
  std::vector<BoundingItem> items(count);
  for (size_t i = 0; i < count; ++i) {
    float const x = static_cast<float>(i);
    items[i] = {static_cast<uint32_t>(i), weight, {x, 0, 0, x + 1, 1, 1}};
  }
  return items;
}

BoundingNode NodeOf(std::vector<BoundingItem>& items) {
  BoundingNode node;
  for (auto& item : items) node.items.push_back(&item);
  return node;
}

TEST(CollectTasks, ClustersCrowdedOrHeavyNodesAboveTheDepthLimit) {
  struct Case {
    size_t count;
    uint32_t weight;
    uint64_t depth;
    bool expected;
  };
  for (Case c : {Case{193, 1, 0, true}, Case{192, 5, 0, false}, Case{192, 6, 0, true},
                 Case{2, 512, 3, true}, Case{2, 511, 3, false}, Case{1, 5000, 0, false},
                 Case{500, 1, 15, true}, Case{500, 1, 16, false}}) {
    auto items = Items(c.count, c.weight);
    BoundingNode node = NodeOf(items);
    std::vector<ClusterTask> tasks;
    CollectTasks(node, c.depth, tasks);
    EXPECT_EQ(tasks.size(), c.expected ? 1u : 0u) << c.count << " x " << c.weight << " at " << c.depth;
  }
}

TEST(CollectTasks, SamplesFifteenPointsPerBoxBottomTopThenMiddle) {
  auto items = Items(2, 1024);
  items[1].bounds = {2, 4, 6, 4, 8, 10};
  BoundingNode node = NodeOf(items);
  std::vector<ClusterTask> tasks;
  CollectTasks(node, 0, tasks);
  ASSERT_EQ(tasks.size(), 1u);
  ClusterTask const& task = tasks[0];
  EXPECT_EQ(task.node, &node);
  EXPECT_EQ(task.bounds, (BoundingBox{0, 0, 0, 4, 8, 10}));
  ASSERT_EQ(task.samples.size(), 30u);
  std::vector<std::array<float, 3>> second;
  for (size_t i = 15; i < 30; ++i) {
    EXPECT_EQ(task.samples[i].box, 1u);
    second.push_back({task.samples[i].x, task.samples[i].y, task.samples[i].z});
  }
  std::vector<std::array<float, 3>> const expected = {
      {2, 4, 6}, {4, 4, 6}, {2, 8, 6}, {4, 8, 6}, {3, 6, 6},
      {2, 4, 10}, {4, 4, 10}, {2, 8, 10}, {4, 8, 10}, {3, 6, 10},
      {2, 4, 8}, {4, 4, 8}, {2, 8, 8}, {4, 8, 8}, {3, 6, 8}};
  EXPECT_EQ(second, expected);
}

}  // namespace
}  // namespace QX::Store
