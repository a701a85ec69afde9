// Format and size of texture files, read from their headers; data cut short,
// broken or of another format is refused.
#include "tools/importer/ImportedImage.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;
using KZV::Image::Format;

Bytes Png(uint32_t width, uint32_t height, size_t size = 29) {
  Bytes png{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
  for (uint32_t value : {width, height})
    for (int shift = 24; shift >= 0; shift -= 8) png.push_back(static_cast<uint8_t>(value >> shift));
  png.insert(png.end(), {8, 6, 0, 0, 0});
  png.resize(size);
  return png;
}

// Segments before the frame, a table marker that looks like a frame, and
// fill bytes; `first` is the byte where the second segment begins.
Bytes Jpeg(size_t size = 42, uint8_t first = 0xFF) {
  Bytes jpeg{0xFF, 0xD8, 0xFF, 0xE0, 0, 6, 'J', 'F', 'I', 'F', first, 0xC4, 0, 3, 0, 0xFF, 0xFF,
             0xC2, 0, 17, 8, 0x01, 0x00, 0x02, 0x80, 3};
  jpeg.resize(size, 0);
  return jpeg;
}

// Rows stored top down: a negative height.
Bytes Bmp(uint8_t width) {
  Bytes bmp(54, 0);
  bmp[0] = 'B', bmp[1] = 'M', bmp[18] = width;
  bmp[22] = 0xEC, bmp[23] = 0xFF, bmp[24] = 0xFF, bmp[25] = 0xFF;  // -20
  return bmp;
}

TEST(ImportedImage, SizeComesFromTheHeader) {
  struct Case {
    char const* name;
    Bytes bytes;
    std::optional<qx_tool::ImageHeader> expected;
  } const cases[] = {
      {"png", Png(300, 70000), qx_tool::ImageHeader{Format::Png, 300, 70000}},
      {"png cut short", Png(300, 200, 20), std::nullopt},
      {"png of no width", Png(0, 200), std::nullopt},
      {"jpeg", Jpeg(), qx_tool::ImageHeader{Format::Jpeg, 640, 256}},
      {"jpeg cut short", Jpeg(17), std::nullopt},
      {"jpeg segment without a marker", Jpeg(42, 0x12), std::nullopt},
      {"bmp top down", Bmp(10), qx_tool::ImageHeader{Format::Bmp, 10, 20}},
      {"bmp of no width", Bmp(0), std::nullopt},
      {"gif", {'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0}, std::nullopt},
      {"nothing", {}, std::nullopt},
  };
  for (Case const& c : cases) {
    auto const header = qx_tool::ReadImageHeader(c.bytes.data(), c.bytes.size());
    ASSERT_EQ(header.has_value(), c.expected.has_value()) << c.name;
    if (!header) continue;
    EXPECT_EQ(header->format, c.expected->format) << c.name;
    EXPECT_EQ(header->width, c.expected->width) << c.name;
    EXPECT_EQ(header->height, c.expected->height) << c.name;
  }
  std::string problem;
  EXPECT_FALSE(qx_tool::ReadImageFile("/nonexistent/texture.png", problem));
  EXPECT_NE(problem.find("/nonexistent/texture.png"), std::string::npos);
}

}  // namespace
