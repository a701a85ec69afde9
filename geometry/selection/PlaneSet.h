#pragma once
// A convex set bounded by planes, with the tests that the plane and ray
// volumes share. Inside is where every plane's row gives at least 0.
#include <cstdint>
#include <span>
#include <vector>

#include "geometry/bounding/BoundingSphere.h"
#include "geometry/bounding/VolumePlane.h"
#include "geometry/selection/PointMath.h"

namespace QX::Store {

class PlaneSet {
 public:
  explicit PlaneSet(std::span<PlaneRow const> rows);

  bool Contains(PointD const& p) const;
  uint32_t TestBox(BoundingBoxD const& box) const;
  uint32_t TestSphere(BoundingSphere const& sphere) const;
  // True when the sphere lies wholly beyond one of the planes.
  bool SphereOutside(BoundingSphere const& sphere) const;
  // Ends in the set, or a cut with a boundary plane that lies in it.
  uint32_t TestSegment(PointD const* points, PointD& hit) const;

  // The rows negated: their positive side lies outside the set.
  std::vector<PlaneRow> const& OutwardRows() const { return outward_; }

 private:
  double Excess(VolumePlane const& plane, PointD const& p) const {
    return Dot(ToPoint(plane.normal), p) - plane.offset;
  }

  std::vector<VolumePlane> planes_;
  std::vector<PlaneRow> outward_;
};

}  // namespace QX::Store
