#pragma once
// A sphere by center and radius; the default one has radius -1.
#include "export/value_types/Point_3D.h"

namespace KZV {

template <typename F>
struct Sphere_3D {
  Point_3D<F> center{F(0), F(0), F(0)};
  F radius = F(-1);

  Sphere_3D() = default;
  Sphere_3D(Point_3D<F> const& c, F r) : center(c), radius(r) {}

  bool operator==(Sphere_3D const& s) const {
    return center == s.center && !(radius < s.radius || radius > s.radius);
  }
  bool operator!=(Sphere_3D const& s) const { return !(*this == s); }
};

}  // namespace KZV
