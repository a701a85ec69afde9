#include "geometry/selection/PlaneSet.h"

#include "geometry/selection/PlaneClipping.h"
#include "geometry/selection/SelectionVolume.h"

namespace QX::Store {

using namespace VolumeTest;

PlaneSet::PlaneSet(std::span<PlaneRow const> rows) : planes_(PreparePlanes(rows)) {
  outward_.reserve(rows.size());
  for (auto const& r : rows) outward_.push_back({-r[0], -r[1], -r[2], -r[3]});
}

bool PlaneSet::Contains(PointD const& p) const {
  for (auto const& plane : planes_)
    if (!(Excess(plane, p) >= 0)) return false;
  return true;
}

uint32_t PlaneSet::TestBox(BoundingBoxD const& b) const {
  PointD const c{(b.min_x + b.max_x) * 0.5, (b.min_y + b.max_y) * 0.5, (b.min_z + b.max_z) * 0.5};
  PointD const h{(b.max_x - b.min_x) * 0.5, (b.max_y - b.min_y) * 0.5, (b.max_z - b.min_z) * 0.5};
  bool crossed = false;
  for (auto const& plane : planes_) {
    double const m = Dot(ToPoint(plane.normal), c);
    double const r = Dot(ToPoint(plane.abs_normal), h);
    if (!(r + m > plane.offset)) return Outside;
    if (plane.offset > m - r) crossed = true;
  }
  return crossed ? Crossing : Inside;
}

bool PlaneSet::SphereOutside(BoundingSphere const& s) const {
  for (auto const& plane : planes_) {
    double const e = Excess(plane, s.center);
    if (!(e >= 0) && e * e * plane.inverse_length_squared >= s.radius_squared) return true;
  }
  return false;
}

uint32_t PlaneSet::TestSphere(BoundingSphere const& s) const {
  if (SphereOutside(s)) return Outside;
  for (auto const& plane : planes_) {
    double const e = Excess(plane, s.center);
    if (!(e >= 0 && e * e * plane.inverse_length_squared >= s.radius_squared)) return Crossing;
  }
  return Inside;
}

uint32_t PlaneSet::TestSegment(PointD const* p, PointD& hit) const {
  bool const a = Contains(p[0]), b = Contains(p[1]);
  if (a) hit = p[0];
  if (b) hit = p[1];
  if (a && b) return Inside;
  if (a || b) return Crossing;
  for (auto const& row : outward_) {
    auto cut = CutSegment(row, p[0], p[1]);
    if (cut && Contains(*cut)) {
      hit = *cut;
      return Crossing;
    }
  }
  return Outside;
}

}  // namespace QX::Store
