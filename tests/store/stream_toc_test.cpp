// The stream tocs of images and meshes: the bytes of their records, reading
// them in file order across read units, and damaged files that fail the
// reading or the open of a model.
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
  EXPECT_EQ(ImageTocRecord(7, {{0x0102030405060708ull, 0x11, 2, 5, 0}}),
            Put().U32({69, 7, 1}).U64({0x0102030405060708ull}).U32({0x11, 2, 5, 0}).data);
  auto const head = EncodeMeshTocHead(0x01020304, 2, 5);
  EXPECT_EQ(std::vector<uint8_t>(head.begin(), head.end()), Put().U32({77, 0x01020304, 2, 5}).data);
}

class StreamTocTest : public StoreTest {
 protected:
  // Reads `content` as an image toc file into `seen`: key and entries per record.
  TocReadResult ReadImages(std::vector<uint8_t> const& content) {
    qx_test::WriteText(dir / "toc", std::string(content.begin(), content.end()));
    DiskFile file(dir / "toc");
    file.OpenRead(false);
    seen.clear();
    return ReadTocFile(file, buffer, kImageTocLayout, [&](TocRecord const& record) {
      std::vector<ImageTocEntry>& entries = seen.emplace_back(record.key, std::vector<ImageTocEntry>{}).second;
      for (uint32_t i = 0; i < record.count; ++i) entries.push_back(DecodeImageTocEntry(record.entries + 24 * i));
    });
  }

  std::vector<std::pair<uint32_t, std::vector<ImageTocEntry>>> seen;
  std::vector<uint8_t> buffer;
};

TEST_F(StreamTocTest, RecordsComeInFileOrderAcrossReadUnits) {
  // Enough records that several straddle the 1 MiB read units, heads and entries alike.
  Put content;
  std::vector<std::pair<uint32_t, std::vector<ImageTocEntry>>> written;
  for (uint32_t key = 0; key < 40000; ++key) {
    std::vector<ImageTocEntry> entries(key % 5);
    for (uint32_t i = 0; i < entries.size(); ++i) entries[i] = {key * 100ull + i, key, i, 1, 0};
    content.Add(ImageTocRecord(key, entries));
    written.emplace_back(key, entries);
  }
  ASSERT_GT(content.data.size(), 2u * 0x100000);
  ASSERT_EQ(ReadImages(content.data), TocReadResult::Ok);
  EXPECT_TRUE(seen == written);
}

TEST_F(StreamTocTest, DamagedFilesAreRefused) {
  std::vector<uint8_t> const good = ImageTocRecord(1, {{0, 1, 2, 3, 0}});
  std::vector<uint8_t> wrong_tag = Put().Add(good).Add(ImageTocRecord(2, {})).data;
  wrong_tag[good.size()] = 77;
  EXPECT_EQ(ReadImages(wrong_tag), TocReadResult::UnexpectedCode);
  EXPECT_EQ(seen.size(), 1u);  // the record before the damage was taken
  for (size_t cut : {size_t{2}, size_t{8}, good.size() - 1})
    EXPECT_EQ(ReadImages({good.begin(), good.begin() + std::ptrdiff_t(cut)}), TocReadResult::Corrupt) << cut;
  auto const huge = EncodeImageTocHead(9, 0xFFFFFFFFu);  // far more entries than bytes
  EXPECT_EQ(ReadImages({huge.begin(), huge.end()}), TocReadResult::Corrupt);
}

}  // namespace
}  // namespace qx_store_test
