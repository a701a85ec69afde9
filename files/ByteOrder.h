#pragma once
// Little-endian values in byte buffers: loads from unaligned bytes, stores in
// place, and appends to a growing vector. Every file and stream record of
// the system is written and read through these, never by casting buffers to
// structs.
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace QX::Store {

using Bytes = std::vector<uint8_t>;

inline uint16_t GetU16(uint8_t const* p) { return uint16_t(p[0] | p[1] << 8); }

inline uint32_t GetU32(uint8_t const* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

inline uint32_t GetU32(std::span<uint8_t const> s, size_t at) { return GetU32(s.data() + at); }
inline uint64_t GetU64(uint8_t const* p) { return GetU32(p) | uint64_t(GetU32(p + 4)) << 32; }
inline int64_t GetI64(uint8_t const* p) { return static_cast<int64_t>(GetU64(p)); }
inline float GetF32(uint8_t const* p) { return std::bit_cast<float>(GetU32(p)); }
inline double GetF64(uint8_t const* p) { return std::bit_cast<double>(GetU64(p)); }

inline void SetU32(uint8_t* p, uint32_t v) {
  p[0] = uint8_t(v);
  p[1] = uint8_t(v >> 8);
  p[2] = uint8_t(v >> 16);
  p[3] = uint8_t(v >> 24);
}

inline void SetU32(Bytes& out, size_t at, uint32_t v) { SetU32(out.data() + at, v); }

inline void PutU32(Bytes& out, uint32_t v) {
  size_t const at = out.size();
  out.resize(at + 4);
  SetU32(out.data() + at, v);
}

inline void PutU64(Bytes& out, uint64_t v) {
  PutU32(out, uint32_t(v));
  PutU32(out, uint32_t(v >> 32));
}

inline void PutI64(Bytes& out, int64_t v) { PutU64(out, static_cast<uint64_t>(v)); }
inline void PutF32(Bytes& out, float v) { PutU32(out, std::bit_cast<uint32_t>(v)); }
inline void PutF64(Bytes& out, double v) { PutU64(out, std::bit_cast<uint64_t>(v)); }

inline void PutBytes(Bytes& out, void const* data, size_t n) {
  if (n == 0) return;
  size_t const at = out.size();
  out.resize(at + n);
  std::memcpy(out.data() + at, data, n);
}

// Appends `fill` bytes until the size is a multiple of 4.
inline void PadTo4(Bytes& out, uint8_t fill) { out.resize((out.size() + 3) & ~size_t(3), fill); }

// The same appends as a small object over a vector that the caller reuses.
class ByteWriter {
 public:
  explicit ByteWriter(QX::Store::Bytes& out) : out_(out) {}

  void U32(uint32_t v) { PutU32(out_, v); }
  void U64(uint64_t v) { PutU64(out_, v); }
  void I64(int64_t v) { PutI64(out_, v); }
  void F32(float v) { PutF32(out_, v); }
  void F64(double v) { PutF64(out_, v); }
  void Raw(void const* p, size_t n) { PutBytes(out_, p, n); }
  void Zeros(size_t n) { out_.resize(out_.size() + n, 0); }

 private:
  QX::Store::Bytes& out_;
};

}  // namespace QX::Store
