#include "geometry/bounding/ClusterTree.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <thread>

#include "geometry/bounding/BoundingBoxD.h"
#include "geometry/bounding/ClusterWorker.h"

namespace QX::Store {

namespace {

inline constexpr size_t kTaskReserve = 256;

float Threshold(BoundingBox const& b) {
  float const largest = std::max({b.max_x - b.min_x, b.max_y - b.min_y, b.max_z - b.min_z});
  return largest * 0.01f;
}

uint32_t ThreadCount(ClusterOptions const& options) {
  uint32_t const threads = options.threads ? options.threads : std::thread::hardware_concurrency();
  return threads ? threads : 1;
}

// The first solution with the lowest rating below FLT_MAX, in thread order;
// the first thread's if none rates below it.
ClusterSolution const& Choose(std::vector<std::vector<ClusterSolution>> const& results, size_t task) {
  ClusterSolution const* chosen = &results.front()[task];
  float best = std::numeric_limits<float>::max();
  for (auto const& solutions : results) {
    if (solutions[task].rating < best) {
      best = solutions[task].rating;
      chosen = &solutions[task];
    }
  }
  return *chosen;
}

void Apply(ClusterTask const& task, ClusterSolution const& solution) {
  BoundingNode& node = *task.node;
  node.clusters = std::make_unique<std::array<BoundingNode, kClusterCount>>();
  for (size_t k = 0; k < kClusterCount; ++k) {
    BoundingNode& cluster = (*node.clusters)[k];
    for (uint32_t index : solution.lists[k]) {
      cluster.items.push_back(node.items[index]);
      Unite(cluster.bounds, node.items[index]->bounds);
    }
  }
  std::vector<BoundingItem*> leftovers;
  for (uint32_t index : solution.lists[kClusterCount]) leftovers.push_back(node.items[index]);
  node.items = std::move(leftovers);
}

using Workers = std::vector<std::unique_ptr<ClusterWorker>>;

std::vector<ClusterTask> RunPass(std::vector<ClusterTask> const& tasks, Workers& workers,
                                 float threshold, SeedSource const& seed) {
  std::vector<std::future<std::vector<ClusterSolution>>> futures;
  for (auto& worker : workers) futures.push_back(worker->Post(&tasks));
  auto own = SolveTasks(tasks, threshold, static_cast<uint32_t>(workers.size()), seed);

  std::vector<std::vector<ClusterSolution>> results;
  for (auto& future : futures) results.push_back(future.get());
  results.push_back(std::move(own));

  std::vector<ClusterTask> next;
  next.reserve(kTaskReserve);
  for (size_t i = 0; i < tasks.size(); ++i) {
    Apply(tasks[i], Choose(results, i));
    for (auto& cluster : *tasks[i].node->clusters) CollectTasks(cluster, tasks[i].depth + 1, next);
  }
  return next;
}

}  // namespace

void ClusterTree(BoundingNode& root, ClusterOptions const& options) {
  float const threshold = Threshold(root.bounds);
  std::vector<ClusterTask> tasks;
  tasks.reserve(kTaskReserve);
  CollectTasks(root, 0, tasks);
  if (tasks.empty()) return;

  Workers workers;
  for (uint32_t i = 0; i + 1 < ThreadCount(options); ++i) {
    workers.push_back(std::make_unique<ClusterWorker>(threshold, i, options.seed));
  }
  while (!tasks.empty()) tasks = RunPass(tasks, workers, threshold, options.seed);
  for (auto& worker : workers) worker->Stop();
}

std::unique_ptr<BoundingNode> BuildBoundingTree(std::span<BoundingItem* const> items,
                                                BoundingBox const& root_box,
                                                ClusterOptions const& options) {
  auto root = std::make_unique<BoundingNode>();
  root->bounds = root_box;
  for (BoundingItem* item : items) {
    if (item->bounds.Valid()) InsertItem(*root, item, 0);
  }
  PruneTree(*root, nullptr);
  ClusterTree(*root, options);
  PruneTree(*root, nullptr);
  return root;
}

}  // namespace QX::Store
