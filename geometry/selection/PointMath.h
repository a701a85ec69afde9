#pragma once
// Vector arithmetic on double points, for the selection tests.
#include <array>
#include <cmath>

#include "geometry/bounding/BoundingBoxD.h"

namespace QX::Store {

inline PointD operator+(PointD a, PointD b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline PointD operator-(PointD a, PointD b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline PointD operator*(PointD a, double s) { return {a.x * s, a.y * s, a.z * s}; }
inline double Dot(PointD a, PointD b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline PointD Cross(PointD a, PointD b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double LengthSquared(PointD a) { return Dot(a, a); }
inline double DistanceSquaredOf(PointD a, PointD b) { return LengthSquared(a - b); }

// Scaled to length 1 when its length is above 0, else as it is.
inline PointD NormalizedOrSame(PointD a) {
  double const length = std::sqrt(LengthSquared(a));
  return length > 0 ? a * (1.0 / length) : a;
}

inline PointD ToPoint(std::array<double, 3> const& a) { return {a[0], a[1], a[2]}; }
// The normal (a, b, c) of a plain plane row (a, b, c, d).
inline PointD NormalOf(std::array<double, 4> const& row) { return {row[0], row[1], row[2]}; }

}  // namespace QX::Store
