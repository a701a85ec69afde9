#pragma once
// A color channel in [0, 1] as a byte: ceil(256 * c) - 1, 0 below 1/256.
// The sign is ignored.
#include <bit>
#include <cstdint>

namespace KZV {

inline uint8_t UnitToByte(float c) {
  uint32_t const bits = std::bit_cast<uint32_t>(c) & 0x7FFFFFFFu;
  if (bits < 0x3B800000u) return 0;
  uint32_t const m = bits - 1;
  return static_cast<uint8_t>(((m & 0x7FFFFFu) | 0x800000u) >> ((142 - (m >> 23)) & 31));
}

}  // namespace KZV
