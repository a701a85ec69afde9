#pragma once
// Byte layouts of the blocks in _images.qxi and _data.qxi. Neither file has
// a head of its own; tables in the digest say where each block lies.
#include <cstdint>
#include <span>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

struct ImagePixels;

// An image record: width, height and format code, then the pixel bytes (or,
// for file images, the file's bytes with its size as width and 1 as height).
inline constexpr uint32_t kImageHeadSize = 12;

std::vector<uint8_t> EncodeImageHead(uint32_t width, uint32_t height, uint32_t format);
// Fills width, height and format of `out`.
void DecodeImageHead(uint8_t const* head, ImagePixels& out);
// Bytes behind the head, computed in 32 bits as the file format fixes it.
uint32_t ImageByteCount(uint32_t width, uint32_t height, uint32_t format);
// True if the pixel bytes of such an image can be stored at all (below 4 GiB).
bool ImageFitsRecord(uint32_t width, uint32_t height, uint32_t format);

// A group block: the instance references, then the group references, each
// list behind its count. Instances are sorted and unique; groups keep their
// order and lose only repeats that stand next to each other.
std::vector<uint8_t> EncodeGroupBlock(std::span<InstanceInc const> instances,
                                      std::span<GroupInc const> groups);

inline uint32_t GroupBlockSize(uint64_t instance_count, uint64_t group_count) {
  return static_cast<uint32_t>(8 + 8 * (instance_count + group_count));
}

// A loaded group: the block's word count, then its words in host order.
std::vector<uint32_t> GroupWordsFromBlock(std::span<uint8_t const> block);

}  // namespace QX::Store
