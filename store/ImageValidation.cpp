#include "store/ImageValidation.h"

#include "geometry/image/ImageCodec.h"

namespace QX::Store {

// The decoders that the stream uses must recognise the file's header: JPEG,
// PNG or BMP, and for a PNG file also what libpng alone can read.
bool ValidateEncodedImage(uint32_t size, void const* bytes, uint32_t code, std::string& reason) {
  if (!bytes || size == 0) {
    reason = "unknown image type";
    return false;
  }
  return ValidateImage(size, bytes, code, reason);
}

}  // namespace QX::Store
