#include "geometry/image/ImageCodec.h"

#include <gtest/gtest.h>
#include <stb_image.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "TestImages.h"

namespace QX::Store {
namespace {

using test::Bytes;

constexpr uint32_t kFileUnchanged = 4;
constexpr uint32_t kFilePng = 5;

bool Validate(Bytes const& bytes, uint32_t code, std::string* reason = nullptr) {
  std::string text;
  bool const ok = ValidateImage(uint32_t(bytes.size()), bytes.data(), code, text);
  if (reason != nullptr) *reason = text;
  return ok;
}

// Decodes, copies the pixels out and frees them.
struct Decoded {
  bool ok = false;
  uint32_t width = 0, height = 0, channels = 0;
  ImageDecoder decoder = ImageDecoder::Stb;
  Bytes pixels;
  std::string reason;
};

Decoded Decode(Bytes const& bytes, uint32_t code) {
  Decoded result;
  DecodedImage image;
  result.ok = DecodeImage(uint32_t(bytes.size()), bytes.data(), code, image, result.reason);
  if (!result.ok) return result;
  result.width = image.width, result.height = image.height, result.channels = image.channels;
  result.decoder = image.decoder;
  result.pixels.assign(image.pixels, image.pixels + size_t{image.width} * image.height * image.channels);
  FreeDecodedImage(image);
  return result;
}

Bytes RgbaPng(uint32_t width, uint32_t height) {
  return test::MakePng(test::Pattern(width, height, 4), width, height, {});
}

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

TEST(ValidateImage, AcceptsJpegPngAndBmpWhateverTheClaimedCode) {
  EXPECT_TRUE(Validate(RgbaPng(8, 8), kFileUnchanged));
  EXPECT_TRUE(Validate(test::MakeBmp(5, 3), kFilePng));
  Bytes const jpeg = test::ReadAll(test::SampleTexture("spider_obj/drkwood2.jpg"));
  if (!jpeg.empty()) {
    EXPECT_TRUE(Validate(jpeg, kFilePng));
  }
}

TEST(ValidateImage, RefusesTruncatedAndGarbledHeaders) {
  Bytes const png = RgbaPng(8, 8);
  std::string reason;
  for (size_t cut : {0, 4, 8, 20}) {
    Bytes const head(png.begin(), png.begin() + cut);
    EXPECT_FALSE(Validate(head, kFilePng, &reason)) << cut;
    EXPECT_EQ(reason, "unknown image type");
  }
  Bytes garbage = test::Pattern(300, 1, 1);
  EXPECT_FALSE(Validate(garbage, kFileUnchanged, &reason));
  EXPECT_EQ(reason, "unknown image type");
  Bytes bmp = test::MakeBmp(4, 4);
  bmp[14] = 41;  // no such info header size
  EXPECT_FALSE(Validate(bmp, kFileUnchanged));
}

TEST(ValidateImage, DamagedPngSignatureNeedsPngCodeAndWholeHeader) {
  Bytes const damaged = test::DamageSignature(RgbaPng(8, 8));
  EXPECT_TRUE(Validate(damaged, kFilePng));
  EXPECT_FALSE(Validate(damaged, kFileUnchanged));
  EXPECT_FALSE(Decode(damaged, kFileUnchanged).ok);
  // Cut after IHDR: nothing up to the image data can be read.
  Bytes const cut(damaged.begin(), damaged.begin() + 33);
  EXPECT_FALSE(Validate(cut, kFilePng));
  // A broken IHDR checksum stops libpng.
  Bytes bad_crc = damaged;
  bad_crc[30] ^= 0xFF;
  EXPECT_FALSE(Validate(bad_crc, kFilePng));
}

// Each color type through stb_image, which keeps the file's channels, and
// through the libpng fallback, reached by a damaged signature, which gives
// RGBA.
struct FallbackCase {
  char const* name;
  test::PngOptions options;
  uint32_t channels;  // of the raw pixels handed to the encoder
};

TEST(DecodeImage, EveryColorTypeByBothDecoders) {
  uint32_t const w = 13, h = 11;
  FallbackCase const cases[] = {
      {"gray", test::Options(LCT_GREY, LCT_GREY), 1},
      {"gray alpha", test::Options(LCT_GREY_ALPHA, LCT_GREY_ALPHA), 2},
      {"rgb", test::Options(LCT_RGB, LCT_RGB), 3},
      {"rgba", test::Options(LCT_RGBA, LCT_RGBA), 4},
      {"interlaced rgba", test::Options(LCT_RGBA, LCT_RGBA, 8, true), 4},
      {"interlaced gray", test::Options(LCT_GREY, LCT_GREY, 8, true), 1},
      {"16-bit rgb", test::Options(LCT_RGB, LCT_RGB, 16), 3},
  };
  for (auto const& c : cases) {
    Bytes const pixels = test::Pattern(w, h, c.channels);
    Bytes const png = test::MakePng(pixels, w, h, c.options);
    ASSERT_FALSE(png.empty()) << c.name;
    Decoded const direct = Decode(png, kFilePng);
    ASSERT_TRUE(direct.ok) << c.name;
    EXPECT_EQ(direct.decoder, ImageDecoder::Stb) << c.name;
    EXPECT_EQ(direct.channels, c.channels) << c.name;
    EXPECT_EQ(direct.pixels, pixels) << c.name;
    Decoded const d = Decode(test::DamageSignature(png), kFilePng);
    ASSERT_TRUE(d.ok) << c.name;
    EXPECT_EQ(d.decoder, ImageDecoder::PngFallback) << c.name;
    EXPECT_EQ(d.channels, 4u) << c.name;
    EXPECT_EQ(d.width, w);
    EXPECT_EQ(d.height, h);
    EXPECT_EQ(d.pixels, ToRgba(pixels, c.channels)) << c.name;
  }
}

TEST(DecodeImage, FallbackLooksUpPalettesWithOpaqueAlpha) {
  Bytes const palette = {10, 20, 30, 255, 200, 100, 0, 128, 1, 2, 3, 0};
  Bytes pixels;
  for (int i = 0; i < 9 * 4; ++i) {
    int const entry = i % 3;
    pixels.insert(pixels.end(), palette.begin() + 4 * entry, palette.begin() + 4 * entry + 4);
  }
  for (unsigned depth : {2u, 8u}) {
    Bytes const png = test::MakePng(pixels, 9, 4, test::PaletteOptions(depth, palette));
    ASSERT_FALSE(png.empty());
    Decoded const d = Decode(test::DamageSignature(png), kFilePng);
    ASSERT_TRUE(d.ok) << depth;
    for (size_t i = 0; i < pixels.size(); i += 4) {
      EXPECT_EQ(std::memcmp(&d.pixels[i], &pixels[i], 3), 0) << i;
      EXPECT_EQ(d.pixels[i + 3], 255) << i;
    }
  }
}

TEST(DecodeImage, FallbackRefusesAPaletteOnAnRgbImage) {
  test::PngOptions options = test::Options(LCT_RGB, LCT_RGB, 8, false, true);
  options.palette = {0, 0, 0, 255, 9, 9, 9, 255};
  Bytes const png = test::MakePng(test::Pattern(4, 4, 3), 4, 4, options);
  ASSERT_FALSE(png.empty());
  Decoded const d = Decode(png, kFilePng);
  ASSERT_TRUE(d.ok) << d.reason;  // stb_image takes it
  EXPECT_FALSE(Decode(test::DamageSignature(png), kFilePng).ok);
}

TEST(DecodeImage, RefusesHugeDeclaredSizesBeforeAllocating) {
  Bytes const png = test::WithDeclaredSize(RgbaPng(16, 16), 100000, 100000);
  EXPECT_FALSE(Decode(png, kFilePng).ok);
  EXPECT_FALSE(Decode(test::DamageSignature(png), kFilePng).ok);
  // A size that memory allows, but data for 16 x 16 pixels only.
  Bytes const wide = test::WithDeclaredSize(RgbaPng(16, 16), 65536, 1025);
  EXPECT_FALSE(Decode(wide, kFilePng).ok);
  EXPECT_FALSE(Decode(test::DamageSignature(wide), kFilePng).ok);

  Bytes bmp = test::MakeBmp(4, 4);
  bmp[18] = 0xA0, bmp[19] = 0x86, bmp[20] = 0x01;  // 100000 wide
  bmp[22] = 0xA0, bmp[23] = 0x86, bmp[24] = 0x01;  // 100000 high
  EXPECT_FALSE(Decode(bmp, kFileUnchanged).ok);
}

TEST(DecodeImage, SurvivesTruncatedAndGarbledData) {
  Bytes const pngs[] = {RgbaPng(40, 30), test::DamageSignature(RgbaPng(40, 30))};
  for (Bytes const& png : pngs) {
    for (size_t cut = 0; cut < png.size(); cut += 7) {
      Bytes const head(png.begin(), png.begin() + cut);
      Decoded const d = Decode(head, kFilePng);
      if (d.ok) {
        EXPECT_EQ(d.pixels.size(), size_t{d.width} * d.height * d.channels);
      }
    }
  }
  Bytes const jpeg = test::ReadAll(test::SampleTexture("spider_obj/SpiderTex.jpg"));
  if (jpeg.empty()) return;
  for (size_t at = 2; at < jpeg.size(); at += 97) {
    Bytes garbled = jpeg;
    garbled[at] ^= 0x5A;
    Decode(garbled, kFileUnchanged);
    Decode(Bytes(jpeg.begin(), jpeg.begin() + at), kFileUnchanged);
  }
}

TEST(ResizeImage, ScalesEveryChannelCount) {
  for (uint32_t channels = 1; channels <= 4; ++channels) {
    Bytes flat(100 * 50 * channels);
    for (size_t i = 0; i < flat.size(); ++i) flat[i] = uint8_t(40 + 50 * (i % channels));
    Bytes out(64 * 64 * channels, 0);
    ASSERT_TRUE(ResizeImage(flat.data(), 100, 50, out.data(), 64, 64, channels));
    // A flat image stays flat, alpha included: nothing is weighted by alpha.
    for (size_t i = 0; i < out.size(); ++i) ASSERT_EQ(out[i], 40 + 50 * (i % channels)) << i;
  }
}

TEST(ResizeImage, AlphaDoesNotWeightColors) {
  // Half the pixels transparent: premultiplied input means colors average as
  // they are.
  Bytes pixels;
  for (int i = 0; i < 16; ++i) pixels.insert(pixels.end(), {200, 200, 200, uint8_t(i % 2 ? 255 : 0)});
  Bytes out(4, 0);
  ASSERT_TRUE(ResizeImage(pixels.data(), 4, 4, out.data(), 1, 1, 4));
  EXPECT_EQ(out[0], 200);
  EXPECT_NEAR(out[3], 128, 2);
}

TEST(EncodePng, RoundTripsEveryChannelCount) {
  for (uint32_t channels = 1; channels <= 4; ++channels) {
    Bytes const pixels = test::Pattern(33, 17, channels, channels);
    Bytes png;
    ASSERT_TRUE(EncodePng(pixels.data(), 33, 17, channels, png));
    int w = 0, h = 0, n = 0;
    uint8_t* back = stbi_load_from_memory(png.data(), int(png.size()), &w, &h, &n, int(channels));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(w, 33);
    EXPECT_EQ(h, 17);
    EXPECT_TRUE(std::equal(pixels.begin(), pixels.end(), back)) << channels;
    stbi_image_free(back);
  }
}

}  // namespace
}  // namespace QX::Store
