#pragma once
// The image block of _stream_images.qxd, tag 69: u32 69, key, format code of
// the data, format code of the pixels (bit 31 marks a preview), width,
// height, N, then N bytes of data and zeros up to a multiple of 4.
#include <cstdint>
#include <span>
#include <vector>

namespace QX::Store {

inline constexpr uint32_t kImageBlockTag = 69;
inline constexpr uint32_t kImageBlockHeadSize = 28;
inline constexpr uint32_t kPreviewFlag = 0x80000000u;

struct ImageBlockHead {
  uint32_t key = 0;
  uint32_t data_format = 0;
  uint32_t pixel_format = 0;
  uint32_t width = 0;
  uint32_t height = 0;
};

// Replaces `out` with the block.
void EncodeImageBlock(ImageBlockHead const& head, std::span<uint8_t const> data,
                      std::vector<uint8_t>& out);

}  // namespace QX::Store
