#pragma once
// Checking, decoding, scaling and PNG writing of images. The bytes of a file
// image come from users' files and are hostile: every function here fails
// cleanly on bad data, without reading outside it and without allocating
// more than the decoded-size limit allows.
#include <cstdint>
#include <string>
#include <vector>

namespace QX::Store {

// Bytes that the decoding of one image may take: half of the machine's
// memory. A file image decodes whatever its size if the machine can hold
// it; one that declares more is refused before any pixel buffer is
// allocated, so that a small hostile file can't ask for more either.
uint64_t DecodeMemoryLimit();

// True if an image of this size fits the limit at 8 bytes a pixel, the
// most that a decoder holds of one pixel (16-bit RGBA rows).
bool FitsDecodeMemory(uint64_t width, uint64_t height);

// True if a file of `size` bytes can hold an image of this size: no format
// read here packs more than 8 pixels in a byte (1-bit PNG rows) nor
// deflates more than 1032 bytes out of one. A header that declares more
// belongs to damaged or hostile data, which is refused before anything is
// allocated for it.
bool PlausibleForFileSize(uint64_t width, uint64_t height, uint64_t size);

// Which decoder made a pixel buffer, so that it goes back to the matching free.
enum class ImageDecoder : uint32_t { Stb = 0, PngFallback = 1 };

struct DecodedImage {
  uint8_t* pixels = nullptr;  // rows top to bottom, no row padding
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t channels = 0;
  ImageDecoder decoder = ImageDecoder::Stb;
  // Set by a failed decode of a readable header whose size is more than
  // the decoder can hold; width and height are then the declared ones.
  bool too_large = false;
};

// True if the bytes are a JPEG, PNG or BMP file whose header can be read,
// whatever `code` claims. For code 5 (PNG file) a PNG whose signature is
// damaged passes if libpng can read its header.
bool ValidateImage(uint32_t size, void const* bytes, uint32_t code, std::string& reason);

// Decodes with the file's own channel count. For code 5 a PNG that the main
// decoder refuses gets a second chance, which always gives 4 channels.
// Pixels of a successful decode must go back through FreeDecodedImage.
bool DecodeImage(uint32_t size, void const* bytes, uint32_t code, DecodedImage& out,
                 std::string& reason);
void FreeDecodedImage(DecodedImage& image);

// Scales 8-bit pixels with 1 to 4 channels into `out`, which holds
// new_width x new_height x channels bytes.
bool ResizeImage(uint8_t const* pixels, uint32_t width, uint32_t height, uint8_t* out,
                 uint32_t new_width, uint32_t new_height, uint32_t channels);

// Writes 8-bit pixels with 1 (gray), 2 (gray, alpha), 3 (RGB) or 4 (RGBA)
// channels as a PNG file into `out`, replacing its contents.
bool EncodePng(uint8_t const* pixels, uint32_t width, uint32_t height, uint32_t channels,
               std::vector<uint8_t>& out);

}  // namespace QX::Store
