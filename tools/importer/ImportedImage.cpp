#include "tools/importer/ImportedImage.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

namespace qx_tool {

namespace {

uint32_t BigEndian16(uint8_t const* p) { return uint32_t{p[0]} << 8 | p[1]; }
uint32_t BigEndian32(uint8_t const* p) { return BigEndian16(p) << 16 | BigEndian16(p + 2); }
int32_t LittleEndian32(uint8_t const* p) {
  return static_cast<int32_t>(uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24);
}

// The size stands in the first start-of-frame segment; the segments
// before it are skipped by their lengths.
std::optional<ImageHeader> ReadJpegHeader(uint8_t const* bytes, size_t size) {
  size_t at = 2;
  while (at + 9 <= size) {
    if (bytes[at] != 0xFF) return std::nullopt;
    uint8_t const marker = bytes[at + 1];
    if (marker == 0xFF) {
      ++at;
      continue;
    }
    bool const frame = marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
    if (frame) return ImageHeader{KZV::Image::Format::Jpeg, BigEndian16(bytes + at + 7), BigEndian16(bytes + at + 5)};
    at += 2 + BigEndian16(bytes + at + 2);
  }
  return std::nullopt;
}

std::optional<ImageHeader> Checked(ImageHeader const& header) {
  if (header.width == 0 || header.height == 0) return std::nullopt;
  return header;
}

}  // namespace

std::optional<ImageHeader> ReadImageHeader(uint8_t const* bytes, size_t size) {
  static constexpr uint8_t kPng[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  if (size >= 24 && std::memcmp(bytes, kPng, sizeof kPng) == 0)
    return Checked({KZV::Image::Format::Png, BigEndian32(bytes + 16), BigEndian32(bytes + 20)});
  if (size >= 4 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF) {
    auto const header = ReadJpegHeader(bytes, size);
    return header ? Checked(*header) : std::nullopt;
  }
  if (size >= 26 && bytes[0] == 'B' && bytes[1] == 'M') {
    // A negative height marks rows stored top down.
    int32_t const width = LittleEndian32(bytes + 18), height = LittleEndian32(bytes + 22);
    if (width <= 0 || height == 0 || height == INT32_MIN) return std::nullopt;
    return Checked({KZV::Image::Format::Bmp, static_cast<uint32_t>(width), static_cast<uint32_t>(std::abs(height))});
  }
  return std::nullopt;
}

std::optional<ImportedImage> ReadImageFile(std::string const& path, std::string& problem) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    problem = "cannot open " + path;
    return std::nullopt;
  }
  KZV::ByteArray bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  if (in.bad()) {
    problem = "cannot read " + path;
    return std::nullopt;
  }
  auto const header = ReadImageHeader(bytes.data(), bytes.size());
  if (!header) {
    problem = path + " is not a PNG, JPEG or BMP image";
    return std::nullopt;
  }
  return ImportedImage{*header, std::move(bytes)};
}

}  // namespace qx_tool
