#pragma once
// Images built in code for the image tests, and access to the sample
// textures when they are present.
#include <lodepng.h>
#include <stb_image_write.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace QX::Store::test {

using Bytes = std::vector<uint8_t>;

// Pixels whose values differ from pixel to pixel and channel to channel.
inline Bytes Pattern(uint32_t width, uint32_t height, uint32_t channels, uint32_t seed = 1) {
  Bytes pixels(size_t{width} * height * channels);
  uint32_t state = seed * 2654435761u + 12345u;
  for (auto& value : pixels) {
    state = state * 1664525u + 1013904223u;
    value = static_cast<uint8_t>(state >> 24);
  }
  return pixels;
}

struct PngOptions {
  LodePNGColorType raw = LCT_RGBA;   // layout of the pixels handed in
  LodePNGColorType file = LCT_RGBA;  // color type written to the file
  unsigned depth = 8;                // bits per sample in the file
  bool interlaced = false;
  bool force_palette = false;        // a PLTE chunk even on non-palette types
  Bytes palette;                     // RGBA entries for palette files
};

// Options for a file of the pixels' own color type.
inline PngOptions Options(LodePNGColorType type, unsigned depth = 8, bool interlaced = false) {
  PngOptions options;
  options.raw = options.file = type;
  options.depth = depth;
  options.interlaced = interlaced;
  return options;
}

// A PNG with exactly the asked color type, depth and interlacing.
inline Bytes MakePng(Bytes const& pixels, uint32_t width, uint32_t height, PngOptions const& o = {}) {
  LodePNGState state;
  lodepng_state_init(&state);
  state.info_raw.colortype = o.raw;
  state.info_raw.bitdepth = 8;
  state.encoder.auto_convert = 0;
  state.encoder.force_palette = o.force_palette ? 1 : 0;
  state.info_png.color.colortype = o.file;
  state.info_png.color.bitdepth = o.depth;
  state.info_png.interlace_method = o.interlaced ? 1 : 0;
  for (size_t i = 0; i + 3 < o.palette.size(); i += 4) {
    lodepng_palette_add(&state.info_png.color, o.palette[i], o.palette[i + 1], o.palette[i + 2],
                        o.palette[i + 3]);
  }
  unsigned char* png = nullptr;
  size_t size = 0;
  unsigned const error = lodepng_encode(&png, &size, pixels.data(), width, height, &state);
  Bytes out;
  if (error == 0) out.assign(png, png + size);
  std::free(png);
  lodepng_state_cleanup(&state);
  return out;
}

// The same file with its signature spoiled, so that only a reader that skips
// the signature can take it.
inline Bytes DamageSignature(Bytes png) {
  png[1] = 'Q';
  return png;
}

inline void PutU32BE(Bytes& out, size_t at, uint32_t value) {
  for (int i = 0; i < 4; ++i) out[at + i] = uint8_t(value >> (24 - 8 * i));
}

// Appends a PNG chunk with its length and CRC.
inline void AppendChunk(Bytes& out, char const* type, Bytes const& data) {
  size_t const at = out.size();
  out.resize(at + 12 + data.size());
  PutU32BE(out, at, uint32_t(data.size()));
  std::copy(type, type + 4, out.begin() + long(at) + 4);
  std::copy(data.begin(), data.end(), out.begin() + long(at) + 8);
  PutU32BE(out, at + 8 + data.size(), uint32_t(crc32(0, out.data() + at + 4, uInt(4 + data.size()))));
}

// Sets the declared size in a PNG's IHDR and fixes the chunk's CRC.
inline Bytes WithDeclaredSize(Bytes png, uint32_t width, uint32_t height) {
  PutU32BE(png, 16, width);
  PutU32BE(png, 20, height);
  PutU32BE(png, 29, static_cast<uint32_t>(crc32(0, png.data() + 12, 17)));
  return png;
}

// The same file with a private chunk of `bytes` zero bytes before its end,
// which readers skip: a file large enough for what its header declares.
inline Bytes WithPadding(Bytes png, size_t bytes) {
  png.resize(png.size() - 12);  // IEND
  AppendChunk(png, "prVt", Bytes(bytes));
  AppendChunk(png, "IEND", {});
  return png;
}

// A 24-bit uncompressed BMP.
inline Bytes MakeBmp(uint32_t width, uint32_t height) {
  uint32_t const row = (width * 3 + 3) & ~3u;
  Bytes out(54 + size_t{row} * height);
  auto put = [&](size_t at, uint32_t value) {
    for (int i = 0; i < 4; ++i) out[at + i] = uint8_t(value >> (8 * i));
  };
  out[0] = 'B', out[1] = 'M';
  put(2, uint32_t(out.size()));
  put(10, 54);  // pixel data offset
  put(14, 40);  // info header size
  put(18, width);
  put(22, height);
  put(26, 1 | 24 << 16);  // one plane, 24 bits
  put(34, row * height);
  return out;
}

// A JPEG of the given pixels at quality 90; the test that calls it defines
// STB_IMAGE_WRITE_IMPLEMENTATION.
inline Bytes Jpeg(Bytes const& pixels, uint32_t width, uint32_t height) {
  Bytes out;
  stbi_write_jpg_to_func(
      [](void* context, void* data, int size) {
        auto* bytes = static_cast<uint8_t*>(data);
        static_cast<Bytes*>(context)->insert(static_cast<Bytes*>(context)->end(), bytes, bytes + size);
      },
      &out, int(width), int(height), 3, pixels.data(), 90);
  return out;
}

// A sample texture's bytes, empty when the samples aren't present.
inline Bytes SampleTexture(char const* relative) {
  std::ifstream in(std::filesystem::path(QX_SHARED_DIR) / "models" / relative, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), {});
}

}  // namespace QX::Store::test
