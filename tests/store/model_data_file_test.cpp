// Keyed data and group blocks in a model's data file: empty blocks,
// replacement, refused calls, blocks a damaged digest points outside the
// file, and the fixed bytes of a group block.
#include "store/DataBlocks.h"
#include "store/DataFiles.h"
#include "store/KeyedData.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

class ModelDataFileTest : public ModelTest {
 protected:
  KeyedData& Entry(DataKey key) { return *impl().keyed_data.Find(key); }
  std::vector<uint8_t> Read(DataKey key) {
    std::vector<uint8_t> out{0xEE};
    EXPECT_TRUE(impl().ReadKeyedData(key, out));
    return out;
  }
};

// Empty blocks have no bytes; a replacement is appended and read from there.
TEST_F(ModelDataFileTest, KeyedDataIsReplacedAtTheEnd) {
  DataKey const empty = model.InsertKeyedData(0, nullptr, 7);
  EXPECT_EQ(Entry(empty).position, -1);
  EXPECT_EQ(Entry(empty).type, 7u);
  EXPECT_TRUE(Read(empty).empty());

  std::vector<uint8_t> const first = {1, 2, 3, 4, 5};
  std::vector<uint8_t> const second = {9, 8, 7};
  DataKey const key = model.InsertKeyedData(5, first.data(), 3);
  uintmax_t const size = FileSize(kDataName);
  model.SetKeyedData(key, 3, second.data());
  EXPECT_EQ(FileSize(kDataName), size + 3);
  EXPECT_EQ(Entry(key).position, static_cast<int64_t>(size));
  EXPECT_EQ(Read(key), second);
  model.SetKeyedData(key, 5, first.data());
  EXPECT_EQ(Read(key), first);
  model.SetKeyedData(key, 0, nullptr);
  EXPECT_EQ(Entry(key).position, -1);
  EXPECT_EQ(Entry(key).type, 3u);
  EXPECT_TRUE(Read(key).empty());
}

TEST_F(ModelDataFileTest, BadCallsAndBlocksOutsideTheFile) {
  uint8_t const data[4] = {1, 2, 3, 4};
  DataKey const next = impl().next.keyed_data;
  std::string const invalid = "Keyed data invalid: byte_data ptr";
  EXPECT_EQ(ThrownText([&] { model.InsertKeyedData(1, nullptr, 0); }), invalid);
  EXPECT_EQ(ThrownText([&] { model.InsertKeyedData(0, data, 0); }), invalid);
  EXPECT_EQ(ThrownText([&] { model.SetKeyedData(kMetadataKey, 0, data); }), invalid);
  EXPECT_EQ(log.Count(invalid), 3);
  EXPECT_EQ(ThrownText([&] { model.SetKeyedData(999, 1, data); }), "Used an invalid DataKey");
  EXPECT_EQ(impl().next.keyed_data, next);
  std::vector<uint8_t> out;
  EXPECT_FALSE(impl().ReadKeyedData(999, out));

  DataKey const key = model.InsertKeyedData(4, data, 0);
  Entry(key).size = 0xFFFFFFF0u;  // as a damaged digest could say
  EXPECT_FALSE(impl().ReadKeyedData(key, out));
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(log.Count("Failed reading KeyedData " + std::to_string(key)), 1);
}

// A group block: instance pairs sorted and made unique, group pairs in the
// order given; its words in memory lead with their count.
TEST_F(ModelDataFileTest, GroupBlockBytesAndWords) {
  std::vector<InstanceInc> const instances = {{2, 5}, {1, 9}, {1, 9}};
  std::vector<GroupInc> const groups = {{3, 1}, {1, 1}, {3, 1}, {3, 1}};
  std::vector<uint8_t> const block = EncodeGroupBlock(instances, groups);
  EXPECT_EQ(block, Put().U32({2, 1, 9, 2, 5, 3, 3, 1, 1, 1, 3, 1}).data);
  EXPECT_EQ(block.size(), GroupBlockSize(2, 3));
  EXPECT_EQ(GroupWordsFromBlock(block), (std::vector<uint32_t>{12, 2, 1, 9, 2, 5, 3, 3, 1, 1, 1, 3, 1}));

  GroupEntry group;
  group.key = 4;
  std::vector<GroupInc> const one_group = {{3, 1}};
  WriteGroupBlock(impl(), group, instances, one_group);
  EXPECT_EQ(group.size, 32u);
  EXPECT_EQ(group.position, static_cast<int64_t>(FileSize(kDataName)) - 32);
  impl().LoadGroup(group);
  EXPECT_EQ(group.words, (std::vector<uint32_t>{8, 2, 1, 9, 2, 5, 1, 3, 1}));

  GroupEntry broken{.position = group.position + 8, .size = 32, .key = 5, .words = {}};
  impl().LoadGroup(broken);
  EXPECT_EQ(broken.words, std::vector<uint32_t>{0});
  EXPECT_EQ(log.Count("Failed reading Group (5)"), 1);
}

// A group replaced goes to the end of the data file; the old bytes stay.
TEST_F(ModelDataFileTest, ReplacedGroupBlockGoesToTheEnd) {
  GroupKey const group = model.InsertGroup({{0, 2}, {0, 1}}, {});
  model.InsertGroup({}, {{0, group}});
  GroupEntry const& entry = *impl().groups.Find(group);
  EXPECT_EQ(entry.position, 0);
  auto const end = int64_t(FileSize(kDataName));
  model.SetGroup(group, {{0, 3}}, {});
  EXPECT_EQ(entry.position, end);
  EXPECT_EQ(entry.size, 16u);
  EXPECT_EQ(FileSize(kDataName), uint64_t(end) + 16);
  EXPECT_EQ(ThrownText([&] { model.SetGroup(9, {}, {}); }), "Used an invalid GroupKey");
}

}  // namespace
}  // namespace qx_store_test
