#pragma once
// Little-endian byte helpers for the mesh records, and appends to files.
// Arrays of f32 and bytes are copied as they lie in memory; the
// static_assert keeps that equal to their little-endian form.
#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace QX::Store {
class File;
class Logger;
}  // namespace QX::Store

namespace QX::Store::detail {

static_assert(std::endian::native == std::endian::little,
              "record arrays are copied as they lie in memory");

inline void PutU32At(uint8_t* at, uint32_t v) {
  at[0] = uint8_t(v);
  at[1] = uint8_t(v >> 8);
  at[2] = uint8_t(v >> 16);
  at[3] = uint8_t(v >> 24);
}

inline uint32_t GetU32(uint8_t const* at) {
  return uint32_t(at[0]) | uint32_t(at[1]) << 8 | uint32_t(at[2]) << 16 |
         uint32_t(at[3]) << 24;
}

inline uint16_t GetU16(uint8_t const* at) { return uint16_t(at[0] | at[1] << 8); }

inline float GetF32(uint8_t const* at) { return std::bit_cast<float>(GetU32(at)); }

inline void PutU32(std::vector<uint8_t>& out, uint32_t v) {
  size_t const n = out.size();
  out.resize(n + 4);
  PutU32At(out.data() + n, v);
}

inline void PutU64(std::vector<uint8_t>& out, uint64_t v) {
  PutU32(out, uint32_t(v));
  PutU32(out, uint32_t(v >> 32));
}

inline void PutBytes(std::vector<uint8_t>& out, void const* data, size_t n) {
  if (n == 0) return;
  size_t const at = out.size();
  out.resize(at + n);
  std::memcpy(out.data() + at, data, n);
}

// Logs and throws "Unable to write data: " + path.
[[noreturn]] void ThrowWriteFailure(File& file, Logger* logger);

// Writes all of `bytes` at the present position, or logs and throws.
void WriteAll(File& file, std::span<uint8_t const> bytes, Logger* logger);

// Seeks to the end of the file and returns that position, or logs and
// throws if the file can't tell it.
int64_t SeekToEnd(File& file, Logger* logger);

}  // namespace QX::Store::detail
