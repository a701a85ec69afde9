// Keyed data and group blocks in a model's data file: empty blocks,
// replacement, refused calls, blocks a damaged digest points outside the
// file, and the fixed bytes of a group block.
#include "store/DataBlocks.h"
#include "store/DataFiles.h"
#include "store/KeyedData.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

using Bytes = std::vector<uint8_t>;

class ModelDataFileTest : public ModelTest {
 protected:
  KeyedData const& Entry(DataKey key) { return *impl().keyed_data.Find(key); }
  Bytes Read(DataKey key) {
    Bytes out{0xEE};
    EXPECT_TRUE(impl().ReadKeyedData(key, out));
    return out;
  }
};

TEST_F(ModelDataFileTest, EmptyBlocksHaveNoBytes) {
  DataKey const key = model.InsertKeyedData(0, nullptr, 7);
  EXPECT_EQ(Entry(key).position, -1);
  EXPECT_EQ(Entry(key).size, 0u);
  EXPECT_EQ(Entry(key).type, 7u);
  EXPECT_TRUE(Read(key).empty());

  Bytes const data = {1, 2, 3};
  DataKey const full = model.InsertKeyedData(3, data.data(), 8);
  model.SetKeyedData(full, 0, nullptr);
  EXPECT_EQ(Entry(full).position, -1);
  EXPECT_EQ(Entry(full).type, 8u);
  EXPECT_TRUE(Read(full).empty());
}

TEST_F(ModelDataFileTest, ReplacementAppendsAndReadsTheLastVersion) {
  Bytes const first = {1, 2, 3, 4, 5};
  Bytes const second = {9, 8, 7};
  DataKey const key = model.InsertKeyedData(5, first.data(), 3);
  uintmax_t const size = FileSize(kDataName);
  model.SetKeyedData(key, 3, second.data());
  EXPECT_EQ(FileSize(kDataName), size + 3);
  EXPECT_EQ(Entry(key).position, static_cast<int64_t>(size));
  EXPECT_EQ(Read(key), second);
  model.SetKeyedData(key, 5, first.data());
  EXPECT_EQ(FileSize(kDataName), size + 8);
  EXPECT_EQ(Read(key), first);
  EXPECT_EQ(Entry(key).type, 3u);
}

TEST_F(ModelDataFileTest, BadCallsChangeNothing) {
  Bytes const data = {1};
  DataKey const next = impl().next.keyed_data;
  EXPECT_EQ(ThrownText([&] { model.InsertKeyedData(1, nullptr, 0); }), "Keyed data invalid: byte_data ptr");
  EXPECT_EQ(ThrownText([&] { model.InsertKeyedData(0, data.data(), 0); }), "Keyed data invalid: byte_data ptr");
  EXPECT_EQ(ThrownText([&] { model.SetKeyedData(kMetadataKey, 0, data.data()); }),
            "Keyed data invalid: byte_data ptr");
  EXPECT_EQ(log.Count("Keyed data invalid: byte_data ptr"), 3);
  EXPECT_EQ(ThrownText([&] { model.SetKeyedData(999, 1, data.data()); }), "Used an invalid DataKey");
  EXPECT_EQ(impl().next.keyed_data, next);
  Bytes out;
  EXPECT_FALSE(impl().ReadKeyedData(999, out));
}

TEST_F(ModelDataFileTest, BlockOutsideTheFileFailsToRead) {
  Bytes const data = {1, 2, 3, 4};
  DataKey const key = model.InsertKeyedData(4, data.data(), 0);
  impl().keyed_data.Find(key)->size = 0xFFFFFFF0u;  // as a damaged digest could say
  Bytes out;
  EXPECT_FALSE(impl().ReadKeyedData(key, out));
  EXPECT_TRUE(out.empty());
  EXPECT_TRUE(log.Saw("Failed reading KeyedData " + std::to_string(key)));
}

// A group block: instance pairs sorted and made unique, group pairs in the
// order given; its words in memory lead with their count.
TEST_F(ModelDataFileTest, GroupBlockBytesAndWords) {
  std::vector<InstanceInc> const instances = {{2, 5}, {1, 9}, {1, 9}};
  std::vector<GroupInc> const groups = {{3, 1}, {1, 1}, {3, 1}, {3, 1}};
  Bytes const block = EncodeGroupBlock(instances, groups);
  Bytes const expected = {2, 0, 0, 0,  1, 0, 0, 0, 9, 0, 0, 0,  2, 0, 0, 0, 5, 0, 0, 0,
                          3, 0, 0, 0,  3, 0, 0, 0, 1, 0, 0, 0,  1, 0, 0, 0, 1, 0, 0, 0,
                          3, 0, 0, 0, 1, 0, 0, 0};
  EXPECT_EQ(block, expected);
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

  GroupEntry broken;
  broken.key = 5;
  broken.position = group.position + 8;
  broken.size = 32;
  impl().LoadGroup(broken);
  EXPECT_EQ(broken.words, std::vector<uint32_t>{0});
  EXPECT_TRUE(log.Saw("Failed reading Group (5)"));
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
