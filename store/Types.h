#pragma once
// Keys, qualified identifiers and the value records that run through the
// whole store and stream engine. Everything here is plain data.
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace QX::Store {

using MeshKey = uint32_t;
using InstanceKey = uint32_t;
using MaterialKey = uint32_t;
using MatrixKey = uint32_t;
using ImageKey = uint32_t;
using MaterialMapKey = uint32_t;
using LinePatternKey = uint32_t;
using PolyPolygonKey = uint32_t;
using ClipRegionKey = uint32_t;
using DataKey = uint32_t;
using GroupKey = uint32_t;
using IncludeKey = uint32_t;
using ViewKey = uint32_t;
using ModelId = uint32_t;

inline constexpr uint32_t kNoKey = 0xFFFFFFFFu;
inline constexpr ModelId kNoModel = 0xFFFFFFFFu;
inline constexpr ModelId kEmptyModelId = 1;
inline constexpr DataKey kMetadataKey = 1;

// An object named across models: model id first, key second.
struct QualifiedId {
  ModelId model = kNoModel;
  uint32_t key = 0;
  friend bool operator==(QualifiedId, QualifiedId) = default;
};
using MeshID = QualifiedId;
using ImageID = QualifiedId;

// An instance or group as seen through an inclusion: include key first.
struct IncludedKey {
  IncludeKey include = 0;
  uint32_t key = 0;
  friend bool operator==(IncludedKey, IncludedKey) = default;
};
using InstanceInc = IncludedKey;
using GroupInc = IncludedKey;

struct Point {
  float x = 0, y = 0, z = 0;
  friend bool operator==(Point const&, Point const&) = default;
};

struct UV {
  float u = 0, v = 0;
  friend bool operator==(UV const&, UV const&) = default;
};

struct RGBA32 {
  uint8_t r = 0, g = 0, b = 0, a = 0;
  friend bool operator==(RGBA32 const&, RGBA32 const&) = default;
};

struct RGBAColor {
  float r = 0, g = 0, b = 0, a = 0;
  friend bool operator==(RGBAColor const&, RGBAColor const&) = default;
};

// Min x, y, z then max x, y, z. The empty box has every min at the largest
// finite float and every max at its negative.
struct BoundingBox {
  float min_x = std::numeric_limits<float>::max();
  float min_y = std::numeric_limits<float>::max();
  float min_z = std::numeric_limits<float>::max();
  float max_x = -std::numeric_limits<float>::max();
  float max_y = -std::numeric_limits<float>::max();
  float max_z = -std::numeric_limits<float>::max();

  bool Valid() const { return min_x <= max_x && min_y <= max_y && min_z <= max_z; }
  friend bool operator==(BoundingBox const&, BoundingBox const&) = default;
};

// Four rows of three: the images of the x, y and z unit vectors, then the
// translation. A point p maps to p.x*row0 + p.y*row1 + p.z*row2 + row3.
using Matrix = std::array<double, 12>;
inline constexpr Matrix kIdentityMatrix = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};

// The one hash of every table keyed by a 32-bit key.
inline uint64_t KeyHash(uint32_t key) {
  uint64_t const k = key;
  uint64_t h = ((k ^ 0x3D0000u) >> 16) ^ k;
  h *= 9;
  h = ((h >> 4) ^ h) * 0x27D4EB2Du;
  return (h >> 15) ^ h;
}

// Functor for std::unordered_map and friends.
struct KeyHasher {
  size_t operator()(uint32_t key) const { return static_cast<size_t>(KeyHash(key)); }
};

}  // namespace QX::Store
