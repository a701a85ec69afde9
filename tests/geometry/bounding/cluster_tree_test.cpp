#include "geometry/bounding/ClusterTree.h"

#include <gtest/gtest.h>

#include <map>

#include "TreeTestSupport.h"

namespace QX::Store {
namespace {

using test::ForEachNode;

// Checks what holds for any tree, whatever the seeds: every item with a box
// is in exactly one node, every node's box holds its whole subtree, no child
// array is all empty, and no node is deeper than the limit.
void ExpectSoundTree(BoundingNode const& root, test::ItemSet const& set) {
  std::map<BoundingItem const*, int> seen;
  ForEachNode(root, 0, [&](BoundingNode const& node, uint32_t depth) {
    EXPECT_LE(depth, kMaxTreeDepth);
    for (auto const* item : node.items) ++seen[item];
    ForEachNode(node, depth, [&](BoundingNode const& below, uint32_t) {
      for (auto const* item : below.items) ASSERT_TRUE(Contains(node.bounds, item->bounds));
    });
    auto any_non_empty = [](auto const& children) {
      for (auto const& child : *children) {
        if (!child.Empty()) return true;
      }
      return false;
    };
    EXPECT_TRUE(!node.octants || any_non_empty(node.octants));
    EXPECT_TRUE(!node.clusters || any_non_empty(node.clusters));
  });
  size_t with_box = 0;
  for (auto const& item : set.items) {
    if (!item.bounds.Valid()) continue;
    ++with_box;
    EXPECT_EQ(seen[&item], 1) << "item " << item.key;
  }
  EXPECT_EQ(seen.size(), with_box);
}

bool HasClusters(BoundingNode const& root) {
  bool found = false;
  ForEachNode(root, 0, [&](BoundingNode const& node, uint32_t) { found = found || node.clusters; });
  return found;
}

TEST(BuildBoundingTree, RandomSeedsKeepEveryItemOnceOnOneOrManyThreads) {
  for (uint32_t threads : {1u, 3u}) {
    auto set = test::ClusteredItems(8000, 21);
    set.items[17].bounds = BoundingBox{};  // no stream data: not entered
    auto root = BuildBoundingTree(set.pointers, set.bounds, {threads, nullptr});
    ExpectSoundTree(*root, set);
    EXPECT_TRUE(HasClusters(*root));
  }
}

}  // namespace
}  // namespace QX::Store
