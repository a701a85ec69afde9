#pragma once
// The hybrid bounding tree: an octree whose crowded or heavy nodes are
// refined by clustering. A node owns its children; it only points at items.
#include <array>
#include <cstddef>  // store/Types.h uses size_t without including it
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

// An instance as the tree sees it.
struct BoundingItem {
  uint32_t key = 0;     // the InstanceKey
  uint32_t weight = 0;  // KiB of stream data of its mesh, at least 1 if it has any
  BoundingBox bounds;   // model space; empty when it can't be computed
};

struct BoundingNode {
  uint32_t weight = 0;  // sum of the items' weights, set when the tree is written
  BoundingBox bounds;   // octant, union of a cluster's items, or the stored box
  std::vector<BoundingItem*> items;
  std::unique_ptr<std::array<BoundingNode, 8>> octants;
  std::unique_ptr<std::array<BoundingNode, 7>> clusters;

  bool Empty() const { return items.empty() && !octants && !clusters; }
};

inline constexpr uint32_t kMaxTreeDepth = 16;
inline constexpr size_t kMaxLeafItems = 128;

// Puts the item into the node or the first octant below it that holds its
// box, splitting a node that outgrows kMaxLeafItems above the depth limit.
// False if the node's box doesn't hold the item's box.
bool InsertItem(BoundingNode& node, BoundingItem* item, uint32_t depth);

// Removes empty children, collapses chains of single children and moves the
// items of small, light nodes up to their parent. `parent` is null for the root.
void PruneTree(BoundingNode& node, BoundingNode* parent);

// Path of the k-th written child (octants first, then clusters) of a node at
// `depth` whose path is `parent_path`: the nibble of that depth becomes k.
// The root's path is all ones, so nibble 15 means "no further level".
inline constexpr uint64_t kRootPath = ~uint64_t{0};
uint64_t ChildPath(uint64_t parent_path, uint32_t depth, uint32_t k);

using TreeVisitor =
    std::function<void(uint64_t path, BoundingBox const& bounds, std::span<BoundingItem* const> items)>;

// Calls the visitor for the node, then walks its non-empty octants and
// clusters depth first.
void VisitTree(BoundingNode const& node, uint64_t path, uint32_t depth, TreeVisitor const& visitor);

}  // namespace QX::Store
