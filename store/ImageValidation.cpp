#include "store/ImageValidation.h"

#include <climits>

#include <stb_image.h>

namespace QX::Store {

// Header recognition only: the decoders themselves are compiled with the
// image processing code, which this library links.
bool ValidateEncodedImage(uint32_t size, void const* bytes, uint32_t, std::string& reason) {
  if (!bytes || size == 0) {
    reason = "unknown image type";
    return false;
  }
  if (size > INT_MAX) {
    reason = "image file too large";
    return false;
  }
  int width = 0, height = 0, channels = 0;
  if (stbi_info_from_memory(static_cast<stbi_uc const*>(bytes), static_cast<int>(size), &width,
                            &height, &channels)) {
    return true;
  }
  char const* why = stbi_failure_reason();
  reason = why ? why : "unknown image type";
  return false;
}

}  // namespace QX::Store
