#pragma once
// libpng as a second chance for PNG data that the main decoder refuses. Both
// readers skip the 8-byte signature, so a file whose signature is damaged
// but whose chunks are sound is still read.
#include <cstddef>
#include <cstdint>

#include "geometry/image/ImageCodec.h"

namespace QX::Store::detail {

// True if libpng reads every chunk up to the image data without an error
// and without running out of bytes.
bool PngHeaderReadable(uint8_t const* bytes, size_t size);

// Decodes to 4 channels of 8 bits. Palette entries and RGB get alpha 255,
// gray is spread over R, G and B; data of 1, 2, 4 or 16 bits per sample is
// brought to 8 bits and interlaced data is put together from its passes.
// A transparency chunk is ignored. The pixels are freed with std::free.
bool DecodePngFallback(uint8_t const* bytes, size_t size, DecodedImage& out);

}  // namespace QX::Store::detail
