#pragma once
// The converter's form of a material, and the four materials of a path.
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "scene/Definitions.h"

namespace KZV {

namespace detail {

// FNV-1a over `size` bytes.
inline uint64_t Fnv1a(void const* data, size_t size) {
  uint64_t h = 0xCBF29CE484222325ull;
  auto const* bytes = static_cast<unsigned char const*>(data);
  for (size_t i = 0; i < size; ++i) {
    h ^= bytes[i];
    h *= 0x100000001B3ull;
  }
  return h;
}

// A hash of floats in which 0.0, -0.0 and every NaN hash alike, matching
// FloatsEqual.
inline uint64_t FloatHash(float const* values, size_t count) {
  uint64_t h = 0;
  for (size_t i = 0; i < count; ++i) {
    uint32_t word = 0;
    if (values[i] != 0.0f && values[i] == values[i]) std::memcpy(&word, &values[i], 4);
    h = Fnv1a(&h, 8) + Fnv1a(&word, 4);
  }
  return h;
}

// Neither is less nor greater: NaN equals everything, -0.0 equals 0.0.
inline bool FloatsEqual(float const* a, float const* b, size_t count) {
  for (size_t i = 0; i < count; ++i)
    if (a[i] < b[i] || a[i] > b[i]) return false;
  return true;
}

}  // namespace detail

struct ConverterMaterial {
  std::array<float, 4> color{};
  float mirror = -1.0f;
  float specular = -1.0f;
  float gloss = -1.0f;
  TextureDefinition texture;

  bool Plain() const { return mirror == -1.0f && specular == -1.0f && gloss == -1.0f && texture.Empty(); }
  bool operator==(ConverterMaterial const& other) const;
};

struct ConverterMaterialHash {
  size_t operator()(ConverterMaterial const& m) const;
};

// Materials of faces, lines, points and text, in this order.
struct MaterialSet {
  ConverterMaterial face, line, point, text;
};

// 12 floats of a matrix: the three axes and the translation.
struct MatrixFloats {
  std::array<float, 12> values{};
  bool operator==(MatrixFloats const& other) const {
    return detail::FloatsEqual(values.data(), other.values.data(), 12);
  }
};

struct MatrixFloatsHash {
  size_t operator()(MatrixFloats const& m) const { return detail::FloatHash(m.values.data(), 12); }
};

struct MaterialMapHash {
  size_t operator()(std::vector<uint32_t> const& keys) const;
};

}  // namespace KZV
