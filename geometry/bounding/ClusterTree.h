#pragma once
// Refines the octree by clustering: every thread solves every task with its
// own random seed and the best-rated solution wins, pass after pass, until
// no node needs clustering any more.
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "geometry/bounding/BoundingNode.h"

namespace QX::Store {

// Seed of a solver from its thread index (the calling thread last) and its
// task's index in the pass. Must be callable from several threads at once.
using SeedSource = std::function<uint32_t(uint32_t thread, uint64_t task)>;

struct ClusterOptions {
  // Threads in all, the calling one included; 0 takes the hardware count.
  uint32_t threads = 0;
  // Null draws each solver's seed from std::random_device.
  SeedSource seed;
};

void ClusterTree(BoundingNode& root, ClusterOptions const& options = {});

// Builds a tree over the items whose bounds aren't empty: the root takes
// `root_box`, which must hold them all; insert, prune, cluster, prune.
std::unique_ptr<BoundingNode> BuildBoundingTree(std::span<BoundingItem* const> items,
                                                BoundingBox const& root_box,
                                                ClusterOptions const& options = {});

}  // namespace QX::Store
