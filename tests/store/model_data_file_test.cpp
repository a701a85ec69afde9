// Keyed data and group blocks in a model's data file: empty blocks,
// replacement, refused calls, blocks a damaged digest points outside the
// file, and the fixed bytes of a group block.
#include "store/DataBlocks.h"
#include "store/DataFiles.h"
#include "store/KeyedData.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

using ModelDataFileTest = ModelTest;

// Empty blocks have no bytes; a replacement is appended and read from there.
TEST_F(ModelDataFileTest, KeyedDataIsReplacedAtTheEnd) {
  uint8_t const data[5] = {1, 2, 3, 4, 5};
  DataKey const key = model.InsertKeyedData(5, data, 3);
  uintmax_t const size = FileSize(kDataName);
  model.SetKeyedData(key, 3, data + 2);
  EXPECT_EQ(FileSize(kDataName), size + 3);
  EXPECT_EQ(impl().keyed_data.Find(key)->position, static_cast<int64_t>(size));
  std::vector<uint8_t> out;
  ASSERT_TRUE(impl().ReadKeyedData(key, out));
  EXPECT_EQ(out, (std::vector<uint8_t>{3, 4, 5}));
  model.SetKeyedData(key, 0, nullptr);
  EXPECT_EQ(impl().keyed_data.Find(key)->position, -1);
  EXPECT_EQ(impl().keyed_data.Find(key)->type, 3u);
  ASSERT_TRUE(impl().ReadKeyedData(key, out));
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(impl().keyed_data.Find(model.InsertKeyedData(0, nullptr, 7))->position, -1);

  std::string const invalid = "Keyed data invalid: byte_data ptr";
  EXPECT_EQ(ThrownText([&] { model.InsertKeyedData(1, nullptr, 0); }), invalid);
  EXPECT_EQ(ThrownText([&] { model.InsertKeyedData(0, data, 0); }), invalid);
  EXPECT_EQ(ThrownText([&] { model.SetKeyedData(kMetadataKey, 0, data); }), invalid);
  EXPECT_EQ(log.Count(invalid), 3);
  EXPECT_EQ(ThrownText([&] { model.SetKeyedData(999, 1, data); }), "Used an invalid DataKey");
  EXPECT_EQ(impl().next.keyed_data, key + 2);
  EXPECT_FALSE(impl().ReadKeyedData(999, out));
  impl().keyed_data.Find(key)->size = 0xFFFFFFF0u;  // as a damaged digest could say
  impl().keyed_data.Find(key)->position = 0;
  EXPECT_FALSE(impl().ReadKeyedData(key, out));
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(log.Count("Failed reading KeyedData " + std::to_string(key)), 1);
}

// A group block: instance pairs sorted and made unique, group pairs in the
// order given; its words in memory lead with their count. A group replaced
// goes to the end of the data file; the old bytes stay.
TEST_F(ModelDataFileTest, GroupBlockBytesAndWords) {
  std::vector<InstanceInc> const instances = {{2, 5}, {1, 9}, {1, 9}};
  std::vector<GroupInc> const groups = {{3, 1}, {1, 1}, {3, 1}, {3, 1}};
  std::vector<uint8_t> const block = EncodeGroupBlock(instances, groups);
  EXPECT_EQ(block, Put().U32({2, 1, 9, 2, 5, 3, 3, 1, 1, 1, 3, 1}).data);
  EXPECT_EQ(block.size(), GroupBlockSize(2, 3));
  EXPECT_EQ(GroupWordsFromBlock(block), (std::vector<uint32_t>{12, 2, 1, 9, 2, 5, 3, 3, 1, 1, 1, 3, 1}));

  std::vector<GroupInc> const one_group = {{3, 1}};
  GroupEntry group{.position = -1, .size = 0, .key = 4, .words = {}};
  WriteGroupBlock(impl(), group, instances, one_group);
  EXPECT_EQ(group.size, 32u);
  EXPECT_EQ(group.position, static_cast<int64_t>(FileSize(kDataName)) - 32);
  impl().LoadGroup(group);
  EXPECT_EQ(group.words, (std::vector<uint32_t>{8, 2, 1, 9, 2, 5, 1, 3, 1}));
  GroupEntry broken{.position = group.position + 8, .size = 32, .key = 5, .words = {}};
  impl().LoadGroup(broken);
  EXPECT_EQ(broken.words, std::vector<uint32_t>{0});
  EXPECT_EQ(log.Count("Failed reading Group (5)"), 1);

  GroupKey const key = model.InsertGroup({{0, 2}, {0, 1}}, {});
  model.InsertGroup({}, {{0, key}});
  auto const end = int64_t(FileSize(kDataName));
  model.SetGroup(key, {{0, 3}}, {});
  EXPECT_EQ(impl().groups.Find(key)->position, end);
  EXPECT_EQ(FileSize(kDataName), uint64_t(end) + 16);
  EXPECT_EQ(ThrownText([&] { model.SetGroup(9, {}, {}); }), "Used an invalid GroupKey");
}

}  // namespace
}  // namespace qx_store_test
