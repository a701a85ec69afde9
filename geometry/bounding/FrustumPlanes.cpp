#include "geometry/bounding/FrustumPlanes.h"

namespace QX::Store {

FrustumPlanes MakeFrustumPlanes(std::array<float, 16> const& m) {
  auto row = [&](int i) { return PlaneRowOf<float>{m[i], m[4 + i], m[8 + i], m[12 + i]}; };
  PlaneRowOf<float> const w = row(3);
  FrustumPlanes out;
  for (int i = 0; i < 3; ++i) {
    PlaneRowOf<float> const r = row(i);
    PlaneRowOf<float> minus, plus;
    for (int k = 0; k < 4; ++k) {
      minus[k] = w[k] - r[k];
      plus[k] = w[k] + r[k];
    }
    out.planes[i] = PreparePlane(minus);
    out.planes[3 + i] = PreparePlane(plus);
  }
  return out;
}

bool BoxInFrustum(FrustumPlanes const& planes, Point const& c, Point const& h) {
  for (auto const& p : planes.planes) {
    float const x = c.x + p.normal_sign[0] * h.x;
    float const y = c.y + p.normal_sign[1] * h.y;
    float const z = c.z + p.normal_sign[2] * h.z;
    if (!(p.normal[0] * x + p.normal[1] * y + p.normal[2] * z > p.offset)) return false;
  }
  return true;
}

}  // namespace QX::Store
