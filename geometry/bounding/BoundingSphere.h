#pragma once
// The sphere of a stream instance, and the conversions between it and a box.
#include "geometry/bounding/BoundingBoxD.h"

namespace QX::Store {

struct BoundingSphere {
  PointD center;
  double radius_squared = 0;
  // -1 until derived: whoever needs it stores sqrt(radius_squared) here first.
  double radius = -1.0;
};

// Centre at the midpoint, the squared radius the sum of the squared half
// extents, the radius not derived yet.
BoundingSphere SphereOfBox(BoundingBoxD const& box);

// Centre plus and minus 1.415 times the radius on each axis; derives the
// radius if needed.
BoundingBoxD BoxOfSphere(BoundingSphere& sphere);

}  // namespace QX::Store
