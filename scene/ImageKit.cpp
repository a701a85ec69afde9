#include "scene/ImageKit.h"

#include <array>

#include "export/value_types/Exceptions.h"
#include "scene/KitSetting.h"

namespace KZV {
namespace {

using Pixel = std::array<uint8_t, 4>;  // r, g, b, a

// Bytes a pixel of a raw format; 0 for the file formats.
size_t BytesPerPixel(Image::Format f) {
  switch (f) {
    case Image::Format::RGB:
    case Image::Format::BGR:
      return 3;
    case Image::Format::RGBA:
    case Image::Format::ARGB:
    case Image::Format::BGRA:
      return 4;
    case Image::Format::Grayscale:
      return 1;
    case Image::Format::GrayAlpha:
      return 2;
    default:
      return 0;
  }
}

Pixel Read(Image::Format f, uint8_t const* p) {
  switch (f) {
    case Image::Format::RGB: return {p[0], p[1], p[2], 255};
    case Image::Format::BGR: return {p[2], p[1], p[0], 255};
    case Image::Format::RGBA: return {p[0], p[1], p[2], p[3]};
    case Image::Format::ARGB: return {p[1], p[2], p[3], p[0]};
    case Image::Format::BGRA: return {p[2], p[1], p[0], p[3]};
    case Image::Format::Grayscale: return {p[0], p[0], p[0], 255};
    default: return {p[0], p[0], p[0], p[1]};  // GrayAlpha
  }
}

uint8_t Gray(Pixel const& px) { return uint8_t((px[0] * 77 + px[1] * 150 + px[2] * 29 + 128) >> 8); }

void Write(Image::Format f, Pixel const& px, uint8_t* p) {
  switch (f) {
    case Image::Format::RGB: p[0] = px[0]; p[1] = px[1]; p[2] = px[2]; break;
    case Image::Format::BGR: p[0] = px[2]; p[1] = px[1]; p[2] = px[0]; break;
    case Image::Format::RGBA: p[0] = px[0]; p[1] = px[1]; p[2] = px[2]; p[3] = px[3]; break;
    case Image::Format::ARGB: p[0] = px[3]; p[1] = px[0]; p[2] = px[1]; p[3] = px[2]; break;
    case Image::Format::BGRA: p[0] = px[2]; p[1] = px[1]; p[2] = px[0]; p[3] = px[3]; break;
    case Image::Format::Grayscale: p[0] = Gray(px); break;
    default: p[0] = Gray(px); p[1] = px[3]; break;  // GrayAlpha
  }
}

}  // namespace

ImageKit& ImageKit::SetSize(uint32_t width, uint32_t height) {
  size_ = Size{width, height};
  return *this;
}

bool ImageKit::ShowFormat(Image::Format& out) const { return detail::ShowSetting(format_, out); }

bool ImageKit::ShowSize(uint32_t& width, uint32_t& height) const {
  if (!size_) return false;
  width = size_->width;
  height = size_->height;
  return true;
}

bool ImageKit::ShowData(ByteArray& out) const { return detail::ShowSetting(data_, out); }

ImageKit& ImageKit::Convert(Image::Format target) {
  if (!format_ || !size_ || !data_) throw InvalidOperationException("The image to convert is incomplete.");
  size_t const from_bytes = BytesPerPixel(*format_);
  size_t const to_bytes = BytesPerPixel(target);
  if (from_bytes == 0 || to_bytes == 0)
    throw InvalidOperationException("Only raw pixels can be converted between formats.");
  size_t const pixels = size_t(size_->width) * size_->height;
  if (data_->size() < pixels * from_bytes)
    throw InvalidOperationException("The image holds fewer bytes than its size needs.");
  ByteArray out(pixels * to_bytes);
  for (size_t i = 0; i < pixels; ++i) Write(target, Read(*format_, data_->data() + i * from_bytes), &out[i * to_bytes]);
  data_ = std::move(out);
  format_ = target;
  return *this;
}

}  // namespace KZV
