#include "geometry/selection/PlaneClipping.h"

#include <tuple>

namespace QX::Store {

namespace {

bool Greater(PointD const& a, PointD const& b) {
  return std::tie(a.x, a.y, a.z) > std::tie(b.x, b.y, b.z);
}

double Side(PlaneRow const& plane, PointD const& p) { return Dot(NormalOf(plane), p) + plane[3]; }

// Where the plane cuts the edge p q: on the segment if it can, else on the
// infinite line through both (rounding can put the cut just past an end).
PointD CutEdge(PlaneRow const& plane, PointD const& p, PointD const& q) {
  if (auto cut = CutSegment(plane, p, q)) return *cut;
  double const denom = Dot(NormalOf(plane), q - p);
  if (denom == 0) return p;
  return p + (q - p) * (-Side(plane, p) / denom);
}

}  // namespace

std::optional<PointD> CutSegment(PlaneRow const& plane, PointD p, PointD q) {
  PointD const a = Greater(p, q) ? p : q;
  PointD const b = Greater(p, q) ? q : p;
  PointD const n = NormalOf(plane);
  PointD const d = b - a;
  double const denom = Dot(d, n);
  if (denom == 0) return std::nullopt;
  PointD const on_plane = n * (-plane[3] / LengthSquared(n));
  double const t = Dot(on_plane - a, n) / denom;
  if (!(t >= -1e-7 && t <= 1.0000001)) return std::nullopt;
  return a + d * t;
}

void ClipTriangle(PlaneRow const& plane, Triangle const& tri, std::vector<Triangle>& out) {
  bool in[3];
  int k = 0;
  for (int i = 0; i < 3; ++i) k += (in[i] = Side(plane, tri[i]) >= 0);
  if (k == 0) {
    out.push_back(tri);
  } else if (k == 2) {
    int const o = !in[0] ? 0 : !in[1] ? 1 : 2;
    Triangle t = tri;
    for (int i = 0; i < 3; ++i)
      if (i != o) t[i] = CutEdge(plane, tri[i], tri[o]);
    out.push_back(t);
  } else if (k == 1) {
    int const i = in[0] ? 0 : in[1] ? 1 : 2;
    int const j = (i + 1) % 3, l = (i + 2) % 3;
    PointD const cj = CutEdge(plane, tri[i], tri[j]);
    PointD const cl = CutEdge(plane, tri[i], tri[l]);
    out.push_back({cj, tri[j], tri[l]});
    out.push_back({cj, tri[l], cl});
  }
}

}  // namespace QX::Store
