#pragma once
// The plane a x + b y + c z + d = 0.
#include <cmath>

#include "export/value_types/Point_3D.h"

namespace KZV {

template <typename F>
struct Plane_3D {
  F a, b, c, d;

  Plane_3D() = default;
  Plane_3D(F a_, F b_, F c_, F d_) : a(a_), b(b_), c(c_), d(d_) {}
  Plane_3D(Vector_3D<F> const& normal, Point_3D<F> const& point)
      : a(normal.x), b(normal.y), c(normal.z),
        d(-(normal.x * point.x + normal.y * point.y + normal.z * point.z)) {}

  static Plane_3D Zero() { return {F(0), F(0), F(0), F(0)}; }

  // Scales all four fields so that (a, b, c) has unit length; a normal not
  // longer than epsilon makes the plane all zero.
  Plane_3D& Normalize(F epsilon = F(0)) {
    F const l = std::sqrt(a * a + b * b + c * c);
    if (!(l > epsilon)) {
      a = b = c = d = F(0);
    } else {
      *this /= l;
    }
    return *this;
  }

 private:
  Plane_3D& operator*=(F s) { a *= s; b *= s; c *= s; d *= s; return *this; }
  Plane_3D& operator/=(F s) { return *this *= (F(1) / s); }
};

}  // namespace KZV
