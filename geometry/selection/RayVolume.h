#pragma once
// Selection by a ray, such as a pick under the mouse: a thin tube of five
// planes around the ray for boxes, spheres, segments and points, and the
// ray itself for triangles. The nearest hit is wanted, so a search in a
// mesh never stops early.
#include <array>

#include "geometry/selection/PlaneSet.h"
#include "geometry/selection/SelectionVolume.h"

namespace QX::Store {

class RayVolume final : public SelectionVolume {
 public:
  RayVolume(std::array<PlaneRow, 5> const& rows, PointD origin, PointD direction);

  bool StopsAtFirstHit() const override { return false; }
  double Rate(BoundingSphere& sphere) const override;
  double DistanceSquared(PointD const& point) const override;
  bool ContainsPoint(PointD const& point) const override { return tube_.Contains(point); }
  uint32_t TestBox(BoundingBoxD const& box) const override { return tube_.TestBox(box); }
  uint32_t TestSphere(BoundingSphere& sphere) const override { return tube_.TestSphere(sphere); }
  // Crossing where the ray pierces the triangle, `hit` the point; a
  // triangle is never inside a ray.
  uint32_t TestTriangle(PointD const* points, PointD& hit) override;
  uint32_t TestSegment(PointD const* points, PointD& hit) override {
    return tube_.TestSegment(points, hit);
  }

 private:
  PlaneSet tube_;
  PointD origin_;
  PointD direction_;
};

}  // namespace QX::Store
