#include "stream/StreamOutput.h"

#include <gtest/gtest.h>

#include <random>

#include "store/Logger.h"
#include "stream/ChunkCompression.h"
#include "stream/ControlFlags.h"
#include "stream/ControlRecords.h"
#include "stream/WireTags.h"
#include "tests/stream/RecordingSink.h"

namespace QX::Store {
namespace {

using test::RecordingSink;

Bytes Words(std::initializer_list<uint32_t> words) {
  Bytes out;
  for (uint32_t w : words) PutU32(out, w);
  return out;
}

Bytes RandomBytes(size_t n, uint32_t seed) {
  std::mt19937 rng(seed);
  Bytes out(n);
  for (auto& b : out) b = uint8_t(rng());
  return out;
}

TEST(FlushChunk, ReservesSurroundTheChunkAndCountInBytesSent) {
  RecordingSink sink;
  sink.header_reserve = 8;
  sink.footer_reserve = 4;
  StreamOutput out;
  out.BeginPass(sink, 0);
  WriteStreamHead(out.Buffer(), kRootStreamModel);
  EXPECT_TRUE(out.FlushChunk(0));

  ASSERT_EQ(sink.chunks.size(), 1u);
  Bytes expected(8, 0);
  Bytes const v = Words({86, 72, 72, 0xFFFFFFFE, 0});
  expected.insert(expected.end(), v.begin(), v.end());
  expected.insert(expected.end(), 4, 0);
  EXPECT_EQ(sink.chunks[0], expected);
  EXPECT_EQ(sink.bytes_sent, 32u);
  // The buffer is ready for the next chunk: just the header reserve.
  EXPECT_EQ(out.Buffer(), Bytes(8, 0));
}

// Which chunks are compressed, and how: LZ4 from 512 bytes on, zstd when
// the stream or the one chunk asks for it, plain where compression doesn't
// pay or a stored block leads the chunk.
TEST(FlushChunk, CompressionChoice) {
  Bytes stored;
  ASSERT_TRUE(AppendCompressedBlock(Bytes(4096, 3), true, stored));
  stored.resize(stored.size() + 2048, 0);  // records behind a stored block don't count
  uint32_t const aggressive = ControlFlag::AggressiveCompression;
  struct Case {
    char const* what;
    uint32_t stream_flags, chunk_flags;
    Bytes payload;
    uint32_t method;  // 99: sent as it is
  } const cases[] = {
      {"empty", 0, 0, {}, 99},
      {"511 bytes", 0, 0, Bytes(511, 0), 99},
      {"512 bytes", 0, 0, Bytes(512, 0), kMethodLz4},
      {"512 bytes, aggressive", aggressive, 0, Bytes(512, 0), kMethodZstd},
      {"aggressive chunk", 0, aggressive, Bytes(2048, 7), kMethodZstd},
      {"noise", aggressive, 0, RandomBytes(4096, 1), 99},
      {"stored block", aggressive, 0, stored, 99},
  };
  for (Case const& c : cases) {
    SCOPED_TRACE(c.what);
    RecordingSink sink;
    StreamOutput out;
    out.BeginPass(sink, c.stream_flags);
    out.Buffer() = c.payload;
    EXPECT_TRUE(out.FlushChunk(c.chunk_flags));
    if (c.payload.empty()) {
      EXPECT_TRUE(sink.chunks.empty());
      EXPECT_EQ(sink.bytes_sent, 0u);
      continue;
    }
    ASSERT_EQ(sink.chunks.size(), 1u);
    Bytes const& z = sink.chunks[0];
    EXPECT_EQ(sink.bytes_sent, z.size());
    if (c.method == 99) {
      EXPECT_EQ(z, c.payload);
      continue;
    }
    ASSERT_GE(z.size(), 16u);
    EXPECT_EQ(GetU32(z.data()), 90u);
    EXPECT_EQ(GetU32(z.data() + 4), c.method);
    EXPECT_EQ(GetU32(z.data() + 12), c.payload.size());
  }
}

TEST(FlushChunk, CompressedDataIsPaddedWith0xFFOnlyWhenNeeded) {
  bool saw_aligned = false, saw_padded = false;
  for (uint32_t n = 600; n < 700 && !(saw_aligned && saw_padded); ++n) {
    RecordingSink sink;
    StreamOutput out;
    out.BeginPass(sink, ControlFlag::AggressiveCompression);
    Bytes payload = RandomBytes(n / 8, n);
    payload.resize(n, 0);
    out.Buffer() = payload;
    out.FlushChunk(0);
    Bytes const& z = sink.chunks.at(0);
    ASSERT_EQ(GetU32(z.data()), 90u);
    uint32_t const c = GetU32(z.data() + 8);
    EXPECT_EQ(z.size(), 16 + (c + 3) / 4 * 4);
    for (size_t i = 16 + c; i < z.size(); ++i) EXPECT_EQ(z[i], 0xFF);
    (c % 4 == 0 ? saw_aligned : saw_padded) = true;
  }
  EXPECT_TRUE(saw_aligned);
  EXPECT_TRUE(saw_padded);
}

TEST(FlushChunk, DeadSinkIsReportedAndContextCleared) {
  RecordingSink sink;
  sink.alive = false;
  StreamOutput out;
  out.BeginPass(sink, 0);
  out.WriteModelContext(0xFFFFFFFD);
  EXPECT_EQ(out.CurrentModel(), 0xFFFFFFFDu);
  EXPECT_FALSE(out.FlushChunk(0));
  EXPECT_FALSE(out.SinkAlive());
  EXPECT_EQ(out.CurrentModel(), kNoContext);
  // A dead sink is told nothing more until the last flush, which carries the
  // pass's end: an empty flush reports it dead too, so that idle phases stop.
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

TEST(BeginPass, RejectsReservesNotDivisibleBy4) {
  RecordingSink sink;
  sink.bytes_sent = 99;
  sink.header_reserve = 6;
  StreamOutput out;
  try {
    out.BeginPass(sink, 0);
    FAIL();
  } catch (Exception const& e) {
    EXPECT_STREQ(e.what(), "Used an invalid Streamer header_reserve --- must divide evenly by 4");
  }
  EXPECT_EQ(sink.bytes_sent, 0u);
  sink.header_reserve = 4;
  sink.footer_reserve = 2;
  EXPECT_THROW(out.BeginPass(sink, 0), Exception);
}

TEST(FlushSize, TwiceTheChunkSizeWithAFloorOf1024) {
  RecordingSink sink;
  sink.header_reserve = 8;
  sink.chunk_size = 512;
  EXPECT_EQ(FlushSize(sink), 8u + 1024);
  sink.chunk_size = 513;
  EXPECT_EQ(FlushSize(sink), 8u + 1026);
  sink.chunk_size = 0x40000;
  EXPECT_EQ(FlushSize(sink), 8u + 0x80000);
}

TEST(WriteModelContext, WritesNOncePerChunk) {
  RecordingSink sink;
  StreamOutput out;
  out.BeginPass(sink, 0);
  out.WriteModelContext(0xFFFFFFFD);
  out.WriteModelContext(0xFFFFFFFD);
  out.WriteModelContext(0xFFFFFFFE);
  EXPECT_EQ(out.Buffer(), Words({78, 0xFFFFFFFD, 78, 0xFFFFFFFE}));
  out.FlushChunk(0);
  out.WriteModelContext(0xFFFFFFFE);
  EXPECT_EQ(out.Buffer(), Words({78, 0xFFFFFFFE}));
}

TEST(ReportMissing, EachMaskedCodeModelAndKeyOnce) {
  RecordingSink sink;
  StreamOutput out;
  out.BeginPass(sink, 0);
  out.ReportMissing(0xFFFFFFFD, 5, 0x8000007);
  out.ReportMissing(0xFFFFFFFD, 5, 0x8000007);
  // 0x28000007 differs only in bits that don't identify the kind.
  out.ReportMissing(0xFFFFFFFD, 5, 0x28000007);
  out.ReportMissing(0xFFFFFFFD, 5, 8);
  out.ReportMissing(0xFFFFFFFC, 5, 7);
  EXPECT_EQ(out.Buffer(), Words({109, 0xFFFFFFFD, 5, 0x8000007, 109, 0xFFFFFFFD, 5, 8, 109,
                                 0xFFFFFFFC, 5, 7}));
  // The memory lasts beyond the pass.
  out.EndPass();
  out.BeginPass(sink, 0);
  out.ReportMissing(0xFFFFFFFD, 5, 7);
  EXPECT_FALSE(out.HasPayload());
}

TEST(SendKeyedBlock, SmallBlockGoesPlainInAChunkOfItsOwn) {
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
  Bytes expected = Words({0, 68, 24, 100, 0xFFFFFFFD, 9, 5, 0x04030201, 5});
  EXPECT_EQ(sink.chunks[1], expected);
  EXPECT_EQ(counter, expected.size());
  EXPECT_TRUE(local.empty());
}

TEST(SendKeyedBlock, LargeBlockIsZstdCompressedWhateverTheFlags) {
  RecordingSink sink;
  StreamOutput out;
  out.BeginPass(sink, 0);
  Bytes local;
  Bytes const data(3000, 0x55);
  WriteKeyedData(local, 0xFFFFFFFD, 2, data);
  uint64_t counter = 0;
  out.SendKeyedBlock(local, counter);
  ASSERT_EQ(sink.chunks.size(), 1u);
  Bytes const& chunk = sink.chunks[0];
  EXPECT_EQ(GetU32(chunk.data()), 68u);
  EXPECT_EQ(GetU32(chunk.data() + 4), chunk.size() - 8);
  EXPECT_EQ(GetU32(chunk.data() + 8), 90u);
  EXPECT_EQ(GetU32(chunk.data() + 12), kMethodZstd);
  EXPECT_EQ(GetU32(chunk.data() + 20), 3016u);
  EXPECT_EQ(counter, chunk.size());
}

}  // namespace
}  // namespace QX::Store
