#pragma once
// A model's bounding tree: the root node and the items it points at. The
// items are copies of the instances' key, weight and bounds, so the tree
// stays valid however the instance table moves its records.
#include <memory>
#include <vector>

#include "geometry/bounding/BoundingNode.h"
#include "geometry/bounding/ClusterTree.h"

namespace QX::Store {

class File;

struct BoundingTree {
  std::vector<BoundingItem> items;
  std::unique_ptr<BoundingNode> root;
};

// Builds the tree over the items whose bounds aren't empty, in their order;
// the root's box is the union of those bounds.
std::unique_ptr<BoundingTree> MakeBoundingTree(std::vector<BoundingItem> items,
                                               ClusterOptions const& options = {});

// Reads a tree file over the given items (one per instance, with its key).
// The items found in the file receive their stored weight and bounds. Null
// if the file is damaged or names a key that isn't among the items.
std::unique_ptr<BoundingTree> ReadBoundingTree(File& file, std::vector<BoundingItem> items);

}  // namespace QX::Store
