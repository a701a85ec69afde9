// File images as users' 3D files bring them: the first byte chooses the
// claimed code (4 unchanged, 5 PNG, 6 JPEG), the rest is the file.
#include <cstdint>
#include <string>

#include "geometry/image/ImageCodec.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  using namespace QX::Store;
  if (size < 1) return 0;
  uint32_t const code = 4 + data[0] % 3;
  uint8_t const* const bytes = data + 1;
  uint32_t const length = uint32_t(size - 1);
  std::string reason;
  ValidateImage(length, bytes, code, reason);
  DecodedImage image;
  if (DecodeImage(length, bytes, code, image, reason)) FreeDecodedImage(image);
  return 0;
}
