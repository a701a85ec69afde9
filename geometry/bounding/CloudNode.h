#pragma once
// The octree that splits a large point cloud into nodes of about 10,000
// points each, every node holding a random sample of all that lies below it,
// so that the upper nodes alone give a coarse view of the whole cloud.
#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

struct CloudNode {
  uint64_t count = 0;             // points in the node and below it
  std::vector<uint32_t> indices;  // points held by the node itself (a mesh counts its points in 32 bits)
  std::unique_ptr<std::array<CloudNode, 8>> children;
  BoundingBox box{};

  bool Used() const { return !indices.empty() || children != nullptr; }
};

inline constexpr uint64_t kCloudNodeTarget = 10000;  // split above this; what a node ends up holding
inline constexpr uint32_t kCloudMaxDepth = 64;
inline constexpr uint64_t kCloudNodeMinimum = 2500;  // fewer go up to the parent
inline constexpr uint32_t kCloudSeed = 201015;

// Shuffles `list` with a fresh 32-bit Mersenne twister seeded with
// kCloudSeed, drawing without bias so that every platform gives the same
// order.
void ShuffleCloudIndices(std::vector<uint32_t>& list);

// Builds the partition of `count` points.
CloudNode BuildCloudTree(Point const* points, uint32_t count);

// Calls `visit` with the points of every node that holds any, a node before
// its children, children in order.
template <typename Visit>
void WalkCloudTree(CloudNode const& node, Visit&& visit) {
  if (!node.indices.empty()) visit(std::span<uint32_t const>(node.indices));
  if (!node.children) return;
  for (CloudNode const& child : *node.children)
    if (child.Used()) WalkCloudTree(child, visit);
}

}  // namespace QX::Store
