#pragma once
// The stream's view of what it shows: one StreamInstance per instance of each
// inclusion, and the tree nodes that hold them.
#include <cmath>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

class ModelImpl;
struct Instance;
struct MeshRecord;
struct StreamAttachedModel;

using MeshList = std::vector<MeshKey>;

inline constexpr uint32_t kNoPreview = 0xFFFFFFFFu;

struct ItemFlags {
  uint32_t classes : 3 = 0;    // drawable classes: 1 faces, 2 lines, 4 points
  uint32_t bounded : 1 = 0;    // counts for boxes and selections whatever the switches
  uint32_t wanted : 1 = 0;     // asked for by the viewer
  uint32_t instance_sent : 1 = 0;
  uint32_t definition_sent : 1 = 0;
  uint32_t data_sent : 1 = 0;
  uint32_t ejected : 1 = 0;    // the memory budget holds its mesh out
  uint32_t pinned : 1 = 0;     // goes before all others
  uint32_t list_sent : 1 = 0;
  uint32_t modifier_14 : 1 = 0;  // bit 14 of the modifiers, kept for previews and requests
};

struct StreamInstance {
  Instance const* instance = nullptr;
  ModelImpl* model = nullptr;
  MeshRecord const* first_mesh = nullptr;  // at the item's first level
  MeshList const* mesh_list = nullptr;     // null unless the mesh is a list
  MeshRecord const* mesh = nullptr;        // at the current level
  StreamAttachedModel* attached = nullptr;
  Point centre;
  Point half;
  float radius = 0;
  float priority = 0;
  float diagonal2 = 0;
  float weight = 1;  // 1.0 with faces, else 0.01
  BoundingBox bounds;
  uint32_t node = 0;  // index into attached->nodes
  uint32_t model_preview = kNoPreview;
  uint32_t instance_preview = kNoPreview;
  ItemFlags flags;
};

// A node of a bounding tree that holds items, in scene space.
struct TreeNodeEntry {
  uint64_t path = 0;
  Point centre;
  Point half;
  float radius = 0;
  float priority = 0;  // of the last run
  float diagonal2 = 0;
  float weight = 1;
  uint32_t frame = 0xFFFFFFFFu;  // frame_serial of the last test
};

// One inclusion of a model in the stream, keyed by inclusion id.
struct StreamAttachedModel {
  std::unordered_map<InstanceKey, StreamInstance, KeyHasher> instances;
  std::vector<TreeNodeEntry> nodes;
  uint32_t inclusion_id = 0;
  uint32_t attach_id = 0;
  bool has_lists = false;
};

// Fills centre, half extents, radius and squared diagonal of an item or a
// node from its box.
template <class Shape>
void SetShape(Shape& shape, BoundingBox const& b) {
  shape.centre = {(b.min_x + b.max_x) * 0.5f, (b.min_y + b.max_y) * 0.5f,
                  (b.min_z + b.max_z) * 0.5f};
  shape.half = {shape.centre.x - b.min_x, shape.centre.y - b.min_y, shape.centre.z - b.min_z};
  Point const& h = shape.half;
  shape.radius = std::sqrt(h.x * h.x + h.y * h.y + h.z * h.z);
  float const dx = b.max_x - b.min_x, dy = b.max_y - b.min_y, dz = b.max_z - b.min_z;
  shape.diagonal2 = dx * dx + dy * dy + dz * dz;
}

}  // namespace QX::Store
