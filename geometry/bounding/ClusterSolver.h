#pragma once
// One k-means solution for one task: seven centroids over the task's
// samples, at most 25 moves, and boxes given to the cluster that holds most
// of their samples.
#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include "geometry/bounding/ClusterRater.h"
#include "geometry/bounding/ClusterTask.h"

namespace QX::Store {

inline constexpr uint32_t kMaxClusterIterations = 25;
inline constexpr uint64_t kMinVotes = 8;  // more than half of a box's 15 samples

class ClusterSolver {
 public:
  ClusterSolver(ClusterTask const& task, float threshold, uint32_t seed);

  ClusterSolution Solve();

  // The steps of Solve, open for tests.
  void Assign();
  bool MoveCentroids();  // true if every centroid stayed within the threshold
  void Vote(ClusterSolution& out);

  std::array<std::array<float, 3>, kClusterCount>& centroids() { return centroids_; }
  std::array<std::vector<uint32_t>, kClusterCount> const& members() const { return members_; }

 private:
  float Uniform(float low, float high);
  void PlaceRandomly(std::array<float, 3>& centroid);

  std::mt19937 generator_;
  std::vector<ClusterSample> const& samples_;
  uint64_t sample_count_;
  uint64_t last_box_;
  BoundingBox bounds_;
  float threshold_;
  uint32_t iteration_ = 0;
  bool converged_ = false;
  std::array<std::array<float, 3>, kClusterCount> centroids_{};
  std::array<std::vector<uint32_t>, kClusterCount> members_;
  std::vector<uint64_t> votes_;  // (last_box + 1) x 7 counters
  ClusterRater rater_;
};

}  // namespace QX::Store
