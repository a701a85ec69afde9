#pragma once
// Selection by a ball around a point; a first hit ends the search in a
// mesh. A point exactly on the sphere counts as inside.
#include "geometry/selection/SelectionVolume.h"

namespace QX::Store {

class SphereVolume final : public SelectionVolume {
 public:
  // `radius` is kept as given; -1 means that it is derived from
  // `radius_squared` where a test needs it.
  SphereVolume(PointD center, double radius_squared, double radius);

  bool StopsAtFirstHit() const override { return true; }
  double Rate(BoundingSphere& sphere) const override;
  double DistanceSquared(PointD const& point) const override;
  bool ContainsPoint(PointD const& point) const override;
  uint32_t TestBox(BoundingBoxD const& box) const override;
  // Inside when the other centre is inside and the other sphere is no
  // larger, though it may reach out of this one.
  uint32_t TestSphere(BoundingSphere& sphere) const override;
  uint32_t TestTriangle(PointD const* points, PointD& hit) override;
  uint32_t TestSegment(PointD const* points, PointD& hit) override;

 private:
  // Where the line from `a` towards `b` first enters the sphere at or after
  // `a`, if it lies within the segment a b.
  bool EntersWithin(PointD const& a, PointD const& b, PointD& at) const;
  double Radius() const;

  PointD center_;
  double radius_squared_;
  double radius_;
};

}  // namespace QX::Store
