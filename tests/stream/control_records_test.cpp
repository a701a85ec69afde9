#include "stream/ControlRecords.h"

#include <gtest/gtest.h>

#include <bit>

#include "stream/ControlFlags.h"
#include "stream/StreamOutput.h"
#include "stream/StreamReader.h"
#include "tests/stream/RecordingSink.h"

namespace QX::Store {
namespace {

Bytes Words(std::initializer_list<uint32_t> words) {
  Bytes out;
  for (uint32_t w : words) PutU32(out, w);
  return out;
}

uint32_t F(float f) { return std::bit_cast<uint32_t>(f); }

BoundingBox Box(float lo, float hi) { return {lo, lo + 1, lo + 2, hi, hi + 1, hi + 2}; }

TEST(ControlRecords, FixedRecordsHaveTheirExactBytes) {
  Bytes out;
  WriteStreamHead(out, 0xFFFFFFFE);
  EXPECT_EQ(out, Words({86, 72, 72, 0xFFFFFFFE, 0}));
  out.clear();
  WriteModelContextRecord(out, 0xFFFFFFFD);
  EXPECT_EQ(out, Words({78, 0xFFFFFFFD}));
  out.clear();
  WritePassEnd(out, 2, 17, 0x20000005);
  EXPECT_EQ(out, Words({84, 2, 17, 0x20000005}));
  out.clear();
  WriteKeyProperty(out, 0xFFFFFFFD, 0xFFFFFFFF, 0, 2);
  EXPECT_EQ(out, Words({51, 0xFFFFFFFD, 0xFFFFFFFF, 0, 2}));
  out.clear();
  WriteMissingKey(out, 0xFFFFFFFD, 12, 0x8000008);
  EXPECT_EQ(out, Words({109, 0xFFFFFFFD, 12, 0x8000008}));
  out.clear();
  WriteStateChange(out, 0xFFFFFFFD, 4, 0x20000007);
  EXPECT_EQ(out, Words({48, 0xFFFFFFFD, 4, 0x20000007}));
  out.clear();
  WriteOperationResult(out, 2, true, 44);
  WriteOperationResult(out, 3, false, 45);
  EXPECT_EQ(out, Words({52, 0x80000002, 44, 52, 3, 45}));
  out.clear();
  WriteRemovalNotice(out, 0xFFFFFFF0);
  EXPECT_EQ(out, Words({116, 0xFFFFFFF0, 11}));
}

TEST(ControlRecords, BoundsRecordsCarryBoxWeightAndRequest) {
  Bytes out;
  WriteBounds(out, Box(-1, 2), 300);
  EXPECT_EQ(out, Words({66, F(-1), F(0), F(1), F(2), F(3), F(4), 300}));
  out.clear();
  WriteBoundsResult(out, Box(0, 1), 5, 77);
  EXPECT_EQ(out, Words({98, F(0), F(1), F(2), F(1), F(2), F(3), 5, 77}));
}

TEST(ControlRecords, EventAndPreviewsCarryTheirCounts) {
  Bytes out;
  uint32_t const words[] = {0xFFFFFFFD, 0xFFFFFFFE};
  WriteEvent(out, 0xFFFFFFFE, 0x4000009, 3, words);
  WriteEvent(out, 0xFFFFFFFE, 0x1000000B, 8, {});
  EXPECT_EQ(out, Words({101, 0xFFFFFFFE, 2, 0x4000009, 3, 0xFFFFFFFD, 0xFFFFFFFE, 101,
                        0xFFFFFFFE, 0, 0x1000000B, 8}));
  out.clear();
  BoundingBox const boxes[] = {Box(0, 1), Box(5, 6)};
  WritePreviews(out, 1, boxes);
  EXPECT_EQ(out, Words({112, 2, 1, F(0), F(1), F(2), F(1), F(2), F(3), F(5), F(6), F(7), F(6),
                        F(7), F(8)}));
}

TEST(ControlRecords, TextCountsItsZeroButNotThePadding) {
  Bytes out;
  WriteText(out, "abc");
  EXPECT_EQ(out, Words({85, 4, 0x00636261}));
  out.clear();
  WriteText(out, "abcd");
  EXPECT_EQ(out, Words({85, 5, 0x64636261, 0}));
  out.clear();
  WriteLiveText(out, 7, "");
  EXPECT_EQ(out, Words({117, 7, 1, 0}));
}

TEST(ControlRecords, KeyedDataIsZeroPadded) {
  Bytes out;
  uint8_t const data[] = {9, 8, 7, 6, 5, 4};
  WriteKeyedData(out, 0xFFFFFFFD, 3, data);
  EXPECT_EQ(out, Words({100, 0xFFFFFFFD, 3, 6, 0x06070809, 0x0405}));
  out.clear();
  WriteKeyedData(out, 0xFFFFFFFD, 4, {});
  EXPECT_EQ(out, Words({100, 0xFFFFFFFD, 4, 0}));
}

TEST(EscapeJson, EscapesQuotesBackslashesAndControls) {
  EXPECT_EQ(EscapeJson("plain/name.qxm"), "plain/name.qxm");
  EXPECT_EQ(EscapeJson("a\"b\\c"), "a\\\"b\\\\c");
  EXPECT_EQ(EscapeJson("\b\t\n\f\r"), "\\b\\t\\n\\f\\r");
  EXPECT_EQ(EscapeJson(std::string_view("\x01\x1f\x7f", 3)), "\\u0001\\u001f\x7f");
  EXPECT_EQ(EscapeJson("\xC3\xA9"), "\xC3\xA9");
  EXPECT_EQ(MissingModelText("dir\\x\"y"), "<MISSING_MODEL data=\"dir\\\\x\\\"y\">");
}

// Every control record, written through the output in chunks of various
// sizes and compressions, reads back as the same sequence.
Bytes AllControlRecords() {
  Bytes out;
  WriteStreamHead(out, kRootStreamModel);
  WriteModelContextRecord(out, kRootStreamModel);
  WriteBounds(out, Box(-3, 3), 12);
  uint32_t const words[] = {1, 2, 3};
  WriteEvent(out, kRootStreamModel, 0x400000B, 0, words);
  WriteKeyProperty(out, 0xFFFFFFFD, 4, 1, 1);
  WriteText(out, MissingModelText("lost\tmodel"));
  WriteLiveText(out, 3, "<IDLE_MARKER>");
  WriteMissingKey(out, 0xFFFFFFFD, 4, 3);
  WriteStateChange(out, 0xFFFFFFFE, 0xFFFFFFFD, 11);
  WriteOperationResult(out, 1, false, 9);
  WriteRemovalNotice(out, 6);
  BoundingBox const boxes[] = {Box(1, 2), Box(2, 3), Box(3, 4)};
  WritePreviews(out, 0, boxes);
  WriteBoundsResult(out, Box(0, 0), 1, 10);
  WritePassEnd(out, 0, 10, 12);
  return out;
}

Bytes ReadBack(Bytes const& stream) {
  StreamReader reader(stream);
  Bytes records;
  StreamRecord r;
  while (reader.Next(r))
    if (!r.is_block) records.insert(records.end(), r.bytes.begin(), r.bytes.end());
  EXPECT_FALSE(reader.Failed()) << reader.Error();
  return records;
}

TEST(ControlRecords, RoundTripThroughChunksAndReader) {
  Bytes const records = AllControlRecords();
  for (uint32_t flags : {0u, ControlFlag::AggressiveCompression}) {
    for (int copies : {1, 8}) {
      test::RecordingSink sink;
      sink.header_reserve = 8;
      sink.footer_reserve = 4;
      StreamOutput out;
      out.BeginPass(sink, flags);
      Bytes expected;
      for (int i = 0; i < copies; ++i) {
        out.Buffer().insert(out.Buffer().end(), records.begin(), records.end());
        expected.insert(expected.end(), records.begin(), records.end());
      }
      out.FlushChunk(0);
      Bytes const stream = sink.Payloads();
      if (copies > 1) {
        EXPECT_EQ(GetU32(stream.data()), 90u);  // large enough to compress
      }
      EXPECT_EQ(ReadBack(stream), expected);
    }
  }
}

}  // namespace
}  // namespace QX::Store
