#include "store/StreamToc.h"

#include <gtest/gtest.h>

#include <vector>

#include "files/DiskFile.h"
#include "store/ImageRecord.h"
#include "tests/support/TempDir.h"

namespace QX::Store {
namespace {

using Bytes = std::vector<uint8_t>;

void Append(Bytes& out, auto const& bytes) { out.insert(out.end(), bytes.begin(), bytes.end()); }

Bytes ImageTocRecord(uint32_t key, std::vector<ImageTocEntry> const& entries) {
  Bytes record;
  Append(record, EncodeImageTocHead(key, static_cast<uint32_t>(entries.size())));
  Append(record, EncodeImageTocEntries(entries));
  return record;
}

struct Seen {
  uint32_t key;
  std::vector<ImageTocEntry> entries;
};

class StreamTocTest : public ::testing::Test {
 protected:
  TocReadResult ReadImages(Bytes const& content) {
    qx_test::WriteText(dir_ / "toc", std::string(content.begin(), content.end()));
    DiskFile file(dir_ / "toc");
    file.OpenRead(false);
    seen.clear();
    return ReadTocFile(file, buffer_, kImageTocLayout, [&](TocRecord const& record) {
      Seen s{record.key, {}};
      for (uint32_t i = 0; i < record.count; ++i) {
        s.entries.push_back(DecodeImageTocEntry(record.entries + 24 * i));
      }
      seen.push_back(s);
    });
  }

  std::vector<Seen> seen;

 private:
  qx_test::TempDir dir_;
  Bytes buffer_;
};

TEST(StreamTocLayoutTest, ImageRecordBytesAreExact) {
  Bytes const record = ImageTocRecord(7, {{0x0102030405060708ull, 0x11, 2, 5, 0}});
  Bytes const expected = {69, 0, 0, 0, 7, 0, 0, 0, 1, 0, 0, 0,
                          8, 7, 6, 5, 4, 3, 2, 1, 0x11, 0, 0, 0, 2, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(record, expected);
  auto const head = EncodeMeshTocHead(0x01020304, 2, 5);
  EXPECT_EQ(Bytes(head.begin(), head.end()),
            (Bytes{77, 0, 0, 0, 4, 3, 2, 1, 2, 0, 0, 0, 5, 0, 0, 0}));
}

TEST_F(StreamTocTest, RecordsComeInFileOrderAcrossReadUnits) {
  // Enough records that several straddle the 1 MiB read units, heads and entries alike.
  Bytes content;
  uint32_t const records = 40000;
  for (uint32_t key = 0; key < records; ++key) {
    std::vector<ImageTocEntry> entries(key % 5);
    for (uint32_t i = 0; i < entries.size(); ++i) entries[i] = {key * 100ull + i, key, i, 1, 0};
    Append(content, ImageTocRecord(key, entries));
  }
  ASSERT_GT(content.size(), 2u * 0x100000);
  ASSERT_EQ(ReadImages(content), TocReadResult::Ok);
  ASSERT_EQ(seen.size(), records);
  for (uint32_t key = 0; key < records; ++key) {
    ASSERT_EQ(seen[key].key, key);
    ASSERT_EQ(seen[key].entries.size(), key % 5);
    for (uint32_t i = 0; i < key % 5; ++i) {
      ASSERT_EQ(seen[key].entries[i], (ImageTocEntry{key * 100ull + i, key, i, 1, 0}));
    }
  }
}

TEST_F(StreamTocTest, DamagedFilesAreRefused) {
  Bytes const good = ImageTocRecord(1, {{0, 1, 2, 3, 0}});
  Bytes wrong_tag = good;
  Append(wrong_tag, ImageTocRecord(2, {}));
  wrong_tag[good.size()] = 77;
  EXPECT_EQ(ReadImages(wrong_tag), TocReadResult::UnexpectedCode);
  EXPECT_EQ(seen.size(), 1u);  // the record before the damage was taken

  for (size_t cut : {size_t{2}, size_t{8}, good.size() - 1}) {
    EXPECT_EQ(ReadImages(Bytes(good.begin(), good.begin() + cut)), TocReadResult::Corrupt) << cut;
  }
  auto const huge = EncodeImageTocHead(9, 0xFFFFFFFFu);  // far more entries than bytes
  EXPECT_EQ(ReadImages(Bytes(huge.begin(), huge.end())), TocReadResult::Corrupt);
}

}  // namespace
}  // namespace QX::Store
