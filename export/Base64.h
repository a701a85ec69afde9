#pragma once
// Base64 (standard alphabet, '=' padding, no line breaks) over input that
// arrives in blocks of any length: the state carries a split 3-byte group
// from one block to the next.
#include <cstddef>
#include <cstdint>

namespace KZVI {

struct Base64State {
  int step = 0;          // bytes of the present 3-byte group already consumed: 0, 1 or 2
  uint8_t residue = 0;   // bits of the next output character already known
};

// Characters needed at most to encode a block of `n` bytes.
constexpr size_t Base64BlockBound(size_t n) { return (n + 2) / 3 * 4; }

// Encodes `n` bytes into `out`, returns the characters written.
size_t Base64EncodeBlock(uint8_t const* in, size_t n, char* out, Base64State& state);

// Writes the residue and the padding of an unfinished group and returns
// the characters written: 0 after a whole group, else 3 or 2.
size_t Base64EncodeEnd(char* out, Base64State& state);

}  // namespace KZVI
