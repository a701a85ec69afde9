#include "tools/importer/ImportedImage.h"

#include <cstring>
#include <fstream>
#include <iterator>

namespace qx_tool {

std::optional<KZV::Image::Format> SniffImageFormat(uint8_t const* bytes, size_t size) {
  static constexpr uint8_t kPng[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
  if (size >= sizeof kPng && std::memcmp(bytes, kPng, sizeof kPng) == 0) return KZV::Image::Format::Png;
  if (size >= 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF) return KZV::Image::Format::Jpeg;
  if (size >= 2 && bytes[0] == 'B' && bytes[1] == 'M') return KZV::Image::Format::Bmp;
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
  auto const format = SniffImageFormat(bytes.data(), bytes.size());
  if (!format) {
    problem = path + " is not a PNG, JPEG or BMP image";
    return std::nullopt;
  }
  return ImportedImage{*format, std::move(bytes)};
}

}  // namespace qx_tool
