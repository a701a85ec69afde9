#include "geometry/image/JpegCheck.h"

namespace QX::Store::detail {
namespace {

constexpr uint8_t kMarker = 0xFF;
constexpr uint8_t kStartOfImage = 0xD8;
constexpr uint8_t kEndOfImage = 0xD9;
constexpr uint8_t kStartOfScan = 0xDA;
constexpr uint8_t kHuffmanTables = 0xC4;
constexpr size_t kMaxHuffmanCodes = 256;

// The Huffman table slots defined so far: bit (class * 4 + slot), class 0
// for DC tables, 1 for AC tables.
using TableSlots = uint8_t;

bool HasTable(TableSlots defined, unsigned table_class, unsigned slot) {
  return (defined >> (table_class * 4 + slot)) & 1;
}

// Progressive frames (start-of-frame markers 0xC2, 0xC6, 0xCA, 0xCE) code
// DC and AC coefficients in separate scans.
bool IsProgressiveFrame(uint8_t marker) {
  return marker == 0xC2 || marker == 0xC6 || marker == 0xCA || marker == 0xCE;
}

bool IsStartOfFrame(uint8_t marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != kHuffmanTables && marker != 0xC8 &&
         marker != 0xCC;
}

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

bool HuffmanTablesWellFormed(uint8_t const* segment, size_t size, TableSlots& defined) {
  while (size > 0) {
    size_t const used = HuffmanTableSize(segment, size);
    if (used == 0) return false;
    defined |= TableSlots(1u << ((segment[0] >> 4) * 4 + (segment[0] & 15)));
    segment += used;
    size -= used;
  }
  return true;
}

// A scan head: component count, a (component, tables) pair each, then
// spectral start and end and the successive approximation bits. Every table
// the scan decodes with must have been defined before it: a decoder that
// doesn't track this decodes with whatever its table memory held. DC
// tables serve the DC scans that aren't refinements (and every baseline
// scan), AC tables the scans that reach past the DC coefficient.
bool ScanTablesDefined(uint8_t const* head, size_t size, bool progressive, TableSlots defined) {
  if (size < 1) return false;
  size_t const components = head[0];
  if (components < 1 || components > 4 || size != 1 + 2 * components + 3) return false;
  uint8_t const spectral_start = head[1 + 2 * components];
  uint8_t const high_bit = head[3 + 2 * components] >> 4;
  bool const needs_dc = !progressive || (spectral_start == 0 && high_bit == 0);
  bool const needs_ac = !progressive || spectral_start > 0;
  for (size_t i = 0; i < components; ++i) {
    uint8_t const tables = head[2 + 2 * i];
    unsigned const dc = tables >> 4, ac = tables & 15;
    if (needs_dc && (dc > 3 || !HasTable(defined, 0, dc))) return false;
    if (needs_ac && (ac > 3 || !HasTable(defined, 1, ac))) return false;
  }
  return true;
}

// The position behind the start-of-image marker, or 0 if the data doesn't
// begin with one. Decoders take any run of 0xFF fill bytes before it.
size_t StartOfImageEnd(uint8_t const* data, size_t size) {
  size_t at = 0;
  while (at < size && data[at] == kMarker) ++at;
  return at >= 1 && at < size && data[at] == kStartOfImage ? at + 1 : 0;
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
  return StartOfImageEnd(data, size) != 0;
}

bool JpegWellFormed(uint8_t const* data, size_t size) {
  size_t at = StartOfImageEnd(data, size);
  if (at == 0) return false;
  TableSlots defined = 0;
  bool progressive = false;
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
    uint8_t const* const body = data + at + 2;
    if (marker == kHuffmanTables && !HuffmanTablesWellFormed(body, length - 2, defined))
      return false;
    if (IsStartOfFrame(marker)) progressive = IsProgressiveFrame(marker);
    if (marker == kStartOfScan && !ScanTablesDefined(body, length - 2, progressive, defined))
      return false;
    at += length;
    if (marker == kStartOfScan) at = EndOfScan(data, size, at);
  }
  return true;
}

bool JpegCanHold(uint64_t width, uint64_t height, uint64_t size) {
  constexpr uint64_t kMaxPixelsPerByte = 8 * 64;
  return width * height <= size * kMaxPixelsPerByte;
}

}  // namespace QX::Store::detail
