// Validation and decoding of file images: stb_image first, libpng as the
// second chance for PNG data.
#include <stb_image.h>

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

// Decodes with stb_image after checking the declared size against the limit.
bool DecodeWithStb(uint32_t size, uint8_t const* bytes, DecodedImage& out, std::string& reason) {
  int width = 0, height = 0, channels = 0;
  int const length = static_cast<int>(size);
  if (!SafeForStb(size, bytes, reason)) return false;
  if (!stbi_info_from_memory(bytes, length, &width, &height, &channels)) {
    reason = FailureReason();
    return false;
  }
  if (uint64_t(width) * uint64_t(height) > kMaxDecodedPixels) {
    reason = "image too large";
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
  return code == kPngFileCode && detail::DecodePngFallback(data, size, out);
}

void FreeDecodedImage(DecodedImage& image) {
  if (image.decoder == ImageDecoder::Stb) stbi_image_free(image.pixels);
  else std::free(image.pixels);
  image = {};
}

}  // namespace QX::Store
