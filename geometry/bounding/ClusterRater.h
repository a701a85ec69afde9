#pragma once
// Clustering solutions and their rating: little overlap between the cluster
// boxes, relative to the whole, and no cluster much smaller than a ninth of
// the boxes. Lower is better.
#include <array>
#include <cstddef>  // store/Types.h uses size_t without including it
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

// K lists of box indices, one per cluster, and a last one of the boxes that
// belong to no cluster.
template <size_t K>
struct RatedClusters {
  std::array<std::vector<uint32_t>, K + 1> lists;
  float rating = std::numeric_limits<float>::infinity();
};

inline constexpr size_t kClusterCount = 7;
using ClusterSolution = RatedClusters<kClusterCount>;

class ClusterRater {
 public:
  ClusterRater(BoundingBox const& bounds, std::span<BoundingBox const> boxes);

  float Rate(ClusterSolution const& solution) const;

  bool volumetric() const { return volumetric_; }
  double overlap_scale() const { return overlap_scale_; }
  uint64_t small() const { return small_; }
  uint64_t smaller() const { return smaller_; }
  uint64_t smallest() const { return smallest_; }

 private:
  float SizePenalty(ClusterSolution const& solution) const;
  double OverlapSum(ClusterSolution const& solution) const;

  std::span<BoundingBox const> boxes_;
  bool volumetric_;
  double overlap_scale_;
  float count_scale_;
  uint64_t small_;
  uint64_t smaller_;
  uint64_t smallest_;
};

}  // namespace QX::Store
