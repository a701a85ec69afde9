// JPEG data reaches stb_image only when its segments are well-formed.
#include "geometry/image/JpegCheck.h"

#include <gtest/gtest.h>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STBI_WRITE_NO_STDIO
#include <stb_image_write.h>
#undef STB_IMAGE_WRITE_IMPLEMENTATION  // TestImages.h includes the header again

#include <array>
#include <string>
#include <vector>

#include "TestImages.h"
#include "geometry/image/ImageCodec.h"

namespace QX::Store {
namespace {

using test::Bytes;
using detail::JpegWellFormed;

Bytes Jpeg(uint32_t width, uint32_t height) { return test::Jpeg(test::Pattern(width, height, 3), width, height); }

bool WellFormed(Bytes const& bytes) { return JpegWellFormed(bytes.data(), bytes.size()); }

// The file with one segment inserted right after its start-of-image marker.
Bytes WithSegment(Bytes jpeg, uint8_t marker, Bytes const& body) {
  size_t const length = body.size() + 2;
  Bytes segment = {0xFF, marker, uint8_t(length >> 8), uint8_t(length)};
  segment.insert(segment.end(), body.begin(), body.end());
  jpeg.insert(jpeg.begin() + 2, segment.begin(), segment.end());
  return jpeg;
}

// A Huffman table of class and slot `head` with `counts` codes by length 1..16
// and as many values as codes.
Bytes HuffmanTable(uint8_t head, std::vector<uint8_t> const& counts) {
  Bytes table = {head};
  size_t codes = 0;
  for (int i = 0; i < 16; ++i) {
    uint8_t const count = i < int(counts.size()) ? counts[i] : 0;
    table.push_back(count);
    codes += count;
  }
  table.resize(table.size() + codes, 0);
  return table;
}

// A JPEG cut inside its scan data passes (the decoder's to cope with);
// damaged segments are refused.
TEST(JpegCheck, DamagedSegmentsAreRefused) {
  Bytes const whole = Jpeg(64, 64);
  EXPECT_TRUE(WellFormed(Bytes(whole.begin(), whole.end() - 40)));
  Bytes const jpeg = Jpeg(16, 16);
  EXPECT_TRUE(WellFormed(jpeg));
  struct Case {
    char const* what;
    Bytes bytes;
  };
  Bytes past_end = WithSegment(jpeg, 0xE1, {1, 2, 3});
  past_end[5] = 200;  // length beyond the data
  Bytes short_table = HuffmanTable(0x00, {0, 4});
  short_table.pop_back();
  Bytes junk = jpeg;
  junk.insert(junk.begin() + 2, 0x42);
  Case const cases[] = {
      {"segment past the end", Bytes(past_end.begin(), past_end.begin() + 40)},
      {"length below 2", {0xFF, 0xD8, 0xFF, 0xE1, 0, 1}},
      {"byte between segments", junk},
      {"lengths no prefix code has", WithSegment(jpeg, 0xC4, HuffmanTable(0x00, {3}))},
      {"table class 2", WithSegment(jpeg, 0xC4, HuffmanTable(0x20, {1}))},
      {"table slot 4", WithSegment(jpeg, 0xC4, HuffmanTable(0x04, {1}))},
      {"table longer than its segment", WithSegment(jpeg, 0xC4, short_table)},
  };
  for (Case const& c : cases) EXPECT_FALSE(WellFormed(c.bytes)) << c.what;
}

// A Huffman table of 510 codes made stb_image write past its code-length
// array; it is now refused before stb_image sees it, with a reason.
TEST(JpegCheck, OversizedHuffmanTableNeverReachesTheDecoder) {
  std::vector<uint8_t> counts(16, 0);
  counts[14] = counts[15] = 255;
  Bytes const hostile = WithSegment(Jpeg(16, 16), 0xC4, HuffmanTable(0x00, counts));
  std::string reason;
  EXPECT_FALSE(ValidateImage(uint32_t(hostile.size()), hostile.data(), 4, reason));
  EXPECT_EQ(reason, "malformed JPEG segments");
  DecodedImage image;
  EXPECT_FALSE(DecodeImage(uint32_t(hostile.size()), hostile.data(), 4, image, reason));
  EXPECT_EQ(reason, "malformed JPEG segments");
  // stb_image skips 0xFF fill bytes before the start of the image: so
  // must the check, or such a file passes it unchecked.
  Bytes padded(15, 0xFF);
  padded.insert(padded.end(), hostile.begin(), hostile.end());
  EXPECT_FALSE(ValidateImage(uint32_t(padded.size()), padded.data(), 4, reason));
  EXPECT_EQ(reason, "malformed JPEG segments");
  Bytes const fine = Jpeg(16, 16);
  padded.resize(15);
  padded.insert(padded.end(), fine.begin(), fine.end());
  EXPECT_TRUE(WellFormed(padded));
}

// A progressive 8x8 grey JPEG: its frame, the Huffman tables `tables` (as
// class << 4 | slot) and one scan of component 1 for each of `scans`, given
// as {tables byte, spectral start, spectral end, successive bits}.
Bytes Progressive(std::vector<uint8_t> const& tables, std::vector<std::array<uint8_t, 4>> const& scans) {
  Bytes out = {0xFF, 0xD8, 0xFF, 0xC2, 0, 11, 8, 0, 8, 0, 8, 1, 1, 0x11, 0};
  auto segment = [&](uint8_t marker, Bytes const& body) {
    out.insert(out.end(), {0xFF, marker, uint8_t((body.size() + 2) >> 8), uint8_t(body.size() + 2)});
    out.insert(out.end(), body.begin(), body.end());
  };
  for (uint8_t table : tables) segment(0xC4, HuffmanTable(table, {1}));
  for (auto const& scan : scans) {
    segment(0xDA, {1, 1, scan[0], scan[1], scan[2], scan[3]});
    out.push_back(0x00);  // entropy-coded data
  }
  out.insert(out.end(), {0xFF, 0xD9});
  return out;
}

// stb_image decodes a scan with whatever its table memory holds when the
// scan names a Huffman table that no segment defined; a progressive file
// whose AC scan came before its AC table drove its bit reader negative.
TEST(JpegCheck, ScansNeedTheirHuffmanTablesDefinedFirst) {
  std::array<uint8_t, 4> const dc_first{0x00, 0, 0, 0x01}, dc_refine{0x00, 0, 0, 0x10};
  std::array<uint8_t, 4> const ac_first{0x01, 1, 63, 0x01}, ac_refine{0x01, 1, 63, 0x10};
  EXPECT_TRUE(WellFormed(Progressive({0x00, 0x11}, {dc_first, ac_first, ac_refine, dc_refine})));
  // A DC refinement reads raw bits: it needs no table.
  EXPECT_TRUE(WellFormed(Progressive({0x11}, {dc_refine, ac_first})));
  EXPECT_FALSE(WellFormed(Progressive({0x00}, {dc_first, ac_first}))) << "AC table 1 undefined";
  EXPECT_FALSE(WellFormed(Progressive({0x11}, {dc_first}))) << "DC table 0 undefined";
  EXPECT_FALSE(WellFormed(Progressive({0x01, 0x10}, {ac_first}))) << "AC table 0 is not 1";
  Bytes late = Progressive({0x00}, {dc_first, ac_first});
  Bytes const ac_table = Progressive({0x11}, {});
  late.insert(late.end() - 2, ac_table.begin() + 15, ac_table.end() - 2);  // defined after use
  EXPECT_FALSE(WellFormed(late));
  // A scan head whose length doesn't match its component count.
  Bytes bad_head = Progressive({0x00}, {dc_first});
  bad_head[bad_head.size() - 9] = 2;  // component count
  EXPECT_FALSE(WellFormed(bad_head));
  // Baseline scans take both tables of each component.
  Bytes baseline = Jpeg(16, 16);
  EXPECT_TRUE(WellFormed(baseline));
  for (size_t i = 0; i + 1 < baseline.size(); ++i) {
    if (baseline[i] != 0xFF || baseline[i + 1] != 0xDA) continue;
    baseline[i + 6] = 0x22;  // first component: tables of slot 2, never defined
    break;
  }
  EXPECT_FALSE(WellFormed(baseline));
}

// A 10 KB JPEG that declared 63479 x 249 pixels kept the decoder making
// pixels out of missing scan data for seconds. No coding packs more than
// 512 pixels into a byte, so such a file is refused before decoding.
TEST(JpegCheck, DeclaredSizeMustFitTheData) {
  Bytes const jpeg = Jpeg(64, 64);
  EXPECT_TRUE(detail::JpegCanHold(64, 64, jpeg.size()));
  EXPECT_TRUE(detail::JpegCanHold(4096, 128, 1024));
  EXPECT_FALSE(detail::JpegCanHold(4096, 129, 1024));
  Bytes huge = jpeg;
  for (size_t i = 0; i + 8 < huge.size(); ++i) {
    if (huge[i] != 0xFF || huge[i + 1] != 0xC0) continue;
    huge[i + 5] = 0x04, huge[i + 6] = 0;  // 1024 rows
    huge[i + 7] = 0x10, huge[i + 8] = 0;  // of 4096 pixels
    break;
  }
  std::string reason;
  DecodedImage image;
  EXPECT_FALSE(DecodeImage(uint32_t(huge.size()), huge.data(), 4, image, reason));
  EXPECT_EQ(reason, "image data too short for its size");
  ASSERT_TRUE(DecodeImage(uint32_t(jpeg.size()), jpeg.data(), 4, image, reason)) << reason;
  FreeDecodedImage(image);
}

}  // namespace
}  // namespace QX::Store
