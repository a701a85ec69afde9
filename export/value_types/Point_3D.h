#pragma once
// A position in space. Points and vectors convert into each other by copy.
#include "export/value_types/Vector_3D.h"

namespace KZV {

template <typename F>
struct Point_3D {
  F x, y, z;

  Point_3D() = default;
  Point_3D(F x_, F y_, F z_) : x(x_), y(y_), z(z_) {}
  explicit Point_3D(Vector_3D<F> const& v) : x(v.x), y(v.y), z(v.z) {}

  static Point_3D Zero() { return {F(0), F(0), F(0)}; }

  F& operator[](int i) { return i == 0 ? x : (i == 1 ? y : z); }
  F operator[](int i) const { return i == 0 ? x : (i == 1 ? y : z); }

  Point_3D operator-() const { return {-x, -y, -z}; }
  Vector_3D<F> operator-(Point_3D const& p) const { return {x - p.x, y - p.y, z - p.z}; }
  Point_3D operator+(Vector_3D<F> const& v) const { return {x + v.x, y + v.y, z + v.z}; }
  Point_3D operator-(Vector_3D<F> const& v) const { return {x - v.x, y - v.y, z - v.z}; }
  Point_3D& operator+=(Vector_3D<F> const& v) { x += v.x; y += v.y; z += v.z; return *this; }
  Point_3D& operator-=(Vector_3D<F> const& v) { x -= v.x; y -= v.y; z -= v.z; return *this; }

  // Fields differ only when one is less or greater than the other: a NaN
  // equals everything and -0.0 equals 0.0.
  bool operator==(Point_3D const& p) const {
    return !(x < p.x || x > p.x || y < p.y || y > p.y || z < p.z || z > p.z);
  }
  bool operator!=(Point_3D const& p) const { return !(*this == p); }
};

}  // namespace KZV
