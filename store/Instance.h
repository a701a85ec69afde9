#pragma once
// Instances, groups, includes and what a model knows of the models it includes.
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "store/Model.h"

namespace QX::Store {

// Extra data of an instance that the store only keeps and forwards.
struct InstanceExtension {
  uint32_t type = 1;
  InstanceExtensionData data;
};

inline constexpr uint32_t kInstanceFlagMask = 7;  // 1 faces, 2 lines, 4 points shown

struct Instance {
  InstanceKey key = 0;
  MeshKey mesh = 0;
  MatrixKey matrix = 0;
  MaterialKey face_material = kNoKey;
  MaterialKey line_material = kNoKey;
  MaterialKey point_material = kNoKey;
  MaterialMapKey face_material_map = 0;
  MaterialMapKey line_material_map = 0;
  MaterialMapKey point_material_map = 0;
  ClipRegionKey clip = 0;
  uint32_t flags = 0;
  uint32_t modifiers = 0;
  uint32_t weight = 0;  // stream size in KiB
  BoundingBox bounds;
  std::unique_ptr<InstanceExtension> extension;
};

// Replaces attributes of an instance as seen through one include.
struct InstanceOverride {
  std::array<MaterialKey, 3> materials{};
  std::array<MaterialMapKey, 3> material_maps{};
  ClipRegionKey clip = 0;
  uint32_t flags = 0;
  uint32_t modifiers = 0;
};

struct GroupEntry {
  int64_t position = -1;  // of the group block in _data.qxi
  uint32_t size = 0;
  GroupKey key = 0;
  std::vector<uint32_t> words;  // as loaded: word count, then the block
};

// attached id 0: the model includes itself.
struct IncludeRecord {
  IncludeKey key = 0;
  uint32_t attached_id = 0;
  MatrixKey matrix = 0;
};

struct AttachedModel {
  ModelId id = 0;  // the included model's id when the include was made
  double unit_scale = -1;
  std::string path;  // relative to the including model, UTF-8
  BoundingBox bounds;
};

}  // namespace QX::Store
