#include "geometry/bounding/ClusterRater.h"

#include <algorithm>
#include <cmath>

#include "geometry/bounding/BoundingBoxD.h"

namespace QX::Store {

namespace {

// Area of a flat box, from two of its extents: x and y, or whichever of them
// is positive together with z.
double FlatMeasure(float ex, float ey, float ez) {
  float a = std::max(ex, 0.0f);
  float b = std::max(ey, 0.0f);
  if (!(a > 0)) {
    a = ez;
  } else if (!(b > 0)) {
    b = ez;
  }
  return static_cast<double>(a) * static_cast<double>(b);
}

double OverlapScale(BoundingBox const& b, bool volumetric) {
  float const dx = b.max_x - b.min_x;
  float const dy = b.max_y - b.min_y;
  float const dz = b.max_z - b.min_z;
  if (volumetric) {
    return 200.0 / (static_cast<double>(dx) * static_cast<double>(dy) * static_cast<double>(dz));
  }
  return 200.0 / FlatMeasure(dx, dy, dz);
}

}  // namespace

ClusterRater::ClusterRater(BoundingBox const& bounds, std::span<BoundingBox const> boxes)
    : boxes_(boxes) {
  uint64_t const n = boxes.size();
  volumetric_ = bounds.max_x - bounds.min_x > 0 && bounds.max_y - bounds.min_y > 0 &&
                bounds.max_z - bounds.min_z > 0;
  overlap_scale_ = OverlapScale(bounds, volumetric_);
  count_scale_ = 10.0f / static_cast<float>(n);
  small_ = static_cast<uint64_t>(static_cast<float>(n) * 0.10989012f);
  smaller_ = n / 28;
  smallest_ = n / 56;
}

float ClusterRater::SizePenalty(ClusterSolution const& solution) const {
  float sum = 0;
  for (size_t k = 0; k < kClusterCount; ++k) {
    uint64_t const count = solution.lists[k].size();
    if (count > small_) continue;
    uint64_t penalty = small_ - count + 1;
    if (count < smaller_) penalty *= 10;
    if (count < smallest_) penalty *= 10;
    sum += static_cast<float>(penalty);
  }
  return sum * count_scale_;
}

double ClusterRater::OverlapSum(ClusterSolution const& solution) const {
  std::array<BoundingBox, kClusterCount> cluster_boxes;  // empty boxes to start with
  for (size_t k = 0; k < kClusterCount; ++k) {
    for (uint32_t index : solution.lists[k]) Unite(cluster_boxes[k], boxes_[index]);
  }
  double sum = 0;
  for (size_t i = 0; i < kClusterCount; ++i) {
    BoundingBox const& a = cluster_boxes[i];
    for (size_t j = i + 1; j < kClusterCount; ++j) {
      BoundingBox const& b = cluster_boxes[j];
      float const ex = std::min(a.max_x, b.max_x) - std::max(a.min_x, b.min_x);
      float const ey = std::min(a.max_y, b.max_y) - std::max(a.min_y, b.min_y);
      float const ez = std::min(a.max_z, b.max_z) - std::max(a.min_z, b.min_z);
      double const measure =
          volumetric_ ? static_cast<double>(ex) * static_cast<double>(ey) * static_cast<double>(ez)
                      : FlatMeasure(ex, ey, ez);
      if (std::isfinite(measure) && measure > 0) sum += measure;
    }
  }
  return sum;
}

float ClusterRater::Rate(ClusterSolution const& solution) const {
  return static_cast<float>(OverlapSum(solution) * overlap_scale_) + SizePenalty(solution);
}

}  // namespace QX::Store
