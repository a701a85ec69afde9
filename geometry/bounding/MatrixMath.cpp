#include "geometry/bounding/MatrixMath.h"

#include <algorithm>
#include <cmath>

namespace QX::Store {

namespace {

PointD Apply(Matrix const& m, double x, double y, double z) {
  return {x * m[0] + y * m[3] + z * m[6] + m[9], x * m[1] + y * m[4] + z * m[7] + m[10],
          x * m[2] + y * m[5] + z * m[8] + m[11]};
}

PointD Apply(Matrix4 const& m, PointD const& p) {
  return {m[0] * p.x + m[1] * p.y + m[2] * p.z + m[3],
          m[4] * p.x + m[5] * p.y + m[6] * p.z + m[7],
          m[8] * p.x + m[9] * p.y + m[10] * p.z + m[11]};
}

PointD Add(PointD a, PointD b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
PointD Sub(PointD a, PointD b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
PointD Scale(PointD a, double s) { return {a.x * s, a.y * s, a.z * s}; }
PointD Cross(PointD a, PointD b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
double Length(PointD a) { return std::sqrt(a.x * a.x + a.y * a.y + a.z * a.z); }

// A vector of length 0 is taken as it is.
PointD Normalized(PointD a) {
  double const length = Length(a);
  return length == 0 ? a : Scale(a, 1.0 / length);
}

bool IsIdentity(Matrix4 const& m) {
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 4; ++c) {
      double const e = m[r * 4 + c];
      if (r == c) {
        if (std::abs(e - 1.0) > 1e-12 * std::min(std::abs(e), 1.0)) return false;
      } else if (std::abs(e) > 1e-12) {
        return false;
      }
    }
  }
  return true;
}

}  // namespace

Matrix Concat(Matrix const& a, Matrix const& b) {
  Matrix out{};
  for (int row = 0; row < 4; ++row) {
    double const x = a[row * 3], y = a[row * 3 + 1], z = a[row * 3 + 2];
    for (int c = 0; c < 3; ++c) {
      out[row * 3 + c] = x * b[c] + y * b[3 + c] + z * b[6 + c];
    }
  }
  for (int c = 0; c < 3; ++c) out[9 + c] += b[9 + c];
  return out;
}

Matrix4 Expand(Matrix const& m) {
  Matrix4 out{};
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 4; ++c) out[r * 4 + c] = m[c * 3 + r];
  }
  out[15] = 1.0;
  return out;
}

void TransformPoints(Matrix const& m, PointD* points, uint64_t count) {
  for (uint64_t i = 0; i < count; ++i) points[i] = Apply(m, points[i].x, points[i].y, points[i].z);
}

void TransformPoints(Matrix const& m, Point* points, uint64_t count) {
  for (uint64_t i = 0; i < count; ++i) {
    PointD const p = Apply(m, points[i].x, points[i].y, points[i].z);
    points[i] = {static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)};
  }
}

void TransformCamera(PointD& position, PointD& target, PointD& up, double& width,
                     double& height, Matrix4 const& m) {
  if (IsIdentity(m)) return;
  PointD const u_axis = Scale(Normalized(up), std::abs(height));
  PointD const r_axis = Scale(Normalized(Cross(u_axis, Sub(position, target))), std::abs(width));

  PointD const new_target = Apply(m, target);
  PointD const r = Sub(Apply(m, Add(target, r_axis)), new_target);
  PointD const u = Sub(Apply(m, Add(target, u_axis)), new_target);
  position = Apply(m, position);
  target = new_target;
  up = Normalized(u);
  height = std::copysign(Length(u), height);
  width = std::copysign(Length(r), width);
}

}  // namespace QX::Store
