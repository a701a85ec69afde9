#pragma once
// Tessellation of curves into polylines and of surfaces into faces.
//
// Curves: chords deviate from the curve by at most the given deviation;
// a deviation not above 0 means 1/200 of the curve's radius (32 chords a
// full circle), or for a NURBS curve of its control polygon's extent.
// Closed curves end with their first point again.
//
// Solids (spheres, closed cylinders) come out with their faces clockwise
// when seen from outside: under left handedness their normals point out.
#include "scene/Types.h"

namespace KZV::detail {

struct Entity;

struct Circle {
  Point center;
  float radius;
  Vector u, v;  // unit vectors: the start lies on u, travel turns u to v
  double sweep;   // angle from start to end along the travel, in radians
};

// The circle through three points, travelling from `start` through
// `middle`; false when the points lie on one line.
bool CircleThroughPoints(Point const& start, Point const& middle, Point const& end, Circle& out);

struct Faces {
  PointArray points;
  IntArray face_list;
};

// Throw InvalidSpecificationException for kinds they don't handle.
PointArray TessellateCurve(Entity const& curve, float deviation);
Faces TessellateSurface(Entity const& surface);

}  // namespace KZV::detail
