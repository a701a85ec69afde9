#include <lodepng.h>

#include <cstdlib>

#include "geometry/image/ImageCodec.h"

namespace QX::Store {
namespace {

bool ColorTypeOf(uint32_t channels, LodePNGColorType& type) {
  switch (channels) {
    case 1: type = LCT_GREY; return true;
    case 2: type = LCT_GREY_ALPHA; return true;
    case 3: type = LCT_RGB; return true;
    case 4: type = LCT_RGBA; return true;
    default: return false;
  }
}

// Stream images are written once and sent often, so the encoder trades time
// for size: the full deflate window, long matches, lazy matching and the
// entropy choice of row filters. The color type is chosen by content.
void SetStreamSettings(LodePNGState& state) {
  LodePNGCompressSettings& zlib = state.encoder.zlibsettings;
  zlib.btype = 2;
  zlib.use_lz77 = 1;
  zlib.windowsize = 32768;
  zlib.minmatch = 6;
  zlib.nicematch = 258;
  zlib.lazymatching = 1;
  state.encoder.auto_convert = 1;
  state.encoder.filter_palette_zero = 1;
  state.encoder.filter_strategy = LFS_ENTROPY;
  state.encoder.add_id = 0;
}

}  // namespace

bool EncodePng(uint8_t const* pixels, uint32_t width, uint32_t height, uint32_t channels,
               std::vector<uint8_t>& out) {
  out.clear();
  LodePNGColorType type;
  if (!ColorTypeOf(channels, type)) return false;
  LodePNGState state;
  lodepng_state_init(&state);
  SetStreamSettings(state);
  state.info_raw.colortype = type;
  state.info_raw.bitdepth = 8;
  unsigned char* png = nullptr;
  size_t size = 0;
  unsigned const error = lodepng_encode(&png, &size, pixels, width, height, &state);
  if (error == 0) out.assign(png, png + size);
  std::free(png);
  lodepng_state_cleanup(&state);
  return error == 0;
}

}  // namespace QX::Store
