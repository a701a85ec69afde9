#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "store/DataFiles.h"
#include "store/KeyedData.h"
#include "tests/store/DataFilesFixture.h"

namespace QX::Store {
namespace {

using testing::DataFilesTest;
using Bytes = std::vector<uint8_t>;

class ModelDataFileTest : public DataFilesTest {
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
  uintmax_t const size = FileSize("_data.qxi");
  model.SetKeyedData(key, 3, second.data());
  EXPECT_EQ(FileSize("_data.qxi"), size + 3);
  EXPECT_EQ(Entry(key).position, static_cast<int64_t>(size));
  EXPECT_EQ(Read(key), second);
  model.SetKeyedData(key, 5, first.data());
  EXPECT_EQ(FileSize("_data.qxi"), size + 8);
  EXPECT_EQ(Read(key), first);
  EXPECT_EQ(Entry(key).type, 3u);
}

TEST_F(ModelDataFileTest, BadCallsChangeNothing) {
  Bytes const data = {1};
  DataKey const next = impl().next.keyed_data;
  for (auto call : {+[](Model& m, void const* d) { m.InsertKeyedData(1, nullptr, 0); (void)d; },
                    +[](Model& m, void const* d) { m.InsertKeyedData(0, d, 0); },
                    +[](Model& m, void const* d) { m.SetKeyedData(kMetadataKey, 0, d); }}) {
    try {
      call(model, data.data());
      ADD_FAILURE();
    } catch (Exception const& e) {
      EXPECT_STREQ(e.what(), "Keyed data invalid: byte_data ptr");
    }
  }
  EXPECT_TRUE(logger.Saw("Keyed data invalid: byte_data ptr"));
  try {
    model.SetKeyedData(999, 1, data.data());
    ADD_FAILURE();
  } catch (Exception const& e) {
    EXPECT_STREQ(e.what(), "Used an invalid DataKey");
  }
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
  EXPECT_TRUE(logger.Saw("Failed reading KeyedData " + std::to_string(key)));
}

TEST_F(ModelDataFileTest, GroupBlocksLoadAsWords) {
  GroupEntry group;
  group.key = 4;
  std::vector<InstanceInc> const instances = {{2, 5}, {1, 9}, {1, 9}};
  std::vector<GroupInc> const groups = {{3, 1}};
  WriteGroupBlock(impl(), group, instances, groups);
  EXPECT_EQ(group.size, 32u);
  EXPECT_EQ(group.position, static_cast<int64_t>(FileSize("_data.qxi")) - 32);
  impl().LoadGroup(group);
  EXPECT_EQ(group.words, (std::vector<uint32_t>{8, 2, 1, 9, 2, 5, 1, 3, 1}));

  GroupEntry broken;
  broken.key = 5;
  broken.position = group.position + 8;
  broken.size = 32;
  impl().LoadGroup(broken);
  EXPECT_EQ(broken.words, std::vector<uint32_t>{0});
  EXPECT_TRUE(logger.Saw("Failed reading Group (5)"));
}

}  // namespace
}  // namespace QX::Store
