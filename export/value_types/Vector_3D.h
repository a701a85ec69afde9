#pragma once
// A direction in space. Arithmetic runs in F; lengths are computed in double.
#include <cmath>

namespace KZV {

template <typename F> struct Point_3D;
template <typename F> struct Plane_3D;

template <typename F>
struct Vector_3D {
  F x, y, z;

  Vector_3D() = default;
  Vector_3D(F x_, F y_, F z_) : x(x_), y(y_), z(z_) {}
  explicit Vector_3D(Point_3D<F> const& p) : x(p.x), y(p.y), z(p.z) {}
  explicit Vector_3D(Plane_3D<F> const& p) : x(p.a), y(p.b), z(p.c) {}

  static Vector_3D Zero() { return {F(0), F(0), F(0)}; }

  Vector_3D operator-() const { return {-x, -y, -z}; }
  Vector_3D operator+(Vector_3D const& v) const { return {x + v.x, y + v.y, z + v.z}; }
  Vector_3D operator-(Vector_3D const& v) const { return {x - v.x, y - v.y, z - v.z}; }
  Vector_3D& operator+=(Vector_3D const& v) { x += v.x; y += v.y; z += v.z; return *this; }
  Vector_3D& operator-=(Vector_3D const& v) { x -= v.x; y -= v.y; z -= v.z; return *this; }
  Vector_3D operator*(F s) const { return {x * s, y * s, z * s}; }
  Vector_3D& operator*=(F s) { x *= s; y *= s; z *= s; return *this; }
  // Division multiplies by one reciprocal, computed once in F.
  Vector_3D operator/(F s) const { return *this * (F(1) / s); }
  Vector_3D& operator/=(F s) { return *this *= (F(1) / s); }

  F Dot(Vector_3D const& v) const { return x * v.x + y * v.y + z * v.z; }
  Vector_3D Cross(Vector_3D const& v) const {
    return {y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x};
  }
  double LengthSquared() const {
    double const dx = x, dy = y, dz = z;
    return dx * dx + dy * dy + dz * dz;
  }
  double Length() const { return std::sqrt(LengthSquared()); }

  // Scales to unit length; a length not above epsilon (or NaN) gives the
  // zero vector. With check_range, huge components are scaled down first
  // so that their squares can't overflow.
  Vector_3D& Normalize(bool check_range = false, F epsilon = F(0)) {
    if (check_range) {
      F const m = std::fmax(std::fabs(x), std::fmax(std::fabs(y), std::fabs(z)));
      if (m > F(1e10)) *this *= F(1) / m;
    }
    F const l = std::sqrt(x * x + y * y + z * z);
    if (!(l > epsilon)) {
      x = y = z = F(0);
    } else {
      *this *= F(1) / l;
    }
    return *this;
  }

  // Compares in units of the last place; see Vector_3D.cpp.
  bool Equals(Vector_3D const& other, int tolerance) const;

  bool operator==(Vector_3D const& v) const;
  bool operator!=(Vector_3D const& v) const { return !(*this == v); }
};

template <typename F>
Vector_3D<F> operator*(F s, Vector_3D<F> const& v) { return v * s; }

template <> bool Vector_3D<float>::operator==(Vector_3D const& v) const;
template <> bool Vector_3D<double>::operator==(Vector_3D const& v) const;
template <> bool Vector_3D<float>::Equals(Vector_3D const& other, int tolerance) const;

}  // namespace KZV
