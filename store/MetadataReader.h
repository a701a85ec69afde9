#pragma once
// The reader of a model's metadata block (keyed data 1) and of the node
// blocks it leads to: product structure, views and the unit in which the
// model was authored. The store only needs the unit; the rest is parsed so
// that the unit behind it can be reached, and held in the record for the
// length of the call.
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

// The head of keyed data 1 when the tree is stored under another key.
struct MetadataHead {
  uint32_t format = 0;
  std::array<uint32_t, 3> version{};
  DataKey root_key = 0;
  bool first_switch = false;
  bool second_switch = true;
  std::string text;
};

// A view of a node. `view_flags` are derived from the stored flags `flags`.
struct MetadataView {
  uint32_t flags = 0;
  uint32_t id = 0;
  std::string name;
  uint32_t view_flags = 0;
  bool has_camera = false;
  uint32_t projection = 0;  // 1 or 2 with a camera of its own
  std::array<double, 11> camera{};  // position, target, up, width, height
  std::vector<std::array<double, 4>> planes;
};

// A leaf: the geometry a node stands for.
struct MetadataLeaf {
  uint32_t id = 0xFFFFFFFFu;
  bool marked = false;
  InstanceKey instance = 0;
};

// The node that keyed data 1 holds, or the one its head leads to.
struct MetadataNode {
  uint32_t id = 0xFFFFFFFFu;
  std::string name;
  bool active = true;
  bool marked = false;
  uint8_t kind = 0;
  std::vector<DataKey> children;
  std::vector<MetadataLeaf> leaves;
  std::vector<MetadataView> views;
  size_t parts = 0;
  double unit = 0;  // 0: unknown
  bool has_box = false;
  std::array<double, 6> box{};
};

// ViewFlags bits set by the reader.
inline constexpr uint32_t kAnnotationView = 0x8000000;
inline constexpr uint32_t kOwnCamera = 0x4000000;
inline constexpr uint32_t kBadCameraSize = 0x2000;

// Two settings of the byte form that don't come from the block: node
// matrices in f64 instead of f32, and kind bits in their newer meaning.
struct MetadataSwitches {
  bool wide_matrices = false;
  bool new_kinds = false;
};

// True if `block` begins with a valid head.
bool ParseHead(std::span<uint8_t const> block, MetadataHead& head);

// True if the whole node could be read; bytes behind it are ignored.
bool ParseNode(std::span<uint8_t const> block, MetadataNode& node, MetadataSwitches switches = {});

}  // namespace QX::Store
