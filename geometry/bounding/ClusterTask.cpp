#include "geometry/bounding/ClusterTask.h"

#include "geometry/bounding/BoundingBoxD.h"

namespace QX::Store {

namespace {

bool NeedsClustering(BoundingNode const& node) {
  size_t const count = node.items.size();
  if (count >= 193) return true;
  if (count < 2) return false;
  uint64_t weight = 0;
  for (BoundingItem const* item : node.items) weight += item->weight;
  return weight >= 1024;
}

// Fifteen points per box: the four corners and the centre of the bottom
// face, of the top face, then of the plane halfway between.
void AddSamples(BoundingBox const& b, uint32_t index, std::vector<ClusterSample>& out) {
  float const cx = (b.min_x + b.max_x) * 0.5f;
  float const cy = (b.min_y + b.max_y) * 0.5f;
  float const zs[3] = {b.min_z, b.max_z, (b.min_z + b.max_z) * 0.5f};
  for (float z : zs) {
    out.push_back({b.min_x, b.min_y, z, index});
    out.push_back({b.max_x, b.min_y, z, index});
    out.push_back({b.min_x, b.max_y, z, index});
    out.push_back({b.max_x, b.max_y, z, index});
    out.push_back({cx, cy, z, index});
  }
}

ClusterTask MakeTask(BoundingNode& node, uint64_t depth) {
  ClusterTask task;
  task.node = &node;
  task.depth = depth;
  task.boxes.reserve(node.items.size());
  task.samples.reserve(node.items.size() * kSamplesPerBox);
  for (BoundingItem const* item : node.items) {
    auto const index = static_cast<uint32_t>(task.boxes.size());
    task.boxes.push_back(item->bounds);
    Unite(task.bounds, item->bounds);
    AddSamples(item->bounds, index, task.samples);
  }
  return task;
}

}  // namespace

void CollectTasks(BoundingNode& node, uint64_t depth, std::vector<ClusterTask>& tasks) {
  if (depth < kMaxTreeDepth && NeedsClustering(node)) tasks.push_back(MakeTask(node, depth));
  if (!node.octants) return;
  for (auto& octant : *node.octants) CollectTasks(octant, depth + 1, tasks);
}

}  // namespace QX::Store
