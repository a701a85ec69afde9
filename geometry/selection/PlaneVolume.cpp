#include "geometry/selection/PlaneVolume.h"

namespace QX::Store {

using namespace VolumeTest;

PlaneVolume::PlaneVolume(std::span<PlaneRow const> rows, PointD reference)
    : planes_(rows), reference_(reference) {}

double PlaneVolume::Rate(BoundingSphere& sphere) const {
  return planes_.SphereOutside(sphere) ? -1.0 : DistanceSquared(sphere.center);
}

double PlaneVolume::DistanceSquared(PointD const& point) const {
  return DistanceSquaredOf(point, reference_);
}

uint32_t PlaneVolume::TestTriangle(PointD const* p, PointD& hit) {
  hit = p[0];
  int contained = 0;
  for (int i = 2; i >= 0; --i) {
    if (planes_.Contains(p[i])) {
      hit = p[i];
      ++contained;
    }
  }
  if (contained == 3) return Inside;
  if (contained > 0) return Crossing;
  if (p[0] == p[1] || p[1] == p[2] || p[0] == p[2]) return Outside;
  return AnythingLeft({p[0], p[1], p[2]}, hit) ? Crossing : Outside;
}

bool PlaneVolume::AnythingLeft(Triangle const& triangle, PointD& hit) {
  auto& work = scratch_[0];
  auto& next = scratch_[1];
  work.push_back(triangle);
  for (auto const& row : planes_.OutwardRows()) {
    if (work.empty()) break;
    for (auto const& t : work) ClipTriangle(row, t, next);
    work.swap(next);
    next.clear();
  }
  bool const left = !work.empty();
  if (left) hit = work.front()[0];
  work.clear();
  return left;
}

}  // namespace QX::Store
