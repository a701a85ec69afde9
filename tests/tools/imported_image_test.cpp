// Format and size of texture files, read from their headers.
#include <gtest/gtest.h>

#include <vector>

#include "tools/importer/ImportedImage.h"

namespace {

using qx_tool::ReadImageHeader;
using Bytes = std::vector<uint8_t>;
using KZV::Image::Format;

std::optional<qx_tool::ImageHeader> Header(Bytes const& bytes) { return ReadImageHeader(bytes.data(), bytes.size()); }

void ExpectHeader(Bytes const& bytes, Format format, uint32_t width, uint32_t height) {
  auto const header = Header(bytes);
  ASSERT_TRUE(header);
  EXPECT_EQ(header->format, format);
  EXPECT_EQ(header->width, width);
  EXPECT_EQ(header->height, height);
}

Bytes Png(uint32_t width, uint32_t height) {
  Bytes png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
  for (uint32_t value : {width, height})
    for (int shift = 24; shift >= 0; shift -= 8) png.push_back(static_cast<uint8_t>(value >> shift));
  png.insert(png.end(), {8, 6, 0, 0, 0});
  return png;
}

TEST(ImportedImage, PngSizeComesFromItsHeader) {
  ExpectHeader(Png(300, 70000), Format::Png, 300, 70000);
  Bytes cut = Png(300, 200);
  cut.resize(20);
  EXPECT_FALSE(Header(cut));
  EXPECT_FALSE(Header(Png(0, 200)));
}

// Segments before the frame, a table marker that looks like a frame and
// fill bytes are all stepped over.
TEST(ImportedImage, JpegSizeComesFromTheFirstFrameSegment) {
  Bytes jpeg{0xFF, 0xD8, 0xFF, 0xE0, 0, 6, 'J', 'F', 'I', 'F', 0xFF, 0xC4, 0, 3, 0, 0xFF, 0xFF,
             0xC2, 0, 17, 8, 0x01, 0x00, 0x02, 0x80, 3};
  jpeg.resize(jpeg.size() + 16, 0);
  ExpectHeader(jpeg, Format::Jpeg, 640, 256);

  Bytes cut(jpeg.begin(), jpeg.begin() + 17);
  EXPECT_FALSE(Header(cut));
  Bytes broken = jpeg;
  broken[10] = 0x12;  // a segment that doesn't start with a marker
  EXPECT_FALSE(Header(broken));
}

TEST(ImportedImage, BmpRowsStoredTopDownHaveTheirHeightUnsigned) {
  Bytes bmp(54, 0);
  bmp[0] = 'B';
  bmp[1] = 'M';
  bmp[18] = 10;
  bmp[22] = 0xEC, bmp[23] = 0xFF, bmp[24] = 0xFF, bmp[25] = 0xFF;  // -20
  ExpectHeader(bmp, Format::Bmp, 10, 20);
  bmp[18] = 0;
  EXPECT_FALSE(Header(bmp));
}

TEST(ImportedImage, OtherDataAndMissingFilesAreRefused) {
  EXPECT_FALSE(Header({'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0}));
  EXPECT_FALSE(Header({}));
  std::string problem;
  EXPECT_FALSE(qx_tool::ReadImageFile("/nonexistent/texture.png", problem));
  EXPECT_NE(problem.find("/nonexistent/texture.png"), std::string::npos);
}

}  // namespace
