// Validation and decoding of file images: stb_image first, libpng as the
// second chance for PNG data.
#include <stb_image.h>

#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "geometry/image/ImageCodec.h"
#include "geometry/image/JpegCheck.h"
#include "geometry/image/PngFallback.h"

namespace QX::Store {
namespace {

constexpr uint32_t kPngFileCode = 5;

char const* FailureReason() {
  char const* reason = stbi_failure_reason();
  return reason != nullptr ? reason : "unknown image type";
}

// stb_image takes lengths as int.
bool FitsDecoder(uint32_t size, std::string& reason) {
  if (size <= INT_MAX) return true;
  reason = "image too large";
  return false;
}

// stb_image sees JPEG data only once its segments have been found sound.
bool SafeForStb(uint32_t size, uint8_t const* bytes, std::string& reason) {
  if (!detail::LooksLikeJpeg(bytes, size) || detail::JpegWellFormed(bytes, size)) return true;
  reason = "malformed JPEG segments";
  return false;
}

// Decodes with stb_image after checking the declared size against the
// memory limit. stb_image itself holds no more than 2^31 bytes of pixels.
bool DecodeWithStb(uint32_t size, uint8_t const* bytes, DecodedImage& out, std::string& reason) {
  int width = 0, height = 0, channels = 0;
  int const length = static_cast<int>(size);
  if (!SafeForStb(size, bytes, reason)) return false;
  if (!stbi_info_from_memory(bytes, length, &width, &height, &channels)) {
    reason = FailureReason();
    return false;
  }
  uint64_t const w = uint64_t(width), h = uint64_t(height);
  bool const jpeg_short = detail::LooksLikeJpeg(bytes, size) && !detail::JpegCanHold(w, h, size);
  if (!PlausibleForFileSize(w, h, size) || jpeg_short) {
    reason = "image data too short for its size";
    return false;
  }
  uint64_t const pixel_bytes = uint64_t(width) * uint64_t(height) * uint64_t(channels);
  if (!FitsDecodeMemory(uint64_t(width), uint64_t(height)) || pixel_bytes > INT_MAX) {
    reason = "image too large";
    out.width = uint32_t(width), out.height = uint32_t(height), out.too_large = true;
    return false;
  }
  uint8_t* pixels = stbi_load_from_memory(bytes, length, &width, &height, &channels, 0);
  if (pixels == nullptr) {
    reason = FailureReason();
    return false;
  }
  out = {pixels, uint32_t(width), uint32_t(height), uint32_t(channels), ImageDecoder::Stb};
  return true;
}

}  // namespace

uint64_t DecodeMemoryLimit() {
  static uint64_t const limit = [] {
    long const pages = sysconf(_SC_PHYS_PAGES), page_size = sysconf(_SC_PAGESIZE);
    return pages > 0 && page_size > 0 ? uint64_t(pages) * uint64_t(page_size) / 2 : uint64_t{1} << 30;
  }();
  return limit;
}

bool FitsDecodeMemory(uint64_t width, uint64_t height) {
  constexpr uint64_t kMaxSide = uint64_t{1} << 31;
  return width < kMaxSide && height < kMaxSide && width * height <= DecodeMemoryLimit() / 8;
}

bool PlausibleForFileSize(uint64_t width, uint64_t height, uint64_t size) {
  constexpr uint64_t kMaxPixelsPerByte = 8 * 1032;
  return width * height <= (size + 1024) * kMaxPixelsPerByte;
}

bool ValidateImage(uint32_t size, void const* bytes, uint32_t code, std::string& reason) {
  if (!FitsDecoder(size, reason)) return false;
  auto const* data = static_cast<uint8_t const*>(bytes);
  if (!SafeForStb(size, data, reason)) return false;
  int width = 0, height = 0, channels = 0;
  if (stbi_info_from_memory(data, static_cast<int>(size), &width, &height, &channels)) return true;
  reason = FailureReason();
  return code == kPngFileCode && detail::PngHeaderReadable(data, size);
}

bool DecodeImage(uint32_t size, void const* bytes, uint32_t code, DecodedImage& out,
                 std::string& reason) {
  out = {};
  if (!FitsDecoder(size, reason)) return false;
  auto const* data = static_cast<uint8_t const*>(bytes);
  if (DecodeWithStb(size, data, out, reason)) return true;
  // stb_image refuses PNG data of more than 2^30 bytes; libpng reads it
  // where the memory allows.
  if (code != kPngFileCode) return false;
  out = {};
  return detail::DecodePngFallback(data, size, out);
}

void FreeDecodedImage(DecodedImage& image) {
  if (image.decoder == ImageDecoder::Stb) stbi_image_free(image.pixels);
  else std::free(image.pixels);
  image = {};
}

}  // namespace QX::Store
