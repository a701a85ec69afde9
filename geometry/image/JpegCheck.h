#pragma once
// A walk over the segments of a JPEG file before any decoder sees it. The
// decoder trusts parts of the file that a hostile one can break (a Huffman
// table with more than 256 codes overruns its tables), so JPEG data reaches
// it only when this walk has found every segment well-formed.
#include <cstddef>
#include <cstdint>

namespace QX::Store::detail {

// True for data that begins with a JPEG start-of-image marker, after any
// 0xFF fill bytes.
bool LooksLikeJpeg(uint8_t const* data, size_t size);

// True if every segment up to the end-of-image marker (or the end of the
// data) lies inside the data, every Huffman table has at most 256 codes
// with lengths that a prefix code can have, and every scan decodes only
// with Huffman tables defined before it.
bool JpegWellFormed(uint8_t const* data, size_t size);

// True if `size` bytes of JPEG data can code `width` x `height` pixels: each
// 8x8 block of the first component takes at least one bit, even in the
// densest progressive coding. A file that declares more is cut short by
// far; the decoder would spend its time making pixels out of nothing.
bool JpegCanHold(uint64_t width, uint64_t height, uint64_t size);

}  // namespace QX::Store::detail
