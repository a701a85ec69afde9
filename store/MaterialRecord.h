#pragma once
// Materials, material maps and line patterns as a model keeps them.
#include <array>
#include <cstdint>
#include <vector>

#include "store/Model.h"

namespace QX::Store {

// Where a material's payload lies: an index into the vector of its kind.
enum class MaterialKind : uint32_t { SimpleColor = 0, Material = 1, Full = 2 };

struct MaterialEntry {
  uint32_t index = 0;
  MaterialKind kind = MaterialKind::SimpleColor;
};

struct MaterialRecord {
  RGBAColor color;
  float mirror = -1;
  float specular = -1;
  float gloss = -1;
  LinePatternKey line_pattern = kNoKey;
  std::vector<ImageKey> environment;
  std::vector<TextureRef> textures;
};

// A material of the full kind, kept as the bytes that follow its key in the
// digest; only read, streamed and written back.
using FullMaterial = std::array<uint8_t, 140>;

// Material keys by element index, or colours as red, green, blue triples.
struct MaterialMap {
  std::vector<MaterialKey> keys;
  std::vector<float> colors;
};

struct LinePattern {
  std::array<uint8_t, 8> value{};
  std::vector<uint8_t> bytes;
};

}  // namespace QX::Store
