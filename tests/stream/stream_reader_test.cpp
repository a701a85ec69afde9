#include "stream/StreamReader.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "stream/ChunkCompression.h"
#include "stream/ControlRecords.h"
#include "tests/stream/StreamRecords.h"

namespace QX::Store {
namespace {

using test::Words;

Bytes Join(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (auto const& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

struct Walk {
  std::vector<uint32_t> tags;
  std::vector<uint32_t> depths;
  bool failed = false;
  std::string error;
  uint64_t error_offset = 0;
};

Walk WalkAll(Bytes const& input, StreamReaderLimits limits = {}) {
  StreamReader reader(input, limits);
  Walk w;
  StreamRecord r;
  while (reader.Next(r)) {
    w.tags.push_back(r.tag);
    w.depths.push_back(r.depth);
  }
  w.failed = reader.Failed();
  w.error = reader.Error();
  w.error_offset = reader.ErrorOffset();
  return w;
}

// A run of text records large enough to compress well.
Bytes TextRun(int n) {
  Bytes out;
  for (int i = 0; i < n; ++i) WriteText(out, "<PRIORITY_KEYED_DATA_SENT>");
  return out;
}

Bytes ZBlock(Bytes const& records, bool zstd) {
  Bytes out;
  EXPECT_TRUE(AppendCompressedBlock(records, zstd, out));
  return out;
}

TEST(StreamReader, WalksPlainRecordsAndExpandsBlocks) {
  Bytes const v = [] { Bytes b; WriteStreamHead(b, kRootStreamModel); return b; }();
  Bytes keyed;
  WriteKeyedData(keyed, 0xFFFFFFFD, 1, Bytes(2000, 1));
  Bytes const d_block = Join({Words({68, uint32_t(0)}), ZBlock(keyed, true)});
  Bytes d = d_block;
  SetU32(d, 4, uint32_t(d.size() - 8));
  Bytes const input = Join({v, ZBlock(TextRun(40), false), d, Words({84, 2, 0, 0})});

  Walk const w = WalkAll(input);
  ASSERT_FALSE(w.failed) << w.error;
  std::vector<uint32_t> tags = {Tag::Head, Tag::Compressed};
  tags.resize(42, Tag::Text);
  tags.insert(tags.end(), {Tag::KeyedBlock, Tag::Compressed, Tag::KeyedData, Tag::PassEnd});
  std::vector<uint32_t> depths = {0, 0};
  depths.resize(42, 1);
  depths.insert(depths.end(), {0, 1, 2, 0});
  EXPECT_EQ(w.tags, tags);
  EXPECT_EQ(w.depths, depths);
}

TEST(StreamReader, ReportsTheOffsetOfTheFirstBadRecord) {
  Bytes input = Words({78, 1, 78, 2});
  Bytes const bad = Words({0x12345678, 0});
  input.insert(input.end(), bad.begin(), bad.end());
  Walk w = WalkAll(input);
  EXPECT_TRUE(w.failed);
  EXPECT_EQ(w.tags.size(), 2u);
  EXPECT_EQ(w.error_offset, 16u);

  // A count that reaches beyond the input.
  w = WalkAll(Join({Words({78, 1}), Words({85, 0xFFFFFFF0, 0})}));
  EXPECT_TRUE(w.failed);
  EXPECT_EQ(w.error_offset, 8u);
  // A truncated fixed record.
  w = WalkAll(Words({86, 72, 72}));
  EXPECT_TRUE(w.failed);
  EXPECT_EQ(w.error_offset, 0u);
  // A clip region whose size word isn't a multiple of 4 or is below its head.
  EXPECT_TRUE(WalkAll(Words({121, 1, 18, 0, 0})).failed);
  EXPECT_TRUE(WalkAll(Words({121, 1, 8, 0})).failed);
}

TEST(StreamReader, RefusesBadNesting) {
  // Z inside Z.
  Bytes const inner = ZBlock(TextRun(40), true);
  Bytes const nested = ZBlock(Join({inner, TextRun(40)}), true);
  Walk w = WalkAll(nested);
  EXPECT_TRUE(w.failed);
  EXPECT_NE(w.error.find("Z block inside a Z block"), std::string::npos);
  EXPECT_EQ(w.error_offset, 0u);

  // d outside D, and other records inside D.
  Bytes keyed;
  WriteKeyedData(keyed, 1, 1, {});
  EXPECT_TRUE(WalkAll(keyed).failed);
  EXPECT_TRUE(WalkAll(Join({Words({68, 8}), Words({78, 1})})).failed);
  // D inside Z.
  Bytes d = Join({Words({68, uint32_t(keyed.size())}), keyed});
  EXPECT_FALSE(WalkAll(d).failed);
  Bytes big_d;
  for (int i = 0; i < 64; ++i) big_d.insert(big_d.end(), d.begin(), d.end());
  EXPECT_TRUE(WalkAll(ZBlock(big_d, true)).failed);
}

TEST(StreamReader, RefusesImplausibleCompressedSizes) {
  Bytes z = ZBlock(TextRun(40), false);
  Bytes lying = z;
  SetU32(lying, 12, 0x7FFFFFFF);  // far beyond what LZ4 can expand to
  EXPECT_TRUE(WalkAll(lying).failed);
  Bytes zstd = ZBlock(TextRun(40), true);
  SetU32(zstd, 12, GetU32(zstd.data() + 12) + 4);  // differs from the frame's own size
  EXPECT_TRUE(WalkAll(zstd).failed);
  StreamReaderLimits small;
  small.max_expanded = 64;
  EXPECT_TRUE(WalkAll(z, small).failed);
  Bytes method = z;
  SetU32(method, 4, 7);
  EXPECT_TRUE(WalkAll(method).failed);
}

TEST(StreamReader, SurvivesTruncationAndCorruption) {
  Bytes keyed;
  WriteKeyedData(keyed, 1, 2, Bytes(900, 4));
  Bytes d = Join({Words({68, 0}), ZBlock(keyed, true)});
  SetU32(d, 4, uint32_t(d.size() - 8));
  Bytes v;
  WriteStreamHead(v, kRootStreamModel);
  Bytes const z1 = ZBlock(TextRun(30), false);
  Bytes const input = Join({v, z1, d, ZBlock(TextRun(30), true)});
  std::set<size_t> const ends = {0, v.size(), v.size() + z1.size(), v.size() + z1.size() + d.size()};

  for (size_t n = 0; n < input.size(); ++n) {
    Bytes cut(input.begin(), input.begin() + n);
    EXPECT_EQ(WalkAll(cut).failed, !ends.contains(n)) << n;
  }
  std::mt19937 rng(20261122);
  for (int i = 0; i < 2000; ++i) {
    Bytes broken = input;
    for (int k = 0; k < 3; ++k) broken[rng() % broken.size()] ^= uint8_t(1 << (rng() % 8));
    WalkAll(broken);  // must end, with or without an error, and never crash
  }
}

}  // namespace
}  // namespace QX::Store
