#pragma once
// Selection by a convex set of planes, such as a box dragged on the screen
// taken into the scene: a first hit ends the search in a mesh.
#include <span>
#include <vector>

#include "geometry/selection/PlaneClipping.h"
#include "geometry/selection/PlaneSet.h"
#include "geometry/selection/SelectionVolume.h"

namespace QX::Store {

class PlaneVolume final : public SelectionVolume {
 public:
  // No rows: the volume holds everything.
  PlaneVolume(std::span<PlaneRow const> rows, PointD reference);

  bool StopsAtFirstHit() const override { return true; }
  double Rate(BoundingSphere& sphere) const override;
  double DistanceSquared(PointD const& point) const override;
  bool ContainsPoint(PointD const& point) const override { return planes_.Contains(point); }
  uint32_t TestBox(BoundingBoxD const& box) const override { return planes_.TestBox(box); }
  uint32_t TestSphere(BoundingSphere& sphere) const override { return planes_.TestSphere(sphere); }
  uint32_t TestTriangle(PointD const* points, PointD& hit) override;
  uint32_t TestSegment(PointD const* points, PointD& hit) override {
    return planes_.TestSegment(points, hit);
  }

 private:
  // Whether anything of the triangle is left after cutting away what lies
  // beyond each plane; the first vertex of what is left goes to `hit`.
  bool AnythingLeft(Triangle const& triangle, PointD& hit);

  PlaneSet planes_;
  PointD reference_;
  // Working lists of the clipping, empty between calls.
  std::vector<Triangle> scratch_[2];
};

}  // namespace QX::Store
