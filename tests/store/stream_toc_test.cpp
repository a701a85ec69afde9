// The stream tocs of images and meshes: the bytes of their records, and
// damaged files that fail the reading.
#include "store/StreamToc.h"

#include "files/DiskFile.h"
#include "store/ImageRecord.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

std::vector<uint8_t> ImageTocRecord(uint32_t key, std::vector<ImageTocEntry> const& entries) {
  auto const head = EncodeImageTocHead(key, static_cast<uint32_t>(entries.size()));
  return Put().Add({head.begin(), head.end()}).Add(EncodeImageTocEntries(entries)).data;
}

TEST(StreamTocLayoutTest, ImageRecordBytesAreExact) {
  ImageTocEntry const entry{0x0102030405060708ull, 0x11, 2, 5, 0};
  std::vector<uint8_t> const record = ImageTocRecord(7, {entry});
  EXPECT_EQ(record, Put().U32({69, 7, 1}).U64({0x0102030405060708ull}).U32({0x11, 2, 5, 0}).data);
  EXPECT_EQ(DecodeImageTocEntry(record.data() + 12), entry);
  auto const head = EncodeMeshTocHead(0x01020304, 2, 5);
  EXPECT_EQ(std::vector<uint8_t>(head.begin(), head.end()), Put().U32({77, 0x01020304, 2, 5}).data);
}

class StreamTocTest : public StoreTest {
 protected:
  // Reads `content` as an image toc file, counting its records.
  TocReadResult ReadImages(std::vector<uint8_t> const& content) {
    qx_test::WriteText(dir / "toc", std::string(content.begin(), content.end()));
    DiskFile file(dir / "toc");
    file.OpenRead(false);
    records = 0;
    return ReadTocFile(file, buffer, kImageTocLayout, [&](TocRecord const&) { ++records; });
  }

  int records = 0;
  std::vector<uint8_t> buffer;
};

TEST_F(StreamTocTest, DamagedFilesAreRefused) {
  std::vector<uint8_t> const good = ImageTocRecord(1, {{0, 1, 2, 3, 0}});
  std::vector<uint8_t> wrong_tag = Put().Add(good).Add(ImageTocRecord(2, {})).data;
  wrong_tag[good.size()] = 77;
  EXPECT_EQ(ReadImages(wrong_tag), TocReadResult::UnexpectedCode);
  EXPECT_EQ(records, 1);  // the record before the damage was taken
  for (size_t cut : {size_t{2}, size_t{8}, good.size() - 1})
    EXPECT_EQ(ReadImages({good.begin(), good.begin() + std::ptrdiff_t(cut)}), TocReadResult::Corrupt) << cut;
  auto const huge = EncodeImageTocHead(9, 0xFFFFFFFFu);  // far more entries than bytes
  EXPECT_EQ(ReadImages({huge.begin(), huge.end()}), TocReadResult::Corrupt);
}

}  // namespace
}  // namespace qx_store_test
