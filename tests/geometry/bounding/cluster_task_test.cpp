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

}  // namespace
}  // namespace QX::Store
