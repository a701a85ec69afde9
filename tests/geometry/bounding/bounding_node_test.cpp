#include "geometry/bounding/BoundingNode.h"

#include <gtest/gtest.h>

#include "TreeTestSupport.h"

namespace QX::Store {
namespace {

using test::ForEachNode;

BoundingNode Root() {
  BoundingNode root;
  root.bounds = {0, 0, 0, 8, 8, 8};
  return root;
}

std::vector<BoundingItem> PointItems(size_t count, BoundingBox box, uint32_t weight = 1) {
  std::vector<BoundingItem> items(count);
  for (size_t i = 0; i < count; ++i) items[i] = {static_cast<uint32_t>(i), weight, box};
  return items;
}

TEST(InsertItem, The129thItemSplitsIntoOctantsInTableOrder) {
  BoundingNode root = Root();
  // One small box in each octant, in the order of the octant table.
  std::array<std::array<float, 3>, 8> const corner = {
      {{5, 5, 5}, {1, 5, 5}, {1, 1, 5}, {5, 1, 5}, {5, 5, 1}, {1, 5, 1}, {1, 1, 1}, {5, 1, 1}}};
  std::vector<BoundingItem> items(129);
  for (size_t i = 0; i < items.size(); ++i) {
    auto const& c = corner[i % 8];
    items[i] = {static_cast<uint32_t>(i), 1, {c[0], c[1], c[2], c[0] + 1, c[1] + 1, c[2] + 1}};
  }
  items[128].bounds = {3, 3, 3, 5, 5, 5};  // straddles the centre: stays at the root
  for (size_t i = 0; i < 128; ++i) ASSERT_TRUE(InsertItem(root, &items[i], 0));
  EXPECT_FALSE(root.octants);
  EXPECT_EQ(root.items.size(), 128u);

  ASSERT_TRUE(InsertItem(root, &items[128], 0));
  ASSERT_TRUE(root.octants);
  ASSERT_EQ(root.items.size(), 1u);
  EXPECT_EQ(root.items[0], &items[128]);
  for (size_t k = 0; k < 8; ++k) {
    auto const& octant = (*root.octants)[k];
    ASSERT_EQ(octant.items.size(), 16u);
    EXPECT_EQ(octant.items[0], &items[k]);  // order of the items is kept
    EXPECT_EQ(octant.items[1], &items[k + 8]);
  }
}

TEST(InsertItem, NodesAtTheDepthLimitNeverSplit) {
  BoundingNode root = Root();
  auto items = PointItems(500, {1, 1, 1, 1, 1, 1});
  for (auto& item : items) InsertItem(root, &item, 0);
  size_t total = 0;
  ForEachNode(root, 0, [&](BoundingNode const& node, uint32_t depth) {
    EXPECT_LE(depth, kMaxTreeDepth);
    if (!node.octants && depth < kMaxTreeDepth) {
      EXPECT_LE(node.items.size(), kMaxLeafItems);
    }
    if (depth == kMaxTreeDepth && !node.items.empty()) {
      EXPECT_FALSE(node.octants);
      EXPECT_EQ(node.items.size(), 500u);
    }
    total += node.items.size();
  });
  EXPECT_EQ(total, 500u);
}

TEST(PruneTree, CollapsesSingleChildrenAndDissolvesSmallLightLeaves) {
  BoundingNode root = Root();
  // 129 items deep in octant 6 of octant 6: a chain of single children.
  auto deep = PointItems(129, {0.1f, 0.1f, 0.1f, 0.2f, 0.2f, 0.2f});
  for (auto& item : deep) InsertItem(root, &item, 0);
  BoundingItem lonely{999, 1, {7, 7, 7, 7.5f, 7.5f, 7.5f}};
  InsertItem(root, &lonely, 0);
  PruneTree(root, nullptr);

  // The lonely item dissolved into the root; the chain is one node now.
  ASSERT_EQ(root.items.size(), 1u);
  EXPECT_EQ(root.items[0], &lonely);
  int non_empty = 0;
  for (auto const& octant : *root.octants) non_empty += !octant.Empty();
  EXPECT_EQ(non_empty, 1);
  BoundingNode const& chain = (*root.octants)[6];
  EXPECT_EQ(chain.items.size(), 129u);
  EXPECT_FALSE(chain.octants);  // the chain below it collapsed into it
}

TEST(VisitTree, PathsReplaceTheNibbleOfTheParentsDepthCountingWrittenChildren) {
  BoundingNode root = Root();
  root.octants = std::make_unique<std::array<BoundingNode, 8>>();
  root.clusters = std::make_unique<std::array<BoundingNode, 7>>();
  BoundingItem a{1, 1, {1, 1, 1, 2, 2, 2}};
  (*root.octants)[3].items.push_back(&a);  // first written child: k = 0
  (*root.clusters)[5].items.push_back(&a);  // second: k = 1
  (*root.clusters)[5].octants = std::make_unique<std::array<BoundingNode, 8>>();
  (*(*root.clusters)[5].octants)[7].items.push_back(&a);
  std::vector<uint64_t> paths;
  VisitTree(root, kRootPath, 0, [&](uint64_t path, BoundingBox const&, std::span<BoundingItem* const>) {
    paths.push_back(path);
  });
  EXPECT_EQ(paths, (std::vector<uint64_t>{~0ull, ~0ull << 4, (~0ull << 4) | 1, (~0ull << 8) | 0x01}));
}

}  // namespace
}  // namespace QX::Store
