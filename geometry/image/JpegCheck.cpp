#include "geometry/image/JpegCheck.h"

namespace QX::Store::detail {
namespace {

constexpr uint8_t kMarker = 0xFF;
constexpr uint8_t kStartOfImage = 0xD8;
constexpr uint8_t kEndOfImage = 0xD9;
constexpr uint8_t kStartOfScan = 0xDA;
constexpr uint8_t kHuffmanTables = 0xC4;
constexpr size_t kMaxHuffmanCodes = 256;

// Markers that stand alone, without a length: start of image, restarts, TEM.
bool StandsAlone(uint8_t marker) {
  return marker == kStartOfImage || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7);
}

// One table: class and slot, 16 counts of codes by length, then the values.
// Returns its size, or 0 if it doesn't fit the segment or its counts can't
// make a prefix code.
size_t HuffmanTableSize(uint8_t const* table, size_t left) {
  if (left < 17 || (table[0] >> 4) > 1 || (table[0] & 15) > 3) return 0;
  size_t codes = 0;
  uint64_t next_code = 0;  // first free code of the present length
  for (int length = 1; length <= 16; ++length) {
    uint8_t const count = table[length];
    codes += count;
    next_code += count;
    if (next_code > (uint64_t{1} << length)) return 0;
    next_code <<= 1;
  }
  if (codes > kMaxHuffmanCodes || codes > left - 17) return 0;
  return 17 + codes;
}

bool HuffmanTablesWellFormed(uint8_t const* segment, size_t size) {
  while (size > 0) {
    size_t const used = HuffmanTableSize(segment, size);
    if (used == 0) return false;
    segment += used;
    size -= used;
  }
  return true;
}

// The position of the marker that ends the entropy-coded data from `at`:
// a 0xFF that is neither a stuffed zero nor a restart marker.
size_t EndOfScan(uint8_t const* data, size_t size, size_t at) {
  for (; at + 1 < size; ++at) {
    if (data[at] != kMarker) continue;
    uint8_t const next = data[at + 1];
    if (next != 0 && next != kMarker && !(next >= 0xD0 && next <= 0xD7)) return at;
  }
  return size;
}

}  // namespace

bool LooksLikeJpeg(uint8_t const* data, size_t size) {
  return size >= 2 && data[0] == kMarker && data[1] == kStartOfImage;
}

bool JpegWellFormed(uint8_t const* data, size_t size) {
  if (!LooksLikeJpeg(data, size)) return false;
  size_t at = 2;
  // A file cut short after a whole segment is left to the decoder, which
  // copes with missing scan data.
  while (at < size) {
    if (data[at] != kMarker) return false;
    while (at < size && data[at] == kMarker) ++at;  // fill bytes
    if (at == size) return true;
    uint8_t const marker = data[at++];
    if (marker == kEndOfImage) return true;
    if (StandsAlone(marker)) continue;
    if (marker == 0 || size - at < 2) return false;
    size_t const length = size_t(data[at]) << 8 | data[at + 1];
    if (length < 2 || length > size - at) return false;
    if (marker == kHuffmanTables && !HuffmanTablesWellFormed(data + at + 2, length - 2))
      return false;
    at += length;
    if (marker == kStartOfScan) at = EndOfScan(data, size, at);
  }
  return true;
}

}  // namespace QX::Store::detail
