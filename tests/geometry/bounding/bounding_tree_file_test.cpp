// The tree file: exact bytes of a small tree, round trips of built trees,
// damaged files, and the node paths of the stream tree.
#include "geometry/bounding/BoundingTreeFile.h"

#include <gtest/gtest.h>

#include <bit>

#include "TreeTestSupport.h"
#include "geometry/bounding/BoundingTree.h"
#include "geometry/bounding/ClusterTree.h"
#include "tests/geometry/mesh/MemoryFile.h"

namespace QX::Store {
namespace {

uint32_t U32(std::vector<uint8_t> const& b, size_t at) {
  return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | uint32_t{b[at + 3]} << 24;
}

std::vector<uint8_t> Le(std::initializer_list<uint32_t> words) {
  std::vector<uint8_t> out;
  for (uint32_t w : words) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(w >> (8 * i)));
  }
  return out;
}
uint32_t F(float f) { return std::bit_cast<uint32_t>(f); }

TEST(WriteTree, SingleNodeTreeBytes) {
  BoundingItem a{7, 3, {1, 2, 3, 4, 5, 6}};
  BoundingItem b{9, 1, {0, 2, 3, 4, 5, 8}};
  BoundingNode root;
  root.bounds = {-10, -10, -10, 10, 10, 10};
  root.items = {&a, &b};
  std::vector<uint8_t> bytes;
  WriteTree(root, bytes);
  std::vector<uint8_t> const expected = Le({
      111, 16 + 44 + 64, 1, 4,                                   // head
      79, 2, 4, 0, 0, F(0), F(2), F(3), F(4), F(5), F(8),        // root, tight box
      7, 3, F(1), F(2), F(3), F(4), F(5), F(6),                  // items
      9, 1, F(0), F(2), F(3), F(4), F(5), F(8)});
  EXPECT_EQ(bytes, expected);
  EXPECT_EQ(root.weight, 4u);

  std::vector<uint8_t> stream;
  WriteStreamTree(root, stream);
  std::vector<uint8_t> expected_stream = Le({111, 16 + 48, 1, 4, 79, 2, 4, 0, 0xFFFFFFFF, 0xFFFFFFFF,
                                             F(0), F(2), F(3), F(4), F(5), F(8)});
  EXPECT_EQ(stream, expected_stream);
}

// A tree made over the items with bounds, written to a file and read back
// over blank items: every item regains its weight and box, and the tree
// read writes the same bytes.
TEST(BoundingTree, MadeOverValidItemsAndReadBackFromAFile) {
  auto set = test::ClusteredItems(3000, 19);
  set.items[5].bounds = BoundingBox{};
  auto tree = MakeBoundingTree(set.items, {2, nullptr});
  ASSERT_TRUE(tree && tree->root);
  size_t count = 0;
  BoundingBox united;
  VisitTree(*tree->root, kRootPath, 0, [&](uint64_t, BoundingBox const&, std::span<BoundingItem* const> items) {
    for (auto const* item : items) {
      ++count;
      Unite(united, item->bounds);
      EXPECT_TRUE(item >= tree->items.data() && item < tree->items.data() + tree->items.size());
    }
  });
  EXPECT_EQ(count, 2999u);
  EXPECT_TRUE(Contains(tree->root->bounds, united));

  qx_test::MemoryFile file;
  std::vector<uint8_t> bytes;
  WriteTree(*tree->root, bytes);
  ASSERT_EQ(file.Write(bytes.data(), bytes.size()), bytes.size());
  std::vector<BoundingItem> blank;
  for (auto const& item : set.items) blank.push_back({item.key, 0, BoundingBox{}});
  BoundingBox root_box;
  ASSERT_TRUE(ReadRootBox(file, root_box));
  EXPECT_TRUE(Contains(root_box, united) && Contains(united, root_box));
  auto read = ReadBoundingTree(file, blank);
  ASSERT_TRUE(read);
  for (size_t i = 0; i < set.items.size(); ++i) {
    EXPECT_EQ(read->items[i].bounds, set.items[i].bounds);
    EXPECT_EQ(read->items[i].weight, i == 5 ? 0u : set.items[i].weight);
  }
  std::vector<uint8_t> again;
  WriteTree(*read->root, again);
  EXPECT_EQ(again, bytes);
  blank.pop_back();  // a key of the file that the model doesn't know
  EXPECT_FALSE(ReadBoundingTree(file, blank));
}

TEST(ReadTree, RejectsDamagedRecords) {
  auto set = test::ClusteredItems(600, 3);
  ClusterOptions options;
  options.threads = 2;
  options.seed = [](uint32_t thread, uint64_t task) { return static_cast<uint32_t>(thread + 31 * task); };
  auto root = BuildBoundingTree(set.pointers, set.bounds, options);
  std::vector<uint8_t> bytes;
  WriteTree(*root, bytes);
  ItemLookup const lookup = [&set](uint32_t key) -> BoundingItem* {
    return key >= 1 && key <= set.items.size() ? &set.items[key - 1] : nullptr;
  };
  for (size_t cut = 0; cut < bytes.size(); cut += 7) {
    EXPECT_FALSE(ReadTree(std::span(bytes.data(), cut), lookup)) << cut;
  }
  auto damaged = [&](size_t at, uint32_t value) {
    std::vector<uint8_t> copy = bytes;
    for (int i = 0; i < 4; ++i) copy[at + i] = static_cast<uint8_t>(value >> (8 * i));
    return ReadTree(copy, lookup) != nullptr;
  };
  ASSERT_TRUE(ReadTree(bytes, lookup));
  EXPECT_FALSE(damaged(0, 112));        // head tag
  EXPECT_FALSE(damaged(16, 80));        // root tag
  EXPECT_FALSE(damaged(16 + 12, 9));    // more than 8 octants
  EXPECT_FALSE(damaged(16 + 4, 1u << 30));  // more items than bytes
  ASSERT_GT(U32(bytes, 16 + 4), 0u);
  EXPECT_FALSE(damaged(16 + 44, 99999));  // unknown instance key
  std::vector<uint8_t> longer = bytes;
  longer.push_back(0);
  EXPECT_FALSE(ReadTree(longer, lookup));
}

}  // namespace
}  // namespace QX::Store
