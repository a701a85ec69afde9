#pragma once
// Two-component point and vector records.

namespace KZV {

template <typename F>
struct Point_2D {
  F x, y;

  Point_2D() = default;
  Point_2D(F x_, F y_) : x(x_), y(y_) {}
};

template <typename F>
struct Vector_2D {
  F x, y;

  Vector_2D() = default;
  Vector_2D(F x_, F y_) : x(x_), y(y_) {}
};

}  // namespace KZV
