#include "geometry/bounding/BoundingBoxD.h"

#include <algorithm>

#include "geometry/bounding/MatrixMath.h"

namespace QX::Store {

namespace {

struct Scan {
  float min[3];
  float max[3];

  void Start(float x, float y, float z) {
    min[0] = max[0] = x;
    min[1] = max[1] = y;
    min[2] = max[2] = z;
  }
  // A NaN coordinate fails `v >= min` and so becomes the new minimum.
  void Add(float const (&v)[3]) {
    for (int axis = 0; axis < 3; ++axis) {
      if (!(v[axis] >= min[axis])) {
        min[axis] = v[axis];
      } else if (v[axis] > max[axis]) {
        max[axis] = v[axis];
      }
    }
  }
  BoundingBox Box() const { return {min[0], min[1], min[2], max[0], max[1], max[2]}; }
};

template <class P>
BoundingBox ScanAny(P const* points, uint64_t count) {
  if (count == 0) return {0, 0, 0, 0, 0, 0};
  Scan scan;
  scan.Start(static_cast<float>(points[0].x), static_cast<float>(points[0].y),
             static_cast<float>(points[0].z));
  for (uint64_t i = 1; i < count; ++i) {
    float const v[3] = {static_cast<float>(points[i].x), static_cast<float>(points[i].y),
                        static_cast<float>(points[i].z)};
    scan.Add(v);
  }
  return scan.Box();
}

}  // namespace

BoundingBoxD ToDouble(BoundingBox const& b) {
  return {b.min_x, b.min_y, b.min_z, b.max_x, b.max_y, b.max_z};
}

BoundingBox ToFloat(BoundingBoxD const& b) {
  return {static_cast<float>(b.min_x), static_cast<float>(b.min_y), static_cast<float>(b.min_z),
          static_cast<float>(b.max_x), static_cast<float>(b.max_y), static_cast<float>(b.max_z)};
}

BoundingBox ScanPoints(Point const* points, uint64_t count) { return ScanAny(points, count); }
BoundingBox ScanPoints(PointD const* points, uint64_t count) { return ScanAny(points, count); }

std::array<PointD, 8> BoxCorners(BoundingBoxD const& b) {
  return {{{b.min_x, b.min_y, b.min_z},
           {b.max_x, b.min_y, b.min_z},
           {b.min_x, b.max_y, b.min_z},
           {b.max_x, b.max_y, b.min_z},
           {b.min_x, b.min_y, b.max_z},
           {b.max_x, b.min_y, b.max_z},
           {b.min_x, b.max_y, b.max_z},
           {b.max_x, b.max_y, b.max_z}}};
}

BoundingBoxD TransformBox(BoundingBoxD const& box, Matrix const& matrix) {
  auto corners = BoxCorners(box);
  TransformPoints(matrix, corners.data(), corners.size());
  BoundingBoxD out{corners[0].x, corners[0].y, corners[0].z,
                   corners[0].x, corners[0].y, corners[0].z};
  for (auto const& c : corners) {
    out.min_x = std::min(out.min_x, c.x);
    out.min_y = std::min(out.min_y, c.y);
    out.min_z = std::min(out.min_z, c.z);
    out.max_x = std::max(out.max_x, c.x);
    out.max_y = std::max(out.max_y, c.y);
    out.max_z = std::max(out.max_z, c.z);
  }
  return out;
}

void Unite(BoundingBox& into, BoundingBox const& box) {
  into.min_x = std::min(into.min_x, box.min_x);
  into.min_y = std::min(into.min_y, box.min_y);
  into.min_z = std::min(into.min_z, box.min_z);
  into.max_x = std::max(into.max_x, box.max_x);
  into.max_y = std::max(into.max_y, box.max_y);
  into.max_z = std::max(into.max_z, box.max_z);
}

bool Contains(BoundingBox const& outer, BoundingBox const& inner) {
  return inner.min_x >= outer.min_x && inner.min_y >= outer.min_y && inner.min_z >= outer.min_z &&
         inner.max_x <= outer.max_x && inner.max_y <= outer.max_y && inner.max_z <= outer.max_z;
}

}  // namespace QX::Store
