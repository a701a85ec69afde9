#pragma once
// A node that needs clustering, with the sample points of its item boxes.
#include <cstdint>
#include <vector>

#include "geometry/bounding/BoundingNode.h"

namespace QX::Store {

struct ClusterSample {
  float x = 0, y = 0, z = 0;
  uint32_t box = 0;  // index into the task's boxes
};

inline constexpr uint32_t kSamplesPerBox = 15;

struct ClusterTask {
  BoundingNode* node = nullptr;
  uint64_t depth = 0;
  BoundingBox bounds;  // union of the item boxes, not the node's own box
  std::vector<BoundingBox> boxes;  // in the order of the node's items
  std::vector<ClusterSample> samples;
};

// Adds a task for each node from `node` down through the octants that holds
// many items (193 and more), or 2 to 192 items that weigh 1024 KiB and more.
// Nodes at the depth limit aren't clustered.
void CollectTasks(BoundingNode& node, uint64_t depth, std::vector<ClusterTask>& tasks);

}  // namespace QX::Store
