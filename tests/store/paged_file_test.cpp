#include "store/PagedFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "files/File.h"

namespace QX::Store {
namespace {

constexpr uint64_t kMiB = PagedFile::kPageSize;

// The pattern is made of 8-byte words, so that hundreds of MiB fill fast.
uint64_t PatternWord(uint64_t index) { return (index + 1) * 0x9E3779B97F4A7C15ull; }
uint8_t PatternByte(uint64_t position) { return uint8_t(PatternWord(position >> 3) >> (8 * (position & 7))); }

// A file whose bytes follow a fixed pattern and whose size the test sets, so
// that files of hundreds of MiB need no disk and no memory of their own.
class PatternFile final : public File {
 public:
  explicit PatternFile(int64_t size) : File("pattern"), size_(size) { state_ = FileState::OpenForReading; }

  void DoOpen(bool, bool, bool) override {}
  void DoClose() override {}
  int64_t DoSeek(int64_t offset, uint32_t origin) override {
    return origin != kSeekBegin || offset < 0 ? -1 : position_ = offset;
  }
  bool DoSetEnd() override { return false; }
  int64_t DoSize() override { return size_; }
  uint64_t DoRead(void* out, uint64_t n) override {
    ++reads;
    auto const at = uint64_t(position_);
    n = std::min(n, position_ < readable_ ? uint64_t(readable_ - position_) : 0);
    auto* bytes = static_cast<uint8_t*>(out);
    uint64_t i = 0;
    for (; i < n && (at + i) % 8 != 0; ++i) bytes[i] = PatternByte(at + i);
    for (; i + 8 <= n; i += 8) {
      uint64_t const word = PatternWord((at + i) >> 3);
      std::memcpy(bytes + i, &word, 8);  // little-endian, as PatternByte reads it
    }
    for (; i < n; ++i) bytes[i] = PatternByte(at + i);
    position_ += int64_t(n);
    return n;
  }
  uint64_t DoWrite(void const*, uint64_t) override { return 0; }
  bool DoFlush() override { return true; }

  void Grow(int64_t size) { size_ = readable_ = size; }
  // Bytes past this point fail to read, as on a truncated file.
  void LimitReadable(int64_t limit) { readable_ = limit; }

  int reads = 0;

 private:
  int64_t size_;
  int64_t readable_ = size_;
  int64_t position_ = 0;
};

class TestPagedFile final : public PagedFile {
 public:
  explicit TestPagedFile(int64_t size) : PagedFile(nullptr), file(size) {}
  File* OpenFile() override { return &file; }
  File& FileSlot() override { return file; }
  char const* FileName() const override { return "pattern"; }

