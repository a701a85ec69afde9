#include "scene/MatrixKit.h"

#include <cmath>
#include <numbers>

#include "export/value_types/Exceptions.h"

namespace KZV {
namespace {

using Elements = std::array<float, 16>;

constexpr Elements kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

// Row-vector convention: p * a * b applies a first.
Elements Product(Elements const& a, Elements const& b) {
  Elements r{};
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) {
      double sum = 0;
      for (int k = 0; k < 4; ++k) sum += double(a[i * 4 + k]) * b[k * 4 + j];
      r[i * 4 + j] = float(sum);
    }
  return r;
}

MatrixKit FromElements(Elements const& e) {
  MatrixKit kit;
  kit.SetElements(16, e.data());
  return kit;
}

Elements RotationAbout(int axis, float degrees) {
  double const a = degrees * std::numbers::pi / 180.0;
  float const c = float(std::cos(a)), s = float(std::sin(a));
  Elements r = kIdentity;
  int const u = (axis + 1) % 3, v = (axis + 2) % 3;
  // Turns +u towards +v.
  r[u * 4 + u] = c;
  r[u * 4 + v] = s;
  r[v * 4 + u] = -s;
  r[v * 4 + v] = c;
  return r;
}

}  // namespace

MatrixKit MatrixKit::GetDefault() { return FromElements(kIdentity); }

MatrixKit::Elements const& MatrixKit::Values() const { return set_ ? m_ : kIdentity; }

bool MatrixKit::operator==(MatrixKit const& other) const {
  return set_ == other.set_ && (!set_ || m_ == other.m_);
}

bool MatrixKit::ShowElements(FloatArray& out) const {
  Elements const& v = Values();
  out.assign(v.begin(), v.end());
  return true;
}

MatrixKit& MatrixKit::SetElements(FloatArray const& elements) {
  return SetElements(elements.size(), elements.data());
}

MatrixKit& MatrixKit::SetElements(size_t count, float const* elements) {
  if (count != 16 && count != 12)
    throw InvalidSpecificationException("A matrix takes 16 elements, or 12 without the fourth column.");
  if (count == 16) {
    std::copy(elements, elements + 16, m_.begin());
  } else {
    for (int row = 0; row < 4; ++row) {
      for (int col = 0; col < 3; ++col) m_[row * 4 + col] = elements[row * 3 + col];
      m_[row * 4 + 3] = row == 3 ? 1.0f : 0.0f;
    }
  }
  set_ = true;
  return *this;
}

MatrixKit& MatrixKit::Rotate(float x, float y, float z) {
  Elements r = Product(Product(RotationAbout(0, x), RotationAbout(1, y)), RotationAbout(2, z));
  return MultiplyAndAssign(FromElements(r));
}

MatrixKit& MatrixKit::Scale(float x, float y, float z) {
  Elements s = kIdentity;
  s[0] = x;
  s[5] = y;
  s[10] = z;
  return MultiplyAndAssign(FromElements(s));
}

MatrixKit& MatrixKit::Translate(float x, float y, float z) {
  Elements t = kIdentity;
  t[12] = x;
  t[13] = y;
  t[14] = z;
  return MultiplyAndAssign(FromElements(t));
}

MatrixKit MatrixKit::Multiply(MatrixKit const& other) const {
  if (!set_) return other;
  if (!other.set_) return *this;
  return FromElements(Product(m_, other.m_));
}

MatrixKit& MatrixKit::MultiplyAndAssign(MatrixKit const& other) { return *this = Multiply(other); }

float MatrixKit::ShowDeterminant() const {
  Elements const& m = Values();
  auto minor = [&](int r0, int r1, int r2, int c0, int c1, int c2) {
    auto e = [&](int r, int c) { return double(m[r * 4 + c]); };
    return e(r0, c0) * (e(r1, c1) * e(r2, c2) - e(r1, c2) * e(r2, c1)) -
           e(r0, c1) * (e(r1, c0) * e(r2, c2) - e(r1, c2) * e(r2, c0)) +
           e(r0, c2) * (e(r1, c0) * e(r2, c1) - e(r1, c1) * e(r2, c0));
  };
  double det = 0;
  for (int c = 0; c < 4; ++c) {
    int cols[3], n = 0;
    for (int k = 0; k < 4; ++k)
      if (k != c) cols[n++] = k;
    double const sign = (c % 2 == 0) ? 1.0 : -1.0;
    det += sign * m[c] * minor(1, 2, 3, cols[0], cols[1], cols[2]);
  }
  return float(det);
}

// Gauss-Jordan elimination with partial pivoting, in double.
bool MatrixKit::ShowInverse(MatrixKit& out) const {
  Elements const& m = Values();
  double a[4][8];
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) {
      a[i][j] = m[i * 4 + j];
      a[i][j + 4] = i == j ? 1 : 0;
    }
  for (int col = 0; col < 4; ++col) {
    int pivot = col;
    for (int r = col + 1; r < 4; ++r)
      if (std::fabs(a[r][col]) > std::fabs(a[pivot][col])) pivot = r;
    if (std::fabs(a[pivot][col]) < 1e-30) return false;
    std::swap(a[col], a[pivot]);
    double const inv = 1.0 / a[col][col];
    for (double& v : a[col]) v *= inv;
    for (int r = 0; r < 4; ++r) {
      if (r == col) continue;
      double const f = a[r][col];
      for (int j = 0; j < 8; ++j) a[r][j] -= f * a[col][j];
    }
  }
  Elements r;
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) r[i * 4 + j] = float(a[i][j + 4]);
  out = FromElements(r);
  return true;
}

Point MatrixKit::Transform(Point const& p) const {
  if (!set_) return p;
  Elements const& m = m_;
  double const x = p.x, y = p.y, z = p.z;
  double const w = x * m[3] + y * m[7] + z * m[11] + m[15];
  double const inv = (w != 0 && w != 1) ? 1.0 / w : 1.0;
  return {float((x * m[0] + y * m[4] + z * m[8] + m[12]) * inv),
          float((x * m[1] + y * m[5] + z * m[9] + m[13]) * inv),
          float((x * m[2] + y * m[6] + z * m[10] + m[14]) * inv)};
}

PointArray MatrixKit::Transform(PointArray const& points) const {
  PointArray out;
  out.reserve(points.size());
  for (Point const& p : points) out.push_back(Transform(p));
  return out;
}

Vector MatrixKit::TransformDirection(Vector const& v) const {
  Elements const& m = Values();
  return {v.x * m[0] + v.y * m[4] + v.z * m[8], v.x * m[1] + v.y * m[5] + v.z * m[9],
          v.x * m[2] + v.y * m[6] + v.z * m[10]};
}

}  // namespace KZV
