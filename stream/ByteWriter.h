#pragma once
// Little-endian appenders and readers over byte vectors and spans.
#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace QX::Store {

using Bytes = std::vector<uint8_t>;

inline void PutU32(Bytes& out, uint32_t v) {
  uint8_t const b[4] = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
  out.insert(out.end(), b, b + 4);
}

inline void PutU64(Bytes& out, uint64_t v) {
  PutU32(out, uint32_t(v));
  PutU32(out, uint32_t(v >> 32));
}

inline void PutF32(Bytes& out, float v) { PutU32(out, std::bit_cast<uint32_t>(v)); }

inline void SetU32(Bytes& out, size_t at, uint32_t v) {
  out[at] = uint8_t(v);
  out[at + 1] = uint8_t(v >> 8);
  out[at + 2] = uint8_t(v >> 16);
  out[at + 3] = uint8_t(v >> 24);
}

// Appends `fill` bytes until the size is a multiple of 4.
inline void PadTo4(Bytes& out, uint8_t fill) {
  while (out.size() % 4 != 0) out.push_back(fill);
}

inline uint32_t GetU32(uint8_t const* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

inline uint64_t GetU64(uint8_t const* p) { return GetU32(p) | uint64_t(GetU32(p + 4)) << 32; }

inline float GetF32(uint8_t const* p) { return std::bit_cast<float>(GetU32(p)); }

inline uint32_t GetU32(std::span<uint8_t const> s, size_t at) { return GetU32(s.data() + at); }

}  // namespace QX::Store
