#include "geometry/image/PngFallback.h"

#include <png.h>

#include <csetjmp>
#include <cstdlib>
#include <cstring>

namespace QX::Store::detail {
namespace {

constexpr size_t kSignatureBytes = 8;
// libpng's own guard against absurd sides: the largest the format allows.
// The memory limit below is the one that counts.
constexpr uint32_t kMaxSide = PNG_UINT_31_MAX;

// Serves the bytes behind the signature and refuses to read past their end.
struct MemorySource {
  uint8_t const* bytes = nullptr;
  size_t size = 0;
  size_t position = kSignatureBytes;
  bool ran_out = false;
};

void ReadFromMemory(png_structp png, png_bytep out, size_t count) {
  auto* source = static_cast<MemorySource*>(png_get_io_ptr(png));
  if (source->position > source->size || count > source->size - source->position) {
    source->ran_out = true;
    png_error(png, "read past the end of the data");
  }
  std::memcpy(out, source->bytes + source->position, count);
  source->position += count;
}

[[noreturn]] void OnError(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void OnWarning(png_structp, png_const_charp) {}

// One libpng read over bytes in memory. The functions that call setjmp keep
// nothing with a destructor in their frames and keep their allocations in
// members, so that an error's longjmp loses nothing.
class PngReader {
 public:
  PngReader(uint8_t const* bytes, size_t size) {
    source_.bytes = bytes;
    source_.size = size;
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, OnError, OnWarning);
    if (png_ == nullptr) return;
    info_ = png_create_info_struct(png_);
    png_set_read_fn(png_, &source_, ReadFromMemory);
    png_set_sig_bytes(png_, kSignatureBytes);
    png_set_user_limits(png_, kMaxSide, kMaxSide);
  }
  ~PngReader() {
    png_destroy_read_struct(&png_, info_ != nullptr ? &info_ : nullptr, nullptr);
    std::free(samples_);
    std::free(pixels_);
  }
  PngReader(PngReader const&) = delete;
  PngReader& operator=(PngReader const&) = delete;

  bool ReadHeader() {
    if (info_ == nullptr) return false;
    if (setjmp(png_jmpbuf(png_))) return false;
    png_read_info(png_, info_);
    return !source_.ran_out;
  }

  // On success the reader gives up its pixel buffer to `out`.
  bool Decode(DecodedImage& out) {
    if (info_ == nullptr) return false;
    if (setjmp(png_jmpbuf(png_))) return false;
    png_read_info(png_, info_);
    width_ = png_get_image_width(png_, info_);
    height_ = png_get_image_height(png_, info_);
    if (!PlausibleForFileSize(width_, height_, source_.size)) return false;
    if (!FitsDecodeMemory(width_, height_)) {
      out.width = width_, out.height = height_, out.too_large = true;
      return false;
    }
    if (!PrepareRows()) return false;
    ReadRows();
    if (!ToRgba()) return false;
    out.pixels = pixels_;
    out.width = width_;
    out.height = height_;
    out.channels = 4;
    out.decoder = ImageDecoder::PngFallback;
    pixels_ = nullptr;
    return true;
  }

 private:
  // Sets the transforms that bring every sample to 8 bits and allocates the
  // buffers. False for data that isn't accepted.
  bool PrepareRows() {
    color_type_ = png_get_color_type(png_, info_);
    // A palette belongs to palette images only.
    if (color_type_ != PNG_COLOR_TYPE_PALETTE && png_get_valid(png_, info_, PNG_INFO_PLTE)) {
      return false;
    }
    int const depth = png_get_bit_depth(png_, info_);
    if (depth == 16) png_set_strip_16(png_);
    if (depth < 8) {
      if (color_type_ == PNG_COLOR_TYPE_PALETTE) png_set_packing(png_);
      else png_set_expand_gray_1_2_4_to_8(png_);
    }
    passes_ = png_set_interlace_handling(png_);
    png_read_update_info(png_, info_);
    sample_channels_ = png_get_channels(png_, info_);
    row_bytes_ = png_get_rowbytes(png_, info_);
    if (row_bytes_ != size_t{width_} * sample_channels_) return false;
    pixels_ = static_cast<uint8_t*>(std::malloc(size_t{width_} * height_ * 4));
    if (pixels_ == nullptr) return false;
    if (sample_channels_ == 4) return true;  // RGBA rows go straight to the output
    samples_ = static_cast<uint8_t*>(std::calloc(height_, row_bytes_));
    return samples_ != nullptr;
  }

  // Each pass of interlaced data fills in its pixels over the earlier ones.
  void ReadRows() {
    uint8_t* const rows = samples_ != nullptr ? samples_ : pixels_;
    for (int pass = 0; pass < passes_; ++pass) {
      for (uint32_t y = 0; y < height_; ++y) png_read_row(png_, rows + y * row_bytes_, nullptr);
    }
  }

  bool ToRgba() {
    if (samples_ == nullptr) return true;
    size_t const count = size_t{width_} * height_;
    uint8_t* out = pixels_;
    uint8_t const* in = samples_;
    if (color_type_ == PNG_COLOR_TYPE_PALETTE) {
      png_colorp palette = nullptr;
      int entries = 0;
      if (png_get_PLTE(png_, info_, &palette, &entries) == 0) return false;
      for (size_t i = 0; i < count; ++i, out += 4) {
        if (in[i] >= entries) return false;
        png_color const& color = palette[in[i]];
        out[0] = color.red, out[1] = color.green, out[2] = color.blue, out[3] = 255;
      }
      return true;
    }
    for (size_t i = 0; i < count; ++i, out += 4, in += sample_channels_) {
      switch (sample_channels_) {
        case 1: out[0] = out[1] = out[2] = in[0], out[3] = 255; break;
        case 2: out[0] = out[1] = out[2] = in[0], out[3] = in[1]; break;
        default: out[0] = in[0], out[1] = in[1], out[2] = in[2], out[3] = 255; break;
      }
    }
    return true;
  }

  MemorySource source_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  uint32_t width_ = 0;
  uint32_t height_ = 0;
  int color_type_ = 0;
  int passes_ = 1;
  uint32_t sample_channels_ = 0;
  size_t row_bytes_ = 0;
  uint8_t* samples_ = nullptr;  // rows as decoded, when they aren't RGBA
  uint8_t* pixels_ = nullptr;   // the RGBA result
};

}  // namespace

bool PngHeaderReadable(uint8_t const* bytes, size_t size) {
  PngReader reader(bytes, size);
  return reader.ReadHeader();
}

bool DecodePngFallback(uint8_t const* bytes, size_t size, DecodedImage& out) {
  PngReader reader(bytes, size);
  return reader.Decode(out);
}

}  // namespace QX::Store::detail
