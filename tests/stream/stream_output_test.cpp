// Control records and the chunks that carry them: the exact bytes of each
// record, which chunks are compressed, dead sinks, and keyed data blocks.
#include "stream/StreamOutput.h"

#include <gtest/gtest.h>

#include <bit>
#include <functional>
#include <random>

#include "stream/ChunkCompression.h"
#include "stream/ControlFlags.h"
#include "stream/ControlRecords.h"
#include "tests/store/StoreFixture.h"
#include "tests/stream/StreamRecords.h"

namespace QX::Store {
namespace {

using test::RecordingSink;
using test::Words;

uint32_t F(float f) { return std::bit_cast<uint32_t>(f); }

BoundingBox Box(float lo, float hi) { return {lo, lo + 1, lo + 2, hi, hi + 1, hi + 2}; }

Bytes RandomBytes(size_t n, uint32_t seed) {
  std::mt19937 rng(seed);
  Bytes out(n);
  for (auto& b : out) b = uint8_t(rng());
  return out;
}

// n bytes, an eighth of them random: compressed to sizes of every remainder.
Bytes Sparse(size_t n) {
  Bytes out = RandomBytes(n / 8, uint32_t(n));
  out.resize(n, 0);
  return out;
}

TEST(ControlRecords, EachWriterAppendsItsExactBytes) {
  uint32_t const event_words[] = {0xFFFFFFFD, 0xFFFFFFFE};
  BoundingBox const boxes[] = {Box(0, 1), Box(5, 6)};
  uint8_t const data[] = {9, 8, 7, 6, 5, 4};
  struct Case {
    std::function<void(Bytes&)> write;
    Bytes expected;
  } const cases[] = {
      {[](Bytes& b) { WriteStreamHead(b, 0xFFFFFFFE); }, Words({86, 72, 72, 0xFFFFFFFE, 0})},
      {[](Bytes& b) { WriteModelContextRecord(b, 0xFFFFFFFD); }, Words({78, 0xFFFFFFFD})},
      {[](Bytes& b) { WritePassEnd(b, 2, 17, 0x20000005); }, Words({84, 2, 17, 0x20000005})},
      {[](Bytes& b) { WriteKeyProperty(b, 0xFFFFFFFD, 0xFFFFFFFF, 0, 2); },
       Words({51, 0xFFFFFFFD, 0xFFFFFFFF, 0, 2})},
      {[](Bytes& b) { WriteMissingKey(b, 0xFFFFFFFD, 12, 0x8000008); }, Words({109, 0xFFFFFFFD, 12, 0x8000008})},
      {[](Bytes& b) { WriteStateChange(b, 0xFFFFFFFD, 4, 0x20000007); }, Words({48, 0xFFFFFFFD, 4, 0x20000007})},
      {[](Bytes& b) { WriteOperationResult(b, 2, true, 44); }, Words({52, 0x80000002, 44})},
      {[](Bytes& b) { WriteOperationResult(b, 3, false, 45); }, Words({52, 3, 45})},
      {[](Bytes& b) { WriteRemovalNotice(b, 0xFFFFFFF0); }, Words({116, 0xFFFFFFF0, 11})},
      {[](Bytes& b) { WriteBounds(b, Box(-1, 2), 300); }, Words({66, F(-1), F(0), F(1), F(2), F(3), F(4), 300})},
      {[](Bytes& b) { WriteBoundsResult(b, Box(0, 1), 5, 77); },
       Words({98, F(0), F(1), F(2), F(1), F(2), F(3), 5, 77})},
      {[&](Bytes& b) { WriteEvent(b, 0xFFFFFFFE, 0x4000009, 3, event_words); },
       Words({101, 0xFFFFFFFE, 2, 0x4000009, 3, 0xFFFFFFFD, 0xFFFFFFFE})},
      {[](Bytes& b) { WriteEvent(b, 0xFFFFFFFE, 0x1000000B, 8, {}); }, Words({101, 0xFFFFFFFE, 0, 0x1000000B, 8})},
      {[&](Bytes& b) { WritePreviews(b, 1, boxes); },
       Words({112, 2, 1, F(0), F(1), F(2), F(1), F(2), F(3), F(5), F(6), F(7), F(6), F(7), F(8)})},
      // Texts count their zero but not the padding.
      {[](Bytes& b) { WriteText(b, "abc"); }, Words({85, 4, 0x00636261})},
      {[](Bytes& b) { WriteText(b, "abcd"); }, Words({85, 5, 0x64636261, 0})},
      {[](Bytes& b) { WriteLiveText(b, 7, ""); }, Words({117, 7, 1, 0})},
      {[&](Bytes& b) { WriteKeyedData(b, 0xFFFFFFFD, 3, data); },
       Words({100, 0xFFFFFFFD, 3, 6, 0x06070809, 0x0405})},
      {[](Bytes& b) { WriteKeyedData(b, 0xFFFFFFFD, 4, {}); }, Words({100, 0xFFFFFFFD, 4, 0})},
  };
  for (size_t i = 0; i < std::size(cases); ++i) {
    Bytes out;
    cases[i].write(out);
    EXPECT_EQ(out, cases[i].expected) << "case " << i;
  }
}

TEST(ControlRecords, NamesAreEscapedForJson) {
  std::pair<std::string_view, std::string_view> const cases[] = {
      {"plain/name.qxm", "plain/name.qxm"},
      {"a\"b\\c", "a\\\"b\\\\c"},
      {"\b\t\n\f\r", "\\b\\t\\n\\f\\r"},
      {std::string_view("\x01\x1f\x7f", 3), "\\u0001\\u001f\x7f"},
      {"\xC3\xA9", "\xC3\xA9"},
  };
  for (auto const& [text, escaped] : cases) EXPECT_EQ(EscapeJson(text), escaped);
  EXPECT_EQ(MissingModelText("dir\\x\"y"), "<MISSING_MODEL data=\"dir\\\\x\\\"y\">");
}

// Reserves surround the chunk and count in the bytes sent; N is written
// once per chunk for the same model.
TEST(FlushChunk, ReservesSurroundTheChunkAndContextsRepeatPerChunk) {
  RecordingSink sink;
  sink.header_reserve = 8;
  sink.footer_reserve = 4;
  StreamOutput out;
  out.BeginPass(sink, 0);
  out.WriteModelContext(0xFFFFFFFD);
  out.WriteModelContext(0xFFFFFFFD);
  out.WriteModelContext(0xFFFFFFFE);
  EXPECT_TRUE(out.FlushChunk(0));
  out.WriteModelContext(0xFFFFFFFE);
  EXPECT_TRUE(out.FlushChunk(0));

  ASSERT_EQ(sink.chunks.size(), 2u);
  EXPECT_EQ(sink.chunks[0], Words({0, 0, 78, 0xFFFFFFFD, 78, 0xFFFFFFFE, 0}));
  EXPECT_EQ(sink.chunks[1], Words({0, 0, 78, 0xFFFFFFFE, 0}));
  EXPECT_EQ(sink.bytes_sent, 48u);
  EXPECT_EQ(out.Buffer(), Bytes(8, 0));
}

// LZ4 from 512 bytes on, zstd when the stream or the one chunk asks for it,
// plain where compression doesn't pay or a stored block leads the chunk.
// Compressed data is padded to whole words with 0xFF.
TEST(FlushChunk, CompressionChoice) {
  Bytes stored;
  ASSERT_TRUE(AppendCompressedBlock(Bytes(4096, 3), true, stored));
  stored.resize(stored.size() + 2048, 0);  // records behind a stored block don't count
  uint32_t const aggressive = ControlFlag::AggressiveCompression;
  uint32_t const plain = 99;
  struct Case {
    char const* what;
    uint32_t stream_flags, chunk_flags;
    Bytes payload;
    uint32_t method;
  } const cases[] = {
      {"empty", 0, 0, {}, plain},
      {"511 bytes", 0, 0, Bytes(511, 0), plain},
      {"512 bytes", 0, 0, Bytes(512, 0), kMethodLz4},
      {"512 bytes, aggressive", aggressive, 0, Bytes(512, 0), kMethodZstd},
      {"aggressive chunk", 0, aggressive, Bytes(2048, 7), kMethodZstd},
      {"sparse 600", aggressive, 0, Sparse(600), kMethodZstd},
      {"sparse 601", aggressive, 0, Sparse(601), kMethodZstd},
      {"sparse 602", aggressive, 0, Sparse(602), kMethodZstd},
      {"noise", aggressive, 0, RandomBytes(4096, 1), plain},
      {"stored block", aggressive, 0, stored, plain},
  };
  bool padded = false;
  for (Case const& c : cases) {
    SCOPED_TRACE(c.what);
    RecordingSink sink;
    StreamOutput out;
    out.BeginPass(sink, c.stream_flags);
    out.Buffer() = c.payload;
    EXPECT_TRUE(out.FlushChunk(c.chunk_flags));
    ASSERT_EQ(sink.chunks.size(), c.payload.empty() ? 0u : 1u);
    EXPECT_EQ(sink.bytes_sent, c.payload.empty() ? 0u : sink.chunks[0].size());
    if (c.payload.empty()) continue;
    Bytes const& z = sink.chunks[0];
    if (c.method == plain) {
      EXPECT_EQ(z, c.payload);
      continue;
    }
    ASSERT_GE(z.size(), 16u);
    EXPECT_EQ(GetU32(z.data()), 90u);
    EXPECT_EQ(GetU32(z.data() + 4), c.method);
    EXPECT_EQ(GetU32(z.data() + 12), c.payload.size());
    uint32_t const compressed = GetU32(z.data() + 8);
    EXPECT_EQ(z.size(), 16 + (compressed + 3) / 4 * 4);
    EXPECT_EQ(Bytes(z.begin() + 16 + compressed, z.end()), Bytes(z.size() - 16 - compressed, 0xFF));
    padded = padded || compressed % 4 != 0;
  }
  EXPECT_TRUE(padded);
}

// A dead sink is told nothing more until the last flush, which carries the
// pass's end; every flush reports it dead, so that idle phases stop.
TEST(FlushChunk, DeadSinkIsReportedAndContextCleared) {
  RecordingSink sink;
  sink.alive = false;
  StreamOutput out;
  out.BeginPass(sink, 0);
  out.WriteModelContext(0xFFFFFFFD);
  EXPECT_FALSE(out.FlushChunk(0));
  EXPECT_FALSE(out.SinkAlive());
  EXPECT_EQ(out.CurrentModel(), kNoContext);
  EXPECT_FALSE(out.FlushChunk(0));
  WriteText(out.Buffer(), "second");
  EXPECT_FALSE(out.FlushChunk(0));
  EXPECT_EQ(sink.chunks.size(), 1u);
  WritePassEnd(out.Buffer(), 1, 0, 0);
  EXPECT_FALSE(out.FlushLast());
  ASSERT_EQ(sink.chunks.size(), 2u);
  EXPECT_EQ(GetU32(sink.chunks[1].data()), uint32_t(Tag::PassEnd));
  out.EndPass();
}

TEST(FlushChunk, ReservesNotDivisibleBy4AreRejected) {
  RecordingSink sink;
  sink.bytes_sent = 99;
  sink.header_reserve = 6;
  StreamOutput out;
  EXPECT_EQ(qx_store_test::ThrownText([&] { out.BeginPass(sink, 0); }),
            "Used an invalid Streamer header_reserve --- must divide evenly by 4");
  EXPECT_EQ(sink.bytes_sent, 0u);
  sink.header_reserve = 4;
  sink.footer_reserve = 2;
  EXPECT_THROW(out.BeginPass(sink, 0), Exception);
}

// A keyed block goes in a chunk of its own: plain when small, zstd when
// large, whatever the flags.
TEST(FlushChunk, KeyedBlocksTravelInChunksOfTheirOwn) {
  RecordingSink sink;
  sink.header_reserve = 4;
  StreamOutput out;
  out.BeginPass(sink, 0);
  WriteStreamHead(out.Buffer(), kRootStreamModel);
  Bytes local;
  uint8_t const data[] = {1, 2, 3, 4, 5};
  WriteKeyedData(local, 0xFFFFFFFD, 9, data);
  uint64_t counter = 0;
  out.SendKeyedBlock(local, counter);
  ASSERT_EQ(sink.chunks.size(), 2u);
  EXPECT_EQ(sink.chunks[1], Words({0, 68, 24, 100, 0xFFFFFFFD, 9, 5, 0x04030201, 5}));
  EXPECT_EQ(counter, 36u);
  EXPECT_TRUE(local.empty());

  WriteKeyedData(local, 0xFFFFFFFD, 2, Bytes(3000, 0x55));
  out.SendKeyedBlock(local, counter);
  ASSERT_EQ(sink.chunks.size(), 3u);
  Bytes const& chunk = sink.chunks[2];
  EXPECT_EQ(Bytes(chunk.begin() + 4, chunk.begin() + 16), Words({68, uint32_t(chunk.size() - 12), 90}));
  EXPECT_EQ(GetU32(chunk.data() + 16), kMethodZstd);
  EXPECT_EQ(GetU32(chunk.data() + 24), 3016u);
  EXPECT_EQ(counter, 36u + chunk.size());
}

}  // namespace
}  // namespace QX::Store
