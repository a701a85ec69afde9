#include "geometry/bounding/BoundingTree.h"

#include <unordered_map>

#include "geometry/bounding/BoundingBoxD.h"
#include "geometry/bounding/BoundingTreeFile.h"

namespace QX::Store {

std::unique_ptr<BoundingTree> MakeBoundingTree(std::vector<BoundingItem> items,
                                               ClusterOptions const& options) {
  auto tree = std::make_unique<BoundingTree>();
  tree->items = std::move(items);
  BoundingBox root_box;
  std::vector<BoundingItem*> pointers;
  pointers.reserve(tree->items.size());
  for (BoundingItem& item : tree->items) {
    if (!item.bounds.Valid()) continue;
    Unite(root_box, item.bounds);
    pointers.push_back(&item);
  }
  tree->root = BuildBoundingTree(pointers, root_box, options);
  return tree;
}

std::unique_ptr<BoundingTree> ReadBoundingTree(File& file, std::vector<BoundingItem> items) {
  auto tree = std::make_unique<BoundingTree>();
  tree->items = std::move(items);
  std::unordered_map<uint32_t, BoundingItem*, KeyHasher> by_key;
  by_key.reserve(tree->items.size());
  for (BoundingItem& item : tree->items) by_key.emplace(item.key, &item);
  tree->root = ReadTree(file, [&](uint32_t key) -> BoundingItem* {
    auto const found = by_key.find(key);
    return found == by_key.end() ? nullptr : found->second;
  });
  if (!tree->root) return nullptr;
  return tree;
}

}  // namespace QX::Store
