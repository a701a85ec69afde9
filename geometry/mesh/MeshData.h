#pragma once
// A mesh as a caller hands it to the store: separate attribute arrays and
// three classes of elements whose words index them. The caller owns the
// arrays; the store copies what it keeps.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

// Mesh flags: per class, whether element tuples carry a normal, uv and
// colour index after the point index.
inline constexpr uint32_t kHandednessMask = 0x7;
inline constexpr uint32_t kFaceNormals = 0x10;
inline constexpr uint32_t kFaceUvs = 0x20;
inline constexpr uint32_t kFaceColors = 0x40;
inline constexpr uint32_t kLineNormals = 0x100;
inline constexpr uint32_t kLineUvs = 0x200;
inline constexpr uint32_t kLineColors = 0x400;
inline constexpr uint32_t kPointNormals = 0x1000;
inline constexpr uint32_t kPointUvs = 0x2000;
inline constexpr uint32_t kPointColors = 0x4000;
inline constexpr uint32_t kMeshFlag16 = 0x10000;
inline constexpr uint32_t kSplitPointCloud = 0x20000;

inline constexpr uint32_t kFreshMeshFlags = 0x4472;
inline constexpr uint32_t kResetMeshFlags = 0x4470;

// A word of an element that stands for no value; in a line element, where
// a tuple would begin, it ends the current strip.
inline constexpr uint32_t kNoIndex = 0xFFFFFFFFu;

using ElementWords = std::vector<std::vector<uint32_t>>;

struct MeshData {
  Point const* points = nullptr;
  uint32_t point_count = 0;
  Point const* normals = nullptr;
  uint32_t normal_count = 0;
  UV const* uvs = nullptr;
  uint32_t uv_count = 0;
  RGBA32 const* colors = nullptr;
  uint32_t color_count = 0;

  ElementWords face_elements;
  ElementWords line_elements;
  ElementWords point_elements;
  // Caller's bits per element, applied cyclically; never longer than the
  // element list of their class.
  std::vector<uint8_t> face_element_bits;
  std::vector<uint8_t> line_element_bits;
  std::vector<uint8_t> point_element_bits;

  MaterialKey face_material = 0;
  MaterialKey line_material = 0;
  MaterialKey point_material = 0;
  MaterialMapKey face_material_map = 0;
  MaterialMapKey line_material_map = 0;
  MaterialMapKey point_material_map = 0;

  uint32_t flags = kFreshMeshFlags;

  // Empties the mesh for reuse by the same caller, keeping the capacity of
  // its lists.
  void Reset();
};

}  // namespace QX::Store
