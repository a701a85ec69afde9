#include <stb_image_resize.h>

#include <climits>

#include "geometry/image/ImageCodec.h"

namespace QX::Store {
namespace {

bool FitsInt(uint32_t value) { return value > 0 && value <= INT_MAX; }

// The alpha channel of gray-alpha and RGBA pixels; other layouts have none,
// and the index only matters to the resizer when alpha weighting is on.
int AlphaIndex(uint32_t channels) {
  if (channels == 2) return 1;
  if (channels == 4) return 3;
  return 0;
}

}  // namespace

// Mitchell filter, clamped edges, values taken as linear. Alpha counts as
// premultiplied so that the resizer doesn't weight colors by it: the pixels
// scale as they are.
bool ResizeImage(uint8_t const* pixels, uint32_t width, uint32_t height, uint8_t* out,
                 uint32_t new_width, uint32_t new_height, uint32_t channels) {
  if (channels < 1 || channels > 4) return false;
  if (!FitsInt(width) || !FitsInt(height) || !FitsInt(new_width) || !FitsInt(new_height)) {
    return false;
  }
  if (uint64_t{width} * channels > INT_MAX || uint64_t{new_width} * channels > INT_MAX) {
    return false;
  }
  int const c = static_cast<int>(channels);
  return stbir_resize_uint8_generic(
             pixels, int(width), int(height), int(width) * c, out, int(new_width),
             int(new_height), int(new_width) * c, c, AlphaIndex(channels),
             STBIR_FLAG_ALPHA_PREMULTIPLIED, STBIR_EDGE_CLAMP, STBIR_FILTER_MITCHELL,
             STBIR_COLORSPACE_LINEAR, nullptr) == 1;
}

}  // namespace QX::Store
