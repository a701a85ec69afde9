// JPEG data reaches stb_image only when its segments are well-formed.
#include "geometry/image/JpegCheck.h"

#include <gtest/gtest.h>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STBI_WRITE_NO_STDIO
#include <stb_image_write.h>
#undef STB_IMAGE_WRITE_IMPLEMENTATION  // TestImages.h includes the header again

#include <string>

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

TEST(JpegCheck, WrittenAndSampleJpegsPass) {
  EXPECT_TRUE(WellFormed(Jpeg(37, 21)));
  for (char const* name : {"spider_obj/drkwood2.jpg", "spider_obj/SpiderTex.jpg",
                           "vianney_house_2/textures/starirs_steps_baseColor.jpeg"}) {
    Bytes const jpeg = test::ReadAll(test::SampleTexture(name));
    if (jpeg.empty()) continue;
    EXPECT_TRUE(WellFormed(jpeg)) << name;
  }
  // A file cut inside its scan data is the decoder's to cope with.
  Bytes const whole = Jpeg(64, 64);
  EXPECT_TRUE(WellFormed(Bytes(whole.begin(), whole.end() - 40)));
}

TEST(JpegCheck, DamagedSegmentsAreRefused) {
  Bytes const jpeg = Jpeg(16, 16);
  struct Case {
    char const* what;
    Bytes bytes;
  };
  Bytes past_end = WithSegment(jpeg, 0xE1, {1, 2, 3});
  past_end[5] = 200;  // length beyond the data
  std::vector<uint8_t> many(16, 0);
  many[14] = many[15] = 255;
  Bytes short_table = HuffmanTable(0x00, {0, 4});
  short_table.pop_back();
  Bytes junk = jpeg;
  junk.insert(junk.begin() + 2, 0x42);
  Case const cases[] = {
      {"segment past the end", Bytes(past_end.begin(), past_end.begin() + 40)},
      {"length below 2", {0xFF, 0xD8, 0xFF, 0xE1, 0, 1}},
      {"byte between segments", junk},
      {"more than 256 codes", WithSegment(jpeg, 0xC4, HuffmanTable(0x10, many))},
      {"lengths no prefix code has", WithSegment(jpeg, 0xC4, HuffmanTable(0x00, {3}))},
      {"table class 2", WithSegment(jpeg, 0xC4, HuffmanTable(0x20, {1}))},
      {"table slot 4", WithSegment(jpeg, 0xC4, HuffmanTable(0x04, {1}))},
      {"table longer than its segment", WithSegment(jpeg, 0xC4, short_table)},
  };
  for (Case const& c : cases) EXPECT_FALSE(WellFormed(c.bytes)) << c.what;
  EXPECT_TRUE(WellFormed(WithSegment(jpeg, 0xC4, HuffmanTable(0x11, {0, 4}))));
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
}

}  // namespace
}  // namespace QX::Store
