#pragma once
// Items for tree tests: boxes in clusters, built from a fixed seed.
#include <random>
#include <vector>

#include "geometry/bounding/BoundingBoxD.h"
#include "geometry/bounding/BoundingNode.h"

namespace QX::Store::test {

struct ItemSet {
  std::vector<BoundingItem> items;
  std::vector<BoundingItem*> pointers;
  BoundingBox bounds;
};

inline ItemSet ClusteredItems(size_t count, uint32_t seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<float> centre(-1000, 1000), spread(-40, 40), size(0.1f, 20);
  std::uniform_int_distribution<uint32_t> weight(1, 300);
  std::vector<std::array<float, 3>> groups(12);
  for (auto& g : groups) g = {centre(gen), centre(gen), centre(gen)};
  ItemSet set;
  set.items.resize(count);
  for (size_t i = 0; i < count; ++i) {
    auto const& g = groups[i % groups.size()];
    float const x = g[0] + spread(gen), y = g[1] + spread(gen), z = g[2] + spread(gen);
    float const s = size(gen);
    set.items[i] = {static_cast<uint32_t>(i + 1), weight(gen), {x, y, z, x + s, y + s * 0.5f, z + s}};
    Unite(set.bounds, set.items[i].bounds);
  }
  for (auto& item : set.items) set.pointers.push_back(&item);
  return set;
}

// Every node reached by a walk over the tree, with its depth.
template <class F>
void ForEachNode(BoundingNode const& node, uint32_t depth, F const& f) {
  f(node, depth);
  auto walk = [&](auto const& children) {
    if (!children) return;
    for (auto const& child : *children) ForEachNode(child, depth + 1, f);
  };
  walk(node.octants);
  walk(node.clusters);
}

}  // namespace QX::Store::test
