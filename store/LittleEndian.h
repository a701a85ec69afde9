#pragma once
// Little-endian loads and stores of the store's file formats, independent of
// the host's byte order and alignment.
#include <cstdint>
#include <vector>

namespace QX::Store::detail {

inline uint32_t LoadU32(uint8_t const* p) {
  return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

inline uint64_t LoadU64(uint8_t const* p) { return LoadU32(p) | uint64_t{LoadU32(p + 4)} << 32; }

inline void StoreU32(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
  p[2] = static_cast<uint8_t>(v >> 16);
  p[3] = static_cast<uint8_t>(v >> 24);
}

inline void StoreU64(uint8_t* p, uint64_t v) {
  StoreU32(p, static_cast<uint32_t>(v));
  StoreU32(p + 4, static_cast<uint32_t>(v >> 32));
}

inline void AppendU32(std::vector<uint8_t>& out, uint32_t v) {
  out.resize(out.size() + 4);
  StoreU32(out.data() + out.size() - 4, v);
}

inline void AppendU64(std::vector<uint8_t>& out, uint64_t v) {
  out.resize(out.size() + 8);
  StoreU64(out.data() + out.size() - 8, v);
}

}  // namespace QX::Store::detail
