#include "geometry/bounding/BoundingSphere.h"

#include <cmath>

namespace QX::Store {

BoundingSphere SphereOfBox(BoundingBoxD const& b) {
  double const hx = (b.max_x - b.min_x) * 0.5;
  double const hy = (b.max_y - b.min_y) * 0.5;
  double const hz = (b.max_z - b.min_z) * 0.5;
  BoundingSphere s;
  s.center = {(b.min_x + b.max_x) * 0.5, (b.min_y + b.max_y) * 0.5, (b.min_z + b.max_z) * 0.5};
  s.radius_squared = hx * hx + hy * hy + hz * hz;
  return s;
}

BoundingBoxD BoxOfSphere(BoundingSphere& s) {
  if (s.radius == -1.0) s.radius = std::sqrt(s.radius_squared);
  // The factor is fixed at 1.415 so that boxes made from spheres agree
  // wherever they are made.
  double const r = 1.415 * s.radius;
  return {s.center.x - r, s.center.y - r, s.center.z - r,
          s.center.x + r, s.center.y + r, s.center.z + r};
}

}  // namespace QX::Store
