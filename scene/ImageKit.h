#pragma once
// Pixels of an image, or the bytes of an image file, with their format.
#include <optional>

#include "scene/Enums.h"
#include "scene/Object.h"
#include "scene/TypeCodes.h"
#include "scene/Types.h"

namespace KZV {

class ImageKit : public Object {
 public:
  uint32_t Type() const override { return TypeCode::Kit; }
  bool Empty() const override { return !format_ && !size_ && !data_; }

  ImageKit& SetFormat(Image::Format f) { format_ = f; return *this; }
  ImageKit& SetSize(uint32_t width, uint32_t height);
  ImageKit& SetData(ByteArray const& bytes) { data_ = bytes; return *this; }

  bool ShowFormat(Image::Format& out) const;
  bool ShowSize(uint32_t& width, uint32_t& height) const;
  bool ShowData(ByteArray& out) const;

  // Converts raw pixels from one raw format to another. Throws
  // InvalidOperationException for file images and for data that doesn't
  // fit the size.
  ImageKit& Convert(Image::Format target);

 private:
  struct Size {
    uint32_t width, height;
  };
  std::optional<Image::Format> format_;
  std::optional<Size> size_;
  std::optional<ByteArray> data_;
};

}  // namespace KZV
