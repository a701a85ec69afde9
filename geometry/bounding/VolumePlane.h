#pragma once
// A plane a x + b y + c z + d = 0 with what the volume tests need made
// ready. The inner side is where a x + b y + c z - offset >= 0.
#include <array>
#include <span>
#include <vector>

namespace QX::Store {

template <class F>
struct PlaneOf {
  std::array<F, 3> normal{};  // a, b, c; not normalised
  F offset = 0;               // -d
  std::array<F, 3> abs_normal{};
  std::array<F, 3> normal_sign{};  // -1 where the component is negative, else 1
  F inverse_length_squared = 0;    // 1 / (a² + b² + c²), 0 when that is 0 or NaN
};

using VolumePlane = PlaneOf<double>;

// Plain plane coefficients a, b, c, d.
template <class F>
using PlaneRowOf = std::array<F, 4>;
using PlaneRow = PlaneRowOf<double>;

template <class F>
PlaneOf<F> PreparePlane(PlaneRowOf<F> const& row) {
  PlaneOf<F> p;
  for (int i = 0; i < 3; ++i) {
    F const v = row[i];
    p.normal[i] = v;
    p.abs_normal[i] = v < 0 ? -v : v;
    p.normal_sign[i] = v < 0 ? F(-1) : F(1);
  }
  p.offset = -row[3];
  F const sum = row[0] * row[0] + row[1] * row[1] + row[2] * row[2];
  p.inverse_length_squared = (sum < 0 || sum > 0) ? F(1) / sum : F(0);
  return p;
}

std::vector<VolumePlane> PreparePlanes(std::span<PlaneRow const> rows);

}  // namespace QX::Store
