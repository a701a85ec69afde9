#include "stream/ViewState.h"

#include <cmath>

#include "stream/StreamRequest.h"

namespace QX::Store {

namespace {

constexpr Matrix4f kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

float& At(Matrix4f& m, int row, int col) { return m[col * 4 + row]; }
float At(Matrix4f const& m, int row, int col) { return m[col * 4 + row]; }

std::array<double, 3> Difference(std::array<double, 3> const& a, std::array<double, 3> const& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}

double Dot(std::array<double, 3> const& a, std::array<double, 3> const& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// Matrices count as equal when every element agrees to 1e-4, relative to the
// new element, with 1e-4 as the least tolerance.
bool NearlyEqual(Matrix4f const& fresh, Matrix4f const& stored) {
  for (size_t i = 0; i < fresh.size(); ++i) {
    float const a = fresh[i], b = stored[i];
    float const tolerance = std::fabs(a) * 0.0001f > 0.0001f ? std::fabs(a) * 0.0001f : 0.0001f;
    if (!(std::fabs(a - b) <= tolerance)) return false;
  }
  return true;
}

// General inverse by cofactors; false if the matrix is singular.
bool Invert(Matrix4f const& m, Matrix4f& out) {
  Matrix4f inv;
  inv[0] = m[5] * m[10] * m[15] - m[5] * m[11] * m[14] - m[9] * m[6] * m[15] +
           m[9] * m[7] * m[14] + m[13] * m[6] * m[11] - m[13] * m[7] * m[10];
  inv[4] = -m[4] * m[10] * m[15] + m[4] * m[11] * m[14] + m[8] * m[6] * m[15] -
           m[8] * m[7] * m[14] - m[12] * m[6] * m[11] + m[12] * m[7] * m[10];
  inv[8] = m[4] * m[9] * m[15] - m[4] * m[11] * m[13] - m[8] * m[5] * m[15] +
           m[8] * m[7] * m[13] + m[12] * m[5] * m[11] - m[12] * m[7] * m[9];
  inv[12] = -m[4] * m[9] * m[14] + m[4] * m[10] * m[13] + m[8] * m[5] * m[14] -
            m[8] * m[6] * m[13] - m[12] * m[5] * m[10] + m[12] * m[6] * m[9];
  inv[1] = -m[1] * m[10] * m[15] + m[1] * m[11] * m[14] + m[9] * m[2] * m[15] -
           m[9] * m[3] * m[14] - m[13] * m[2] * m[11] + m[13] * m[3] * m[10];
  inv[5] = m[0] * m[10] * m[15] - m[0] * m[11] * m[14] - m[8] * m[2] * m[15] +
           m[8] * m[3] * m[14] + m[12] * m[2] * m[11] - m[12] * m[3] * m[10];
  inv[9] = -m[0] * m[9] * m[15] + m[0] * m[11] * m[13] + m[8] * m[1] * m[15] -
           m[8] * m[3] * m[13] - m[12] * m[1] * m[11] + m[12] * m[3] * m[9];
  inv[13] = m[0] * m[9] * m[14] - m[0] * m[10] * m[13] - m[8] * m[1] * m[14] +
            m[8] * m[2] * m[13] + m[12] * m[1] * m[10] - m[12] * m[2] * m[9];
  inv[2] = m[1] * m[6] * m[15] - m[1] * m[7] * m[14] - m[5] * m[2] * m[15] +
           m[5] * m[3] * m[14] + m[13] * m[2] * m[7] - m[13] * m[3] * m[6];
  inv[6] = -m[0] * m[6] * m[15] + m[0] * m[7] * m[14] + m[4] * m[2] * m[15] -
           m[4] * m[3] * m[14] - m[12] * m[2] * m[7] + m[12] * m[3] * m[6];
  inv[10] = m[0] * m[5] * m[15] - m[0] * m[7] * m[13] - m[4] * m[1] * m[15] +
            m[4] * m[3] * m[13] + m[12] * m[1] * m[7] - m[12] * m[3] * m[5];
  inv[14] = -m[0] * m[5] * m[14] + m[0] * m[6] * m[13] + m[4] * m[1] * m[14] -
            m[4] * m[2] * m[13] - m[12] * m[1] * m[6] + m[12] * m[2] * m[5];
  inv[3] = -m[1] * m[6] * m[11] + m[1] * m[7] * m[10] + m[5] * m[2] * m[11] -
           m[5] * m[3] * m[10] - m[9] * m[2] * m[7] + m[9] * m[3] * m[6];
  inv[7] = m[0] * m[6] * m[11] - m[0] * m[7] * m[10] - m[4] * m[2] * m[11] +
           m[4] * m[3] * m[10] + m[8] * m[2] * m[7] - m[8] * m[3] * m[6];
  inv[11] = -m[0] * m[5] * m[11] + m[0] * m[7] * m[9] + m[4] * m[1] * m[11] -
            m[4] * m[3] * m[9] - m[8] * m[1] * m[7] + m[8] * m[3] * m[5];
  inv[15] = m[0] * m[5] * m[10] - m[0] * m[6] * m[9] - m[4] * m[1] * m[10] +
            m[4] * m[2] * m[9] + m[8] * m[1] * m[6] - m[8] * m[2] * m[5];
  float const det = m[0] * inv[0] + m[1] * inv[4] + m[2] * inv[8] + m[3] * inv[12];
  if (det == 0 || !std::isfinite(det)) return false;
  for (size_t i = 0; i < 16; ++i) out[i] = inv[i] / det;
  return true;
}

// Takes (x, y, z, 1) through `m` and divides by w.
std::array<float, 3> Unproject(Matrix4f const& m, float x, float y, float z) {
  float v[4];
  for (int r = 0; r < 4; ++r) v[r] = At(m, r, 0) * x + At(m, r, 1) * y + At(m, r, 2) * z + At(m, r, 3);
  return {v[0] / v[3], v[1] / v[3], v[2] / v[3]};
}

float Distance2(std::array<float, 3> const& a, std::array<float, 3> const& b) {
  float const x = a[0] - b[0], y = a[1] - b[1], z = a[2] - b[2];
  return x * x + y * y + z * z;
}

}  // namespace

Matrix4f Multiply(Matrix4f const& a, Matrix4f const& b) {
  Matrix4f out{};
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) {
      float sum = 0;
      for (int k = 0; k < 4; ++k) sum += At(a, r, k) * At(b, k, c);
      At(out, r, c) = sum;
    }
  return out;
}

Matrix4f MakeViewMatrix(ViewState const& view) {
  std::array<double, 3> const f = Difference(view.position, view.target);
  double const length = std::sqrt(Dot(f, f));
  if (length < 1e-20) return kIdentity;
  float const forward[3] = {float(f[0] / length), float(f[1] / length), float(f[2] / length)};
  float const up[3] = {float(view.up[0]), float(view.up[1]), float(view.up[2])};
  float const right[3] = {up[1] * forward[2] - up[2] * forward[1],
                          up[2] * forward[0] - up[0] * forward[2],
                          up[0] * forward[1] - up[1] * forward[0]};
  if (right[0] == 0 && right[1] == 0 && right[2] == 0) return kIdentity;

  float const* rows[3] = {right, up, forward};
  float const eye[3] = {float(view.position[0]), float(view.position[1]), float(view.position[2])};
  Matrix4f m{};
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) At(m, r, c) = rows[r][c];
    At(m, r, 3) = -(rows[r][0] * eye[0] + rows[r][1] * eye[1] + rows[r][2] * eye[2]);
  }
  At(m, 3, 3) = 1;
  return m;
}

