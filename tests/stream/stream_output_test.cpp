#include "stream/StreamOutput.h"

#include <gtest/gtest.h>

#include <random>

#include "store/Logger.h"
#include "stream/ChunkCompression.h"
#include "stream/ControlFlags.h"
#include "stream/ControlRecords.h"
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

TEST(FlushChunk, EmptyBufferWritesNothing) {
  RecordingSink sink;
  sink.header_reserve = 4;
  StreamOutput out;
  out.BeginPass(sink, 0);
  EXPECT_TRUE(out.FlushChunk(0));
  EXPECT_TRUE(sink.chunks.empty());
  EXPECT_EQ(sink.bytes_sent, 0u);
}

TEST(FlushChunk, CompressesFrom512BytesOn) {
  for (uint32_t flags : {0u, ControlFlag::AggressiveCompression}) {
    RecordingSink sink;
    StreamOutput out;
    out.BeginPass(sink, flags);
    out.Buffer().resize(511, 0);
    out.FlushChunk(0);
    out.Buffer().resize(512, 0);
    out.FlushChunk(0);
    ASSERT_EQ(sink.chunks.size(), 2u);
    EXPECT_EQ(sink.chunks[0], Bytes(511, 0));
    Bytes const& z = sink.chunks[1];
    ASSERT_GE(z.size(), 16u);
    EXPECT_EQ(GetU32(z.data()), 90u);
    EXPECT_EQ(GetU32(z.data() + 4), flags ? kMethodZstd : kMethodLz4);
    EXPECT_EQ(GetU32(z.data() + 12), 512u);
    EXPECT_EQ(sink.bytes_sent, 511 + z.size());
  }
}

TEST(FlushChunk, ExtraFlagForcesZstdForOneChunk) {
  RecordingSink sink;
  StreamOutput out;
  out.BeginPass(sink, 0);
  out.Buffer().resize(2048, 7);
  out.FlushChunk(ControlFlag::AggressiveCompression);
  out.Buffer().resize(2048, 7);
  out.FlushChunk(0);
  ASSERT_EQ(sink.chunks.size(), 2u);
  EXPECT_EQ(GetU32(sink.chunks[0].data() + 4), kMethodZstd);
  EXPECT_EQ(GetU32(sink.chunks[1].data() + 4), kMethodLz4);
}

TEST(FlushChunk, IncompressiblePayloadStaysPlain) {
  RecordingSink sink;
  StreamOutput out;
  out.BeginPass(sink, ControlFlag::AggressiveCompression);
  Bytes const noise = RandomBytes(4096, 1);
  out.Buffer() = noise;
  out.FlushChunk(0);
  ASSERT_EQ(sink.chunks.size(), 1u);
  EXPECT_EQ(sink.chunks[0], noise);
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

TEST(FlushChunk, StoredBlockIsPassedAsItIs) {
  Bytes records;
  records.resize(4096, 3);
  Bytes stored;
  ASSERT_TRUE(AppendCompressedBlock(records, true, stored));
  RecordingSink sink;
  StreamOutput out;
  out.BeginPass(sink, ControlFlag::AggressiveCompression);
  out.Buffer() = stored;
  // Records behind a stored block don't make the chunk compressible.
  out.Buffer().resize(stored.size() + 2048, 0);
  Bytes const payload = out.Buffer();
  out.FlushChunk(0);
  EXPECT_EQ(sink.chunks.at(0), payload);
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
