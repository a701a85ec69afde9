#include "store/DataBlocks.h"

#include <algorithm>
#include <limits>

#include "store/ImageRecord.h"
#include "files/ByteOrder.h"

namespace QX::Store {

std::vector<uint8_t> EncodeImageHead(uint32_t width, uint32_t height, uint32_t format) {
  std::vector<uint8_t> head;
  ByteWriter out(head);
  out.U32(width);
  out.U32(height);
  out.U32(format);
  return head;
}

void DecodeImageHead(uint8_t const* head, ImagePixels& out) {
  out.width = GetU32(head);
  out.height = GetU32(head + 4);
  out.format = GetU32(head + 8);
}

uint32_t ImageByteCount(uint32_t width, uint32_t height, uint32_t format) {
  return width * height * ImageBytesPerPixel(format);
}

bool ImageFitsRecord(uint32_t width, uint32_t height, uint32_t format) {
  uint64_t const bytes = uint64_t{width} * height * ImageBytesPerPixel(format);
  return bytes <= std::numeric_limits<uint32_t>::max();
}

namespace {

bool IncludedLess(IncludedKey a, IncludedKey b) {
  return a.include != b.include ? a.include < b.include : a.key < b.key;
}

void AppendReferences(ByteWriter& out, std::vector<IncludedKey> const& list) {
  out.U32(static_cast<uint32_t>(list.size()));
  for (IncludedKey const& ref : list) {
    out.U32(ref.include);
    out.U32(ref.key);
  }
}

}  // namespace

std::vector<uint8_t> EncodeGroupBlock(std::span<InstanceInc const> instances,
                                      std::span<GroupInc const> groups) {
  std::vector<IncludedKey> sorted(instances.begin(), instances.end());
  std::sort(sorted.begin(), sorted.end(), IncludedLess);
  sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
  std::vector<IncludedKey> ordered(groups.begin(), groups.end());
  ordered.erase(std::unique(ordered.begin(), ordered.end()), ordered.end());

  std::vector<uint8_t> block;
  block.reserve(GroupBlockSize(sorted.size(), ordered.size()));
  ByteWriter out(block);
  AppendReferences(out, sorted);
  AppendReferences(out, ordered);
  return block;
}

std::vector<uint32_t> GroupWordsFromBlock(std::span<uint8_t const> block) {
  std::vector<uint32_t> words(block.size() / 4 + 1);
  words[0] = static_cast<uint32_t>(block.size() / 4);
  for (size_t i = 1; i < words.size(); ++i) words[i] = GetU32(block.data() + 4 * (i - 1));
  return words;
}

}  // namespace QX::Store
