#include "geometry/image/ImageCodec.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "TestImages.h"
#include "store/ImageRecord.h"

namespace QX::Store {
namespace {

using test::Bytes;

// Decodes, copies the pixels out and frees them.
struct Decoded {
  bool ok = false;
  uint32_t width = 0, height = 0, channels = 0;
  ImageDecoder decoder = ImageDecoder::Stb;
  Bytes pixels;
};

Decoded Decode(Bytes const& bytes, uint32_t code = kImageFilePng) {
  Decoded result;
  DecodedImage image;
  std::string reason;
  result.ok = DecodeImage(uint32_t(bytes.size()), bytes.data(), code, image, reason);
  if (!result.ok) return result;
  result.width = image.width, result.height = image.height, result.channels = image.channels;
  result.decoder = image.decoder;
  result.pixels.assign(image.pixels, image.pixels + size_t{image.width} * image.height * image.channels);
  FreeDecodedImage(image);
  return result;
}

Bytes RgbaPng(uint32_t width, uint32_t height) { return test::MakePng(test::Pattern(width, height, 4), width, height); }

// Spreads 1, 2 or 3 channel pixels to RGBA the way the PNG fallback does.
Bytes ToRgba(Bytes const& in, uint32_t channels) {
  if (channels == 4) return in;
  Bytes out;
  for (size_t i = 0; i < in.size(); i += channels) {
    uint8_t const a = channels == 2 ? in[i + 1] : 255;
    if (channels <= 2) {
      out.insert(out.end(), {in[i], in[i], in[i], a});
    } else {
      out.insert(out.end(), {in[i], in[i + 1], in[i + 2], a});
    }
  }
  return out;
}

// JPEG, PNG and BMP pass whatever code the image claims; a PNG whose
// signature is damaged passes only as a PNG, and only with a whole header.
TEST(ValidateImage, AcceptsWhatADecoderTakes) {
  Bytes const png = RgbaPng(8, 8);
  Bytes const damaged = test::DamageSignature(png);
  Bytes bad_crc = damaged;
  bad_crc[30] ^= 0xFF;  // IHDR checksum: libpng stops
  Bytes bad_bmp = test::MakeBmp(4, 4);
  bad_bmp[14] = 41;  // no such info header size
  struct Case {
    char const* name;
    Bytes bytes;
    uint32_t code;
    bool ok;
  } const cases[] = {
      {"png", png, kImageFileUnchanged, true},
      {"bmp", test::MakeBmp(5, 3), kImageFilePng, true},
      {"jpeg", test::SampleTexture("spider_obj/drkwood2.jpg"), kImageFilePng, true},
      {"damaged png signature", damaged, kImageFilePng, true},
      {"damaged png signature, any code", damaged, kImageFileUnchanged, false},
      {"damaged png cut after its header", Bytes(damaged.begin(), damaged.begin() + 33), kImageFilePng, false},
      {"damaged png with a bad checksum", bad_crc, kImageFilePng, false},
      {"bad bmp info header", bad_bmp, kImageFileUnchanged, false},
  };
  for (auto const& c : cases) {
    if (c.bytes.empty()) continue;  // sample not present
    std::string reason;
    EXPECT_EQ(ValidateImage(uint32_t(c.bytes.size()), c.bytes.data(), c.code, reason), c.ok) << c.name;
  }
  EXPECT_FALSE(Decode(damaged, kImageFileUnchanged).ok);
  std::vector<Bytes> unknown = {test::Pattern(300, 1, 1)};
  for (long cut : {0, 4, 8, 20}) unknown.emplace_back(png.begin(), png.begin() + cut);
  for (Bytes const& bytes : unknown) {
    std::string reason;
    EXPECT_FALSE(ValidateImage(uint32_t(bytes.size()), bytes.data(), kImageFilePng, reason));
    EXPECT_EQ(reason, "unknown image type");
  }
}

// Each color type through stb_image, which keeps the file's channels, and
// through the libpng fallback, reached by a damaged signature, which gives
// RGBA.
TEST(DecodeImage, EveryColorTypeByBothDecoders) {
  uint32_t const w = 13, h = 11;
  struct Case {
    char const* name;
    test::PngOptions options;
    uint32_t channels;  // of the raw pixels handed to the encoder
  } const cases[] = {
      {"gray", test::Options(LCT_GREY), 1},
      {"gray alpha", test::Options(LCT_GREY_ALPHA), 2},
      {"rgb", test::Options(LCT_RGB), 3},
      {"rgba", test::Options(LCT_RGBA), 4},
      {"interlaced rgba", test::Options(LCT_RGBA, 8, true), 4},
      {"interlaced gray", test::Options(LCT_GREY, 8, true), 1},
      {"16-bit rgb", test::Options(LCT_RGB, 16), 3},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes const pixels = test::Pattern(w, h, c.channels);
    Bytes const png = test::MakePng(pixels, w, h, c.options);
    Decoded const direct = Decode(png);
    ASSERT_TRUE(direct.ok);
    EXPECT_EQ(direct.decoder, ImageDecoder::Stb);
    EXPECT_EQ(direct.channels, c.channels);
    EXPECT_EQ(direct.pixels, pixels);
    Decoded const d = Decode(test::DamageSignature(png));
    ASSERT_TRUE(d.ok);
    EXPECT_EQ(d.decoder, ImageDecoder::PngFallback);
    EXPECT_EQ(d.channels, 4u);
    EXPECT_EQ(d.width, w);
    EXPECT_EQ(d.height, h);
    EXPECT_EQ(d.pixels, ToRgba(pixels, c.channels));
  }
}

// The fallback looks up palette entries with opaque alpha, and refuses a
// palette on an RGB image, which stb_image takes.
TEST(DecodeImage, FallbackPalettes) {
  Bytes const palette = {10, 20, 30, 255, 200, 100, 0, 128, 1, 2, 3, 0};
  Bytes pixels;
  for (int i = 0; i < 9 * 4; ++i) {
    int const entry = i % 3;
    pixels.insert(pixels.end(), palette.begin() + 4 * entry, palette.begin() + 4 * entry + 4);
  }
  for (unsigned depth : {2u, 8u}) {
    test::PngOptions options = test::Options(LCT_RGBA, depth);
    options.file = LCT_PALETTE;
    options.palette = palette;
    Bytes const png = test::MakePng(pixels, 9, 4, options);
    Decoded const d = Decode(test::DamageSignature(png));
    ASSERT_TRUE(d.ok) << depth;
    for (size_t i = 0; i < pixels.size(); i += 4) {
      EXPECT_EQ(std::memcmp(&d.pixels[i], &pixels[i], 3), 0) << i;
      EXPECT_EQ(d.pixels[i + 3], 255) << i;
    }
  }
  test::PngOptions rgb = test::Options(LCT_RGB);
  rgb.force_palette = true;
  rgb.palette = {0, 0, 0, 255, 9, 9, 9, 255};
  Bytes const png = test::MakePng(test::Pattern(4, 4, 3), 4, 4, rgb);
  EXPECT_TRUE(Decode(png).ok);
  EXPECT_FALSE(Decode(test::DamageSignature(png)).ok);
}

// Cut PNGs and garbled or cut JPEGs decode to whole images or not at all.
TEST(DecodeImage, SurvivesTruncatedAndGarbledData) {
  for (Bytes const& png : {RgbaPng(40, 30), test::DamageSignature(RgbaPng(40, 30))}) {
    for (long cut = 0; cut < long(png.size()); cut += 7) {
      Decoded const d = Decode(Bytes(png.begin(), png.begin() + cut));
      EXPECT_TRUE(!d.ok || d.pixels.size() == size_t{d.width} * d.height * d.channels) << cut;
    }
  }
  Bytes const jpeg = test::SampleTexture("spider_obj/SpiderTex.jpg");
  for (size_t at = 2; at < jpeg.size(); at += 97) {
    Bytes garbled = jpeg;
    garbled[at] ^= 0x5A;
    Decode(garbled, kImageFileUnchanged);
    Decode(Bytes(jpeg.begin(), jpeg.begin() + long(at)), kImageFileUnchanged);
  }
}

TEST(DecodeImage, RefusesHugeDeclaredSizesBeforeAllocating) {
  // The second size fits in memory, but the data holds 16 x 16 pixels only.
  for (auto [width, height] : {std::pair{100000u, 100000u}, {65536u, 1025u}}) {
    Bytes const png = test::WithDeclaredSize(RgbaPng(16, 16), width, height);
    EXPECT_FALSE(Decode(png).ok) << width;
    EXPECT_FALSE(Decode(test::DamageSignature(png)).ok) << width;
  }
  Bytes bmp = test::MakeBmp(4, 4);
  bmp[18] = 0xA0, bmp[19] = 0x86, bmp[20] = 0x01;  // 100000 wide
  bmp[22] = 0xA0, bmp[23] = 0x86, bmp[24] = 0x01;  // 100000 high
  EXPECT_FALSE(Decode(bmp, kImageFileUnchanged).ok);
}

// A flat image stays flat in every channel count, alpha included: nothing
// is weighted by alpha.
TEST(ResizeImage, FlatImagesStayFlat) {
  for (uint32_t channels = 1; channels <= 4; ++channels) {
    Bytes flat(100 * 50 * channels);
    for (size_t i = 0; i < flat.size(); ++i) flat[i] = uint8_t(40 + 50 * (i % channels));
    Bytes out(64 * 64 * channels, 0);
    ASSERT_TRUE(ResizeImage(flat.data(), 100, 50, out.data(), 64, 64, channels));
    for (size_t i = 0; i < out.size(); ++i) ASSERT_EQ(out[i], 40 + 50 * (i % channels)) << i;
  }
}

}  // namespace
}  // namespace QX::Store
