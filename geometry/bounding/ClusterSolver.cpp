#include "geometry/bounding/ClusterSolver.h"

#include <algorithm>
#include <limits>

namespace QX::Store {

ClusterSolver::ClusterSolver(ClusterTask const& task, float threshold, uint32_t seed)
    : generator_(seed),
      samples_(task.samples),
      sample_count_(task.samples.size()),
      last_box_(task.samples.empty() ? 0 : task.samples.back().box),
      bounds_(task.bounds),
      threshold_(threshold),
      votes_((last_box_ + 1) * kClusterCount),
      rater_(task.bounds, task.boxes) {
  for (auto& centroid : centroids_) PlaceRandomly(centroid);
}

// One 32-bit draw turned into a float in [0, 1) with 24 bits of precision.
float ClusterSolver::Uniform(float low, float high) {
  float const unit = static_cast<float>(generator_() >> 8) * 0x1p-24f;
  return low + unit * (high - low);
}

// Coordinates are drawn in the order z, y, x.
void ClusterSolver::PlaceRandomly(std::array<float, 3>& c) {
  c[2] = Uniform(bounds_.min_z, bounds_.max_z);
  c[1] = Uniform(bounds_.min_y, bounds_.max_y);
  c[0] = Uniform(bounds_.min_x, bounds_.max_x);
}

void ClusterSolver::Assign() {
  for (auto& list : members_) list.clear();
  for (uint64_t i = 0; i < sample_count_; ++i) {
    ClusterSample const& s = samples_[i];
    float best = std::numeric_limits<float>::max();
    size_t chosen = 0;
    for (size_t k = 0; k < kClusterCount; ++k) {
      float const dx = s.x - centroids_[k][0];
      float const dy = s.y - centroids_[k][1];
      float const dz = s.z - centroids_[k][2];
      float const d = dx * dx + dy * dy + dz * dz;
      if (d < best) {
        best = d;
        chosen = k;
      }
    }
    members_[chosen].push_back(static_cast<uint32_t>(i));
  }
}

bool ClusterSolver::MoveCentroids() {
  bool all_stayed = true;
  for (size_t k = 0; k < kClusterCount; ++k) {
    auto& centroid = centroids_[k];
    if (members_[k].empty()) {
      all_stayed = false;
      PlaceRandomly(centroid);
      continue;
    }
    float sx = 0, sy = 0, sz = 0;
    for (uint32_t i : members_[k]) {
      sx += samples_[i].x;
      sy += samples_[i].y;
      sz += samples_[i].z;
    }
    float const inverse = 1.0f / static_cast<float>(members_[k].size());
    std::array<float, 3> const moved = {sx * inverse, sy * inverse, sz * inverse};
    if (all_stayed) {
      float const dx = moved[0] - centroid[0];
      float const dy = moved[1] - centroid[1];
      float const dz = moved[2] - centroid[2];
      // Note: a squared distance is compared with a length here.
      all_stayed = dx * dx + dy * dy + dz * dz <= threshold_;
    }
    centroid = moved;
  }
  return all_stayed;
}

void ClusterSolver::Vote(ClusterSolution& out) {
  for (auto& list : out.lists) list.clear();
  std::fill(votes_.begin(), votes_.end(), 0);
  for (size_t k = 0; k < kClusterCount; ++k) {
    for (uint32_t i : members_[k]) ++votes_[samples_[i].box * kClusterCount + k];
  }
  for (uint64_t box = 0; box <= last_box_; ++box) {
    uint64_t const* counts = &votes_[box * kClusterCount];
    size_t best = 0;
    for (size_t k = 1; k < kClusterCount; ++k) {
      if (counts[k] > counts[best]) best = k;
    }
    size_t const list = counts[best] >= kMinVotes ? best : kClusterCount;
    out.lists[list].push_back(static_cast<uint32_t>(box));
  }
}

ClusterSolution ClusterSolver::Solve() {
  ClusterSolution result;
  ClusterSolution current;
  do {
    if (++iteration_ <= kMaxClusterIterations) {
      Assign();
      converged_ = MoveCentroids();
    } else {
      converged_ = true;
    }
    Vote(current);
    float const rating = rater_.Rate(current);
    // Written so that a rating that is not a number replaces the result too.
    if (!(rating >= result.rating)) {
      result.rating = rating;
      std::swap(result.lists, current.lists);  // Vote clears `current` anyway
    }
  } while (!converged_);
  return result;
}

}  // namespace QX::Store