  PatternFile file;
};

// Prefetches and reads a range and checks every byte against the pattern.
void ExpectRange(PagedFile& paged, uint64_t offset, uint64_t size) {
  ASSERT_TRUE(paged.Prefetch(int64_t(offset), size)) << offset << "+" << size;
  std::vector<uint8_t> out(size);
  ASSERT_TRUE(paged.Read(int64_t(offset), size, out.data()));
  for (uint64_t i = 0; i < size; ++i) ASSERT_EQ(out[i], PatternByte(offset + i)) << "at " << offset + i;
}

// A small range within a page loads the page; one across pages, up to the
// file's end, or a large one is read from the file alone, in one read.
TEST(PagedFileTest, RangesAcrossPagesAreReadStraightFromTheFile) {
  uint64_t const size = 3 * kMiB + kMiB / 2;
  TestPagedFile paged{int64_t(size)};
  ExpectRange(paged, kMiB - 10, 20);              // straddles one boundary
  ExpectRange(paged, kMiB / 2, 2 * kMiB + 7);     // spans a whole page
  ExpectRange(paged, kMiB / 2, size - kMiB / 2);  // four pages, up to the end
  ExpectRange(paged, 0, size);                    // the whole file
  ExpectRange(paged, 2 * kMiB, PagedFile::kDirectSize);  // large, in one page
  EXPECT_EQ(paged.ResidentPages(), 0u);
  EXPECT_EQ(paged.file.reads, 5);
  ExpectRange(paged, size - 1, 1);  // last byte of a partial page
  ExpectRange(paged, size - 9, 9);
  ExpectRange(paged, 3 * kMiB, kMiB / 2);  // large, but on a resident page
  EXPECT_EQ(paged.ResidentPages(), 1u);
  EXPECT_EQ(paged.file.reads, 6);  // the page was read once
}

// Read gives only bytes of the last fetched range, and fails rather than
// hand out bytes that a shrunken file no longer has.
TEST(PagedFileTest, ReadsStayWithinTheFetchedRange) {
  TestPagedFile paged(4 * kMiB);
  std::vector<uint8_t> out(3 * kMiB);
  EXPECT_FALSE(paged.Prefetch(-1, 1));
  EXPECT_FALSE(paged.Prefetch(1, ~uint64_t{0}));
  EXPECT_TRUE(paged.Prefetch(4 * kMiB, 0));
  ASSERT_TRUE(paged.Prefetch(kMiB - 100, 2 * kMiB));
  EXPECT_TRUE(paged.Read(kMiB - 100, 4, out.data()));
  EXPECT_TRUE(paged.Read(kMiB, 2 * kMiB - 100, out.data()));
  EXPECT_FALSE(paged.Read(kMiB - 101, 4, out.data()));
  EXPECT_FALSE(paged.Read(kMiB, 2 * kMiB, out.data()));
  EXPECT_FALSE(paged.Read(-1, 1, out.data()));
  EXPECT_FALSE(paged.Read(kMiB, ~uint64_t{0}, out.data()));
  ASSERT_TRUE(paged.Prefetch(10, 10));
  EXPECT_TRUE(paged.Read(10, 10, out.data()));
  EXPECT_FALSE(paged.Read(20, 1, out.data()));
  EXPECT_FALSE(paged.Prefetch(3 * kMiB, kMiB + 1));
  EXPECT_FALSE(paged.Read(10, 10, out.data())) << "a failed fetch leaves nothing to read";
  ASSERT_TRUE(paged.Prefetch(kMiB / 2, 3 * kMiB));
  paged.file.LimitReadable(2 * kMiB);
  EXPECT_FALSE(paged.Read(kMiB / 2, 3 * kMiB, out.data()));
}

TEST(PagedFileTest, LastPageOfAFileThatGrowsOrReadsShort) {
  TestPagedFile paged(kMiB + 1000);
  paged.file.LimitReadable(kMiB + 10);
  EXPECT_FALSE(paged.Prefetch(kMiB, 5));  // a short page read fails, and is tried again
  EXPECT_EQ(paged.ResidentPages(), 0u);
  paged.file.LimitReadable(kMiB + 1000);
  ExpectRange(paged, kMiB, 1000);
  paged.file.Grow(3 * kMiB + 5);
  // The old last page held 1000 bytes; a range behind them needs the rest.
  ExpectRange(paged, kMiB + 900, 1000);
  EXPECT_EQ(paged.KnownSize(), int64_t(3 * kMiB + 5));
  EXPECT_EQ(paged.ResidentPages(), 1u);
  ExpectRange(paged, kMiB + 900, 2 * kMiB - 895);  // up to the new end
  ExpectRange(paged, 3 * kMiB, 5);
  EXPECT_EQ(paged.ResidentPages(), 2u);
}

TEST(PagedFileTest, EvictionKeepsAtMost256PagesOldestFirst) {
  TestPagedFile paged(600 * kMiB);
  for (uint64_t page = 0; page < 300; ++page) {
    ASSERT_TRUE(paged.Prefetch(int64_t(page * kMiB + 17), 100));
    ASSERT_LE(paged.ResidentPages(), 256u);
  }
  int const reads = paged.file.reads;
  ExpectRange(paged, 299 * kMiB, 10);  // recent: still resident
  ExpectRange(paged, 44 * kMiB, 10);   // among the newest 256
  EXPECT_EQ(paged.file.reads, reads);
  ExpectRange(paged, 0, 10);  // evicted long ago
  EXPECT_EQ(paged.file.reads, reads + 1);
  EXPECT_EQ(paged.ResidentPages(), 256u);
  // A large request leaves the resident pages alone.
  ExpectRange(paged, 400 * kMiB + 3, 20 * kMiB);
  EXPECT_EQ(paged.ResidentPages(), 256u);
  paged.DropPages();
  EXPECT_EQ(paged.ResidentPages(), 0u);
}

}  // namespace
}  // namespace QX::Store
