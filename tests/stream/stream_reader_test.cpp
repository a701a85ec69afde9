// Reading streams from outside: records walked and blocks expanded, and
// every malformed, truncated or corrupted input refused without a crash.
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

// A D block around a zstd block of one keyed data record of `size` bytes.
Bytes KeyedBlock(size_t size) {
  Bytes keyed;
  WriteKeyedData(keyed, 0xFFFFFFFD, 1, Bytes(size, 1));
  Bytes d = Join({Words({68, 0}), ZBlock(keyed, true)});
  SetU32(d, 4, uint32_t(d.size() - 8));
  return d;
}

Bytes Head() {
  Bytes v;
  WriteStreamHead(v, kRootStreamModel);
  return v;
}

TEST(StreamReader, WalksPlainRecordsAndExpandsBlocks) {
  Walk const w = WalkAll(Join({Head(), ZBlock(TextRun(40), false), KeyedBlock(2000), Words({84, 2, 0, 0})}));
  ASSERT_FALSE(w.failed) << w.error;
  std::vector<uint32_t> tags = {Tag::Head, Tag::Compressed}, depths = {0, 0};
  tags.resize(42, Tag::Text);
  depths.resize(42, 1);
  tags.insert(tags.end(), {Tag::KeyedBlock, Tag::Compressed, Tag::KeyedData, Tag::PassEnd});
  depths.insert(depths.end(), {0, 1, 2, 0});
  EXPECT_EQ(w.tags, tags);
  EXPECT_EQ(w.depths, depths);
}

TEST(StreamReader, RefusesMalformedInput) {
  uint64_t const anywhere = ~uint64_t{0};
  Bytes keyed;
  WriteKeyedData(keyed, 1, 1, {});
  Bytes big_d;  // D blocks enough to compress
  for (int i = 0; i < 64; ++i) big_d = Join({big_d, Words({68, uint32_t(keyed.size())}), keyed});
  Bytes const lz4 = ZBlock(TextRun(40), false);
  Bytes lying = lz4, method = lz4, zstd = ZBlock(TextRun(40), true);
  SetU32(lying, 12, 0x7FFFFFFF);                      // far beyond what LZ4 can expand to
  SetU32(zstd, 12, GetU32(zstd.data() + 12) + 4);     // differs from the frame's own size
  SetU32(method, 4, 7);
  StreamReaderLimits small;
  small.max_expanded = 64;
  struct Case {
    char const* what;
    Bytes input;
    uint64_t offset;
    StreamReaderLimits limits = {};
  } const cases[] = {
      {"unknown tag after two records", Words({78, 1, 78, 2, 0x12345678, 0}), 16},
      {"count beyond the input", Words({78, 1, 85, 0xFFFFFFF0, 0}), 8},
      {"truncated fixed record", Words({86, 72, 72}), 0},
      {"clip size not a multiple of 4", Words({121, 1, 18, 0, 0}), anywhere},
      {"clip size below its head", Words({121, 1, 8, 0}), anywhere},
      {"Z block inside a Z block", ZBlock(Join({ZBlock(TextRun(40), true), TextRun(40)}), true), 0},
      {"d outside D", keyed, anywhere},
      {"other records inside D", Words({68, 8, 78, 1}), anywhere},
      {"D inside Z", ZBlock(big_d, true), anywhere},
      {"implausible LZ4 size", lying, anywhere},
      {"zstd size unlike the frame's", zstd, anywhere},
      {"expanded size over the limit", lz4, anywhere, small},
      {"unknown method", method, anywhere},
  };
  for (Case const& c : cases) {
    Walk const w = WalkAll(c.input, c.limits);
    EXPECT_TRUE(w.failed) << c.what;
    if (c.offset != anywhere) {
      EXPECT_EQ(w.error_offset, c.offset) << c.what;
    }
  }
  EXPECT_NE(WalkAll(cases[5].input).error.find("Z block inside a Z block"), std::string::npos);
}

// Every cut fails except at a record boundary; random bit flips end, with
// or without an error, and never crash.
TEST(StreamReader, SurvivesTruncationAndCorruption) {
  Bytes const v = Head(), z1 = ZBlock(TextRun(30), false), d = KeyedBlock(900);
  Bytes const input = Join({v, z1, d, ZBlock(TextRun(30), true)});
  std::set<size_t> const ends = {0, v.size(), v.size() + z1.size(), v.size() + z1.size() + d.size()};
  for (size_t n = 0; n < input.size(); ++n)
    EXPECT_EQ(WalkAll(Bytes(input.begin(), input.begin() + long(n))).failed, !ends.contains(n)) << n;
  std::mt19937 rng(20261122);
  for (int i = 0; i < 2000; ++i) {
    Bytes broken = input;
    for (int k = 0; k < 3; ++k) broken[rng() % broken.size()] ^= uint8_t(1 << (rng() % 8));
    WalkAll(broken);
  }
}

}  // namespace
}  // namespace QX::Store
