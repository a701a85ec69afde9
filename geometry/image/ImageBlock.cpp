#include "geometry/image/ImageBlock.h"

namespace QX::Store {
namespace {

void AppendU32(std::vector<uint8_t>& out, uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) out.push_back(uint8_t(value >> shift));
}

}  // namespace

void EncodeImageBlock(ImageBlockHead const& head, std::span<uint8_t const> data,
                      std::vector<uint8_t>& out) {
  out.clear();
  AppendU32(out, kImageBlockTag);
  AppendU32(out, head.key);
  AppendU32(out, head.data_format);
  AppendU32(out, head.pixel_format);
  AppendU32(out, head.width);
  AppendU32(out, head.height);
  AppendU32(out, static_cast<uint32_t>(data.size()));
  out.insert(out.end(), data.begin(), data.end());
  out.resize((out.size() + 3) & ~size_t{3}, 0);
}

}  // namespace QX::Store
