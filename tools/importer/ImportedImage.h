#pragma once
// The encoded bytes of a texture file, with the format its first bytes
// announce.
#include <optional>
#include <string>

#include "scene/Enums.h"
#include "scene/Types.h"

namespace qx_tool {

struct ImportedImage {
  KZV::Image::Format format;
  KZV::ByteArray bytes;
};

// PNG, JPEG or BMP by the file's signature; nothing for other data.
std::optional<KZV::Image::Format> SniffImageFormat(uint8_t const* bytes, size_t size);

// Reads a texture file; an error text in `problem` when it can't be used.
std::optional<ImportedImage> ReadImageFile(std::string const& path, std::string& problem);

}  // namespace qx_tool
