#pragma once
// Little-endian loads from unaligned bytes and a growing little-endian byte
// writer, for the store's files. Never casts buffers to structs.
#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

namespace QX::Store {

namespace detail {
template <class T>
T FromLittle(T v) {
  if constexpr (std::endian::native == std::endian::big) {
    if constexpr (sizeof(T) == 4) return static_cast<T>(__builtin_bswap32(static_cast<uint32_t>(v)));
    else return static_cast<T>(__builtin_bswap64(static_cast<uint64_t>(v)));
  }
  return v;
}
}  // namespace detail

inline uint32_t LoadU32(uint8_t const* p) {
  uint32_t v;
  std::memcpy(&v, p, 4);
  return detail::FromLittle(v);
}
inline uint64_t LoadU64(uint8_t const* p) {
  uint64_t v;
  std::memcpy(&v, p, 8);
  return detail::FromLittle(v);
}
inline int64_t LoadI64(uint8_t const* p) { return static_cast<int64_t>(LoadU64(p)); }
inline float LoadF32(uint8_t const* p) { return std::bit_cast<float>(LoadU32(p)); }
inline double LoadF64(uint8_t const* p) { return std::bit_cast<double>(LoadU64(p)); }

inline void StoreU32(uint8_t* p, uint32_t v) {
  v = detail::FromLittle(v);
  std::memcpy(p, &v, 4);
}

// Appends little-endian values to a byte vector that the caller reuses.
class ByteWriter {
 public:
  explicit ByteWriter(std::vector<uint8_t>& out) : out_(out) {}

  void U32(uint32_t v) { Put(detail::FromLittle(v)); }
  void U64(uint64_t v) { Put(detail::FromLittle(v)); }
  void I64(int64_t v) { U64(static_cast<uint64_t>(v)); }
  void F32(float v) { U32(std::bit_cast<uint32_t>(v)); }
  void F64(double v) { U64(std::bit_cast<uint64_t>(v)); }
  void Bytes(void const* p, size_t n) {
    auto const* b = static_cast<uint8_t const*>(p);
    out_.insert(out_.end(), b, b + n);
  }
  void Zeros(size_t n) { out_.resize(out_.size() + n, 0); }

 private:
  template <class T>
  void Put(T v) {
    size_t const at = out_.size();
    out_.resize(at + sizeof(T));
    std::memcpy(out_.data() + at, &v, sizeof(T));
  }

  std::vector<uint8_t>& out_;
};

}  // namespace QX::Store
