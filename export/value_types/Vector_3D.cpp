#include "export/value_types/Vector_3D.h"

#include <bit>
#include <cstdint>

namespace KZV {
namespace {

template <typename Bits, typename F>
bool SameComponent(F p, F q) {
  Bits const sign = Bits(1) << (sizeof(Bits) * 8 - 1);
  Bits const a = std::bit_cast<Bits>(p);
  Bits const b = std::bit_cast<Bits>(q);
  return a == b || ((a & ~sign) == 0 && (b & ~sign) == 0);
}

// Zero has a limit of its own: anything below 2^-18 in magnitude is near it.
constexpr uint32_t kNearZero = 0x36A00000u;
constexpr uint32_t kSign = 0x80000000u;

bool IsInfinityBits(uint32_t bits) { return (bits & ~kSign) == 0x7F800000u; }
bool IsFiniteBits(uint32_t bits) { return (bits & 0x7F800000u) != 0x7F800000u; }

bool ComponentsClose(float p, float q, int tolerance) {
  uint32_t const a = std::bit_cast<uint32_t>(p);
  uint32_t const b = std::bit_cast<uint32_t>(q);
  if (!IsFiniteBits(a) || !IsFiniteBits(b)) {
    if (!IsInfinityBits(a) && !IsInfinityBits(b)) return false;
    return a == b;
  }
  if ((a & ~kSign) == 0) return (b & ~kSign) < kNearZero;
  if ((b & ~kSign) == 0) return (a & ~kSign) < kNearZero;
  bool const signs_differ = ((a ^ b) & kSign) != 0;
  uint32_t const p_adjusted = signs_differ ? ((a - 1u) ^ 0x7FFFFFFFu) : a;
  uint32_t const d = p_adjusted - b;
  uint32_t const t = static_cast<uint32_t>(tolerance);
  return (((t - d) | (t + d)) & kSign) == 0;
}

}  // namespace

// Bit patterns decide: zeros of either sign are equal, a NaN equals only
// a NaN of the same bits.
template <>
bool Vector_3D<float>::operator==(Vector_3D const& v) const {
  return SameComponent<uint32_t>(x, v.x) && SameComponent<uint32_t>(y, v.y) &&
         SameComponent<uint32_t>(z, v.z);
}

template <>
bool Vector_3D<double>::operator==(Vector_3D const& v) const {
  return SameComponent<uint64_t>(x, v.x) && SameComponent<uint64_t>(y, v.y) &&
         SameComponent<uint64_t>(z, v.z);
}

template <>
bool Vector_3D<float>::Equals(Vector_3D const& other, int tolerance) const {
  return ComponentsClose(x, other.x, tolerance) && ComponentsClose(y, other.y, tolerance) &&
         ComponentsClose(z, other.z, tolerance);
}

}  // namespace KZV
