#include "geometry/selection/RayVolume.h"

namespace QX::Store {

using namespace VolumeTest;

namespace {

// Whether P lies in the triangle p0 p1 p2 of its plane, by the barycentric
// test on dot products; either sign of the determinant is taken, so the
// test holds for both windings.
bool InTriangle(PointD const* p, PointD const& P) {
  PointD const e = p[2] - p[0], f = p[1] - p[0], g = P - p[0];
  double const ee = Dot(e, e), ef = Dot(e, f), ff = Dot(f, f), ge = Dot(g, e), gf = Dot(g, f);
  double const d = ee * ff - ef * ef;
  double const s = ge * ff - ef * gf;
  double const r = gf * ee - ef * ge;
  if (d > 0) return s >= 0 && r >= 0 && s + r <= d;
  if (d < 0) return s <= 0 && r <= 0 && s + r >= d;
  return false;
}

}  // namespace

RayVolume::RayVolume(std::array<PlaneRow, 5> const& rows, PointD origin, PointD direction)
    : tube_(rows), origin_(origin), direction_(direction) {}

double RayVolume::Rate(BoundingSphere& sphere) const {
  return tube_.SphereOutside(sphere) ? -1.0 : DistanceSquared(sphere.center);
}

double RayVolume::DistanceSquared(PointD const& point) const {
  return DistanceSquaredOf(point, origin_);
}

uint32_t RayVolume::TestTriangle(PointD const* p, PointD& hit) {
  if (p[0] == p[1] || p[1] == p[2] || p[0] == p[2]) return Outside;
  PointD const n = Cross(p[1] - p[0], p[2] - p[0]);
  double num = Dot(n, p[0] - origin_);
  double den = Dot(n, direction_);
  if (den < 0) {
    num = -num;
    den = -den;
  }
  // Behind the origin, or a ray parallel to the triangle's plane.
  if (num < 0 || !(den > 0)) return Outside;
  PointD const P = origin_ + direction_ * (num / den);
  if (!InTriangle(p, P)) return Outside;
  hit = P;
  return Crossing;
}

}  // namespace QX::Store
