#pragma once
// Value types and list aliases that the scene's interfaces exchange.
#include <cstdint>
#include <vector>

#include "export/value_types/Point_3D.h"

namespace KZV {

using Point = Point_3D<float>;
using Vector = Vector_3D<float>;

struct RGBColor {
  float red = 0, green = 0, blue = 0;
  bool operator==(RGBColor const&) const = default;
};

struct RGBAColor {
  float red = 0, green = 0, blue = 0, alpha = 1;
  bool operator==(RGBAColor const&) const = default;
};

using PointArray = std::vector<Point>;
using PointArrayArray = std::vector<PointArray>;
using VectorArray = std::vector<Vector>;
using FloatArray = std::vector<float>;
using IntArray = std::vector<int>;
using SizeTArray = std::vector<size_t>;
using BoolArray = std::vector<bool>;
using ByteArray = std::vector<uint8_t>;
using ByteArrayArray = std::vector<ByteArray>;
using Int64Array = std::vector<int64_t>;
using RGBColorArray = std::vector<RGBColor>;
using RGBAColorArray = std::vector<RGBAColor>;

}  // namespace KZV
