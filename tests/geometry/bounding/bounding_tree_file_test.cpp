#include "geometry/bounding/BoundingTreeFile.h"

#include <gtest/gtest.h>

#include <bit>

#include "TreeTestSupport.h"
#include "geometry/bounding/ClusterTree.h"

namespace QX::Store {
namespace {

uint32_t U32(std::vector<uint8_t> const& b, size_t at) {
  return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | uint32_t{b[at + 3]} << 24;
}
uint64_t U64(std::vector<uint8_t> const& b, size_t at) {
  return U32(b, at) | uint64_t{U32(b, at + 4)} << 32;
}

std::vector<uint8_t> Le(std::initializer_list<uint32_t> words) {
  std::vector<uint8_t> out;
  for (uint32_t w : words) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(w >> (8 * i)));
  }
  return out;
}
uint32_t F(float f) { return std::bit_cast<uint32_t>(f); }

ItemLookup LookupIn(test::ItemSet& set) {
  return [&set](uint32_t key) -> BoundingItem* {
    return key >= 1 && key <= set.items.size() ? &set.items[key - 1] : nullptr;
  };
}

std::unique_ptr<BoundingNode> SeededTree(test::ItemSet& set) {
  ClusterOptions options;
  options.threads = 2;
  options.seed = [](uint32_t thread, uint64_t task) { return static_cast<uint32_t>(thread + 31 * task); };
  return BuildBoundingTree(set.pointers, set.bounds, options);
}

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

TEST(ReadTree, RoundTripRestoresItemsAndGivesTheSameBytes) {
  auto set = test::ClusteredItems(3000, 13);
  auto root = SeededTree(set);
  std::vector<uint8_t> bytes;
  WriteTree(*root, bytes);

  auto copy = test::ClusteredItems(3000, 13);
  for (auto& item : copy.items) item = {item.key, 0, BoundingBox{}};
  auto read = ReadTree(bytes, LookupIn(copy));
  ASSERT_TRUE(read);
  for (size_t i = 0; i < set.items.size(); ++i) {
    EXPECT_EQ(copy.items[i].weight, set.items[i].weight);
    EXPECT_EQ(copy.items[i].bounds, set.items[i].bounds);
  }
  std::vector<uint8_t> again;
  WriteTree(*read, again);
  EXPECT_EQ(again, bytes);
}

TEST(ReadTree, RejectsDamagedRecords) {
  auto set = test::ClusteredItems(600, 3);
  auto root = SeededTree(set);
  std::vector<uint8_t> bytes;
  WriteTree(*root, bytes);
  auto lookup = LookupIn(set);
  for (size_t cut = 0; cut < bytes.size(); cut += 7) {
    EXPECT_FALSE(ReadTree(std::span(bytes.data(), cut), lookup)) << cut;
  }
  auto damaged = [&](size_t at, uint32_t value) {
    std::vector<uint8_t> copy = bytes;
    for (int i = 0; i < 4; ++i) copy[at + i] = static_cast<uint8_t>(value >> (8 * i));
    return ReadTree(copy, lookup) != nullptr;
  };
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

TEST(WriteStreamTree, NodesAndHeadMatchAWalkOfTheTree) {
  auto set = test::ClusteredItems(3000, 17);
  auto root = SeededTree(set);
  std::vector<uint8_t> bytes;
  WriteStreamTree(*root, bytes);

  std::vector<std::pair<uint64_t, uint32_t>> walked;  // path, item count
  uint32_t weight = 0;
  VisitTree(*root, kRootPath, 0, [&](uint64_t path, BoundingBox const&, std::span<BoundingItem* const> items) {
    walked.push_back({path, static_cast<uint32_t>(items.size())});
    for (auto const* item : items) weight += item->weight;
  });
  ASSERT_EQ(U32(bytes, 0), 111u);
  EXPECT_EQ(U32(bytes, 4), bytes.size());
  EXPECT_EQ(U32(bytes, 8), walked.size());
  EXPECT_EQ(U32(bytes, 12), weight);
  ASSERT_EQ(bytes.size(), 16 + 48 * walked.size());

  for (size_t n = 0; n < walked.size(); ++n) {
    size_t const at = 16 + 48 * n;
    EXPECT_EQ(U32(bytes, at), 79u);
    EXPECT_EQ(U32(bytes, at + 4), walked[n].second);
    EXPECT_EQ(U64(bytes, at + 16), walked[n].first);
  }
}

}  // namespace
}  // namespace QX::Store