Matrix4f MakeProjectionMatrix(ViewState const& view, double aspect) {
  double const w = view.field_width, h = view.field_height;
  if (view.projection == Projection::None || !(w > 0) || !(h > 0)) return kIdentity;
  std::array<double, 3> const f = Difference(view.position, view.target);
  double const length = std::sqrt(Dot(f, f));
  double const s = length < 1e-20 ? 1.0 : 1.0 / length;
  double sx = 1, sy = 1;
  if (view.projection != Projection::Stretched) {
    double const a = aspect > 0 ? aspect : 0.5625;
    double const b = h / w;
    if (a > b)
      sy = b / a;
    else
      sx = a / b;
  }
  Matrix4f m{};
  At(m, 0, 0) = float(2 * sx / w);
  At(m, 1, 1) = float(2 * sy / h);
  if (view.projection == Projection::Perspective) {
    At(m, 2, 2) = float(-s);
    At(m, 2, 3) = -0.02f;
    At(m, 3, 2) = float(-s);
    At(m, 3, 3) = 0;
  } else {
    At(m, 2, 2) = float(-0.01 * s);
    At(m, 2, 3) = -0.01f;
    At(m, 3, 2) = 0;
    At(m, 3, 3) = 1;
  }
  return m;
}

float ProjectedPixel(Matrix4f const& p, float r) {
  float const z = At(p, 3, 2) != 0
                      ? (1 - At(p, 3, 3)) / At(p, 3, 2) * At(p, 2, 2) + At(p, 2, 3)
                      : 0.98f;
  Matrix4f inverse;
  if (!Invert(p, inverse)) return 0;
  auto const origin = Unproject(inverse, 0, 0, z);
  float const dx = Distance2(origin, Unproject(inverse, r, 0, z));
  float const dy = Distance2(origin, Unproject(inverse, 0, r, z));
  return dx < dy ? dx : dy;
}

bool ViewState::Update(StreamRequest const& request) {
  screen_width = request.screen_width < 1.0 ? 1.0 : request.screen_width;
  screen_height = request.screen_height < 1.0 ? 1.0 : request.screen_height;
  if (request.camera == nullptr) return false;

  StreamCamera const& camera = *request.camera;
  if (camera.projection > -1.0 && camera.projection < 3.0)
    projection = Projection(uint32_t(int(camera.projection)) + 1);
  for (int i = 0; i < 3; ++i) {
    position[i] = camera.position[i];
    target[i] = camera.target[i];
    up[i] = camera.up[i];
  }
  field_width = camera.width;
  field_height = camera.height;
  view_width = field_width;

  std::array<double, 3> d = Difference(position, target);
  double const length2 = Dot(d, d);
  if (length2 > 0) {
    double const length = std::sqrt(length2);
    for (double& v : d) v /= length;
  }
  // A turn of more than 10 degrees counts as a new view.
  if (view_serial == 0 || std::acos(float(Dot(d, last_direction))) > 0.17453f) {
    last_direction = d;
    ++view_serial;
  }
  if (projection == Projection::None) {
    view_width = 0;
    return false;
  }

  Matrix4f const fresh_view = MakeViewMatrix(*this);
  Matrix4f const fresh_projection = MakeProjectionMatrix(*this, request.aspect);
  if (frustum_valid && !(NearlyEqual(fresh_view, view_matrix) &&
                         NearlyEqual(fresh_projection, projection_matrix)))
    frustum_valid = false;
  if (frustum_valid) return false;
  frustum_valid = true;
  view_matrix = fresh_view;
  projection_matrix = fresh_projection;
  return true;
}

}  // namespace QX::Store
