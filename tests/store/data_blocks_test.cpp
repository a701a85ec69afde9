#include "store/DataBlocks.h"

#include <gtest/gtest.h>

#include "store/ImageRecord.h"

namespace QX::Store {
namespace {

using Bytes = std::vector<uint8_t>;

TEST(DataBlocksTest, ImageByteCountByFormat) {
  EXPECT_EQ(ImageByteCount(5, 3, kImageRGBA), 60u);
  EXPECT_EQ(ImageByteCount(5, 3, kImageRGB), 45u);
  EXPECT_EQ(ImageByteCount(5, 3, kImageGray), 15u);
  EXPECT_EQ(ImageByteCount(5, 3, kImageGrayAlpha), 30u);
  EXPECT_EQ(ImageByteCount(5, 3, 7), 15u);
  EXPECT_EQ(ImageByteCount(1000, 1, kImageFileConverted), 1000u);
  EXPECT_TRUE(ImageFitsRecord(0xFFFFFFFFu, 1, kImageFilePng));
  EXPECT_FALSE(ImageFitsRecord(0x10000, 0x4000, kImageRGBA));
}

TEST(DataBlocksTest, GroupBlockSortsInstancesAndKeepsGroupOrder) {
  std::vector<InstanceInc> const instances = {{2, 5}, {1, 9}, {1, 9}};
  std::vector<GroupInc> const groups = {{3, 1}, {1, 1}, {3, 1}, {3, 1}};
  Bytes const block = EncodeGroupBlock(instances, groups);
  Bytes const expected = {2, 0, 0, 0,  1, 0, 0, 0, 9, 0, 0, 0,  2, 0, 0, 0, 5, 0, 0, 0,
                          3, 0, 0, 0,  3, 0, 0, 0, 1, 0, 0, 0,  1, 0, 0, 0, 1, 0, 0, 0,
                          3, 0, 0, 0, 1, 0, 0, 0};
  EXPECT_EQ(block, expected);
  EXPECT_EQ(block.size(), GroupBlockSize(2, 3));

  std::vector<uint32_t> const words = GroupWordsFromBlock(block);
  EXPECT_EQ(words, (std::vector<uint32_t>{12, 2, 1, 9, 2, 5, 3, 3, 1, 1, 1, 3, 1}));
}

}  // namespace
}  // namespace QX::Store
