#include "geometry/selection/SphereVolume.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "geometry/bounding/VolumePlane.h"
#include "geometry/selection/PointMath.h"

namespace QX::Store {

using namespace VolumeTest;

SphereVolume::SphereVolume(PointD center, double radius_squared, double radius)
    : center_(center), radius_squared_(radius_squared), radius_(radius) {}

double SphereVolume::Radius() const {
  return radius_ == -1.0 ? std::sqrt(radius_squared_) : radius_;
}

double SphereVolume::Rate(BoundingSphere& sphere) const {
  return TestSphere(sphere) == Outside ? -1.0 : DistanceSquared(sphere.center);
}

double SphereVolume::DistanceSquared(PointD const& point) const {
  return DistanceSquaredOf(point, center_);
}

bool SphereVolume::ContainsPoint(PointD const& point) const {
  return !(DistanceSquared(point) > radius_squared_);
}

uint32_t SphereVolume::TestBox(BoundingBoxD const& b) const {
  auto clamp = [](double v, double lo, double hi) { return std::max(lo, std::min(v, hi)); };
  PointD const nearest{clamp(center_.x, b.min_x, b.max_x), clamp(center_.y, b.min_y, b.max_y),
                       clamp(center_.z, b.min_z, b.max_z)};
  if (DistanceSquared(nearest) > radius_squared_) return Outside;
  for (auto const& corner : BoxCorners(b))
    if (!ContainsPoint(corner)) return Crossing;
  return Inside;
}

uint32_t SphereVolume::TestSphere(BoundingSphere& s) const {
  double const d2 = DistanceSquared(s.center);
  if (radius_squared_ >= s.radius_squared && !(d2 > radius_squared_)) return Inside;
  if (s.radius == -1.0) s.radius = std::sqrt(s.radius_squared);
  double const reach = Radius() + s.radius;
  return reach * reach >= d2 ? Crossing : Outside;
}

bool SphereVolume::EntersWithin(PointD const& a, PointD const& b, PointD& at) const {
  PointD const u = NormalizedOrSame(b - a);
  PointD const to_center = center_ - a;
  double const f = Dot(to_center, u);
  double const g = radius_squared_ - (LengthSquared(to_center) - f * f);
  if (g < 0) return false;
  double const t0 = f - std::sqrt(g), t1 = f + std::sqrt(g);
  double t;
  if (t0 >= 0) {
    t = t0;
  } else if (t1 >= 0) {
    t = t1;
  } else {
    return false;
  }
  PointD const q = a + u * t;
  if (!(LengthSquared(b - a) >= DistanceSquaredOf(a, q))) return false;
  at = q;
  return true;
}

uint32_t SphereVolume::TestSegment(PointD const* p, PointD& hit) {
  hit = p[0];
  bool const a = ContainsPoint(p[0]), b = ContainsPoint(p[1]);
  if (b) {
    if (!a) hit = p[1];
    return a ? Inside : Crossing;
  }
  if (a) return Crossing;
  return EntersWithin(p[0], p[1], hit) ? Crossing : Outside;
}

uint32_t SphereVolume::TestTriangle(PointD const* p, PointD& hit) {
  hit = p[0];
  PointD const n = NormalizedOrSame(Cross(p[1] - p[0], p[2] - p[0]));
  double const height = Dot(n, center_ - p[0]);
  if (std::abs(height) >= Radius()) return Outside;
  int contained = 0;
  for (int i = 2; i >= 0; --i) {
    if (ContainsPoint(p[i])) {
      hit = p[i];
      ++contained;
    }
  }
  if (contained == 3) return Inside;
  if (contained > 0) return Crossing;
  if (p[0] == p[1] || p[1] == p[2] || p[0] == p[2]) return Outside;
  for (int i = 0; i < 3; ++i)
    if (EntersWithin(p[i], p[(i + 1) % 3], hit)) return Crossing;
  // No vertex or edge inside: the sphere can still meet the triangle's
  // interior if its centre stands over the triangle.
  std::array<PlaneRow, 3> rows;
  for (int i = 0; i < 3; ++i) {
    PointD const m = NormalizedOrSame(Cross(n, p[(i + 1) % 3] - p[i]));
    rows[i] = {m.x, m.y, m.z, -Dot(m, p[i])};
  }
  for (auto const& plane : PreparePlanes(rows))
    if (!(Dot(ToPoint(plane.normal), center_) - plane.offset >= 0)) return Outside;
  hit = center_ - n * height;
  return Crossing;
}

}  // namespace QX::Store
