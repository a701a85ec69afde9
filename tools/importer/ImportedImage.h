#pragma once
// The encoded bytes of a texture file, with the format its first bytes
// announce.
#include <optional>
#include <string>

#include "scene/Enums.h"
#include "scene/Types.h"

namespace qx_tool {

struct ImageHeader {
  KZV::Image::Format format;
  uint32_t width, height;
};

struct ImportedImage {
  ImageHeader header;
  KZV::ByteArray bytes;
};

// The format and size of PNG, JPEG or BMP data, read from its header;
// nothing for other or damaged data.
std::optional<ImageHeader> ReadImageHeader(uint8_t const* bytes, size_t size);

// Reads a texture file; an error text in `problem` when it can't be used.
std::optional<ImportedImage> ReadImageFile(std::string const& path, std::string& problem);

}  // namespace qx_tool
