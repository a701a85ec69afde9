// The volume tests against independent references over random shapes.
// Cases within a hair of a tie are skipped: there the references and the
// volumes may round differently.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "geometry/selection/PlaneClipping.h"
#include "tests/geometry/selection/VolumeShapes.h"

namespace QX::Store {
namespace {

using namespace VolumeTest;

struct Random {
  std::mt19937 engine{20240611};
  double Uniform(double lo, double hi) { return std::uniform_real_distribution<>(lo, hi)(engine); }
  PointD Point(double extent) {
    return {Uniform(-extent, extent), Uniform(-extent, extent), Uniform(-extent, extent)};
  }
  Triangle Tri(double extent) { return {Point(extent), Point(extent), Point(extent)}; }
};

// Möller and Trumbore: where the ray meets the triangle, with the smallest
// of the barycentric margins to tell near ties.
struct RayHit {
  bool hit = false;
  double margin = 0;
  PointD at;
};

RayHit RayTriangle(PointD origin, PointD dir, Triangle const& t) {
  PointD const e1 = t[1] - t[0], e2 = t[2] - t[0];
  PointD const p = Cross(dir, e2);
  double const det = Dot(e1, p);
  if (std::abs(det) < 1e-9) return {false, 0, {}};
  PointD const s = origin - t[0];
  double const u = Dot(s, p) / det;
  PointD const q = Cross(s, e1);
  double const v = Dot(dir, q) / det;
  double const dist = Dot(e2, q) / det;
  double const margin = std::min({u, v, 1 - u - v, dist});
  return {margin >= 0, std::abs(margin), origin + dir * dist};
}

// Closest point of a triangle to p (Ericson, Real-Time Collision Detection).
PointD ClosestOnTriangle(PointD p, Triangle const& t) {
  PointD const a = t[0], b = t[1], c = t[2];
  PointD const ab = b - a, ac = c - a, ap = p - a;
  double const d1 = Dot(ab, ap), d2 = Dot(ac, ap);
  if (d1 <= 0 && d2 <= 0) return a;
  PointD const bp = p - b;
  double const d3 = Dot(ab, bp), d4 = Dot(ac, bp);
  if (d3 >= 0 && d4 <= d3) return b;
  double const vc = d1 * d4 - d3 * d2;
  if (vc <= 0 && d1 >= 0 && d3 <= 0) return a + ab * (d1 / (d1 - d3));
  PointD const cp = p - c;
  double const d5 = Dot(ab, cp), d6 = Dot(ac, cp);
  if (d6 >= 0 && d5 <= d6) return c;
  double const vb = d5 * d2 - d1 * d6;
  if (vb <= 0 && d2 >= 0 && d6 <= 0) return a + ac * (d2 / (d2 - d6));
  double const va = d3 * d6 - d5 * d4;
  if (va <= 0 && (d4 - d3) >= 0 && (d5 - d6) >= 0)
    return b + (c - b) * ((d4 - d3) / ((d4 - d3) + (d5 - d6)));
  double const denom = 1 / (va + vb + vc);
  return a + ab * (vb * denom) + ac * (vc * denom);
}

// Separating axes of a triangle and the box -h..h: the largest gap over
// all axes, in units of each axis' length; above 0 they are apart, below 0
// they overlap.
double SeparationFromBox(Triangle t, PointD h) {
  PointD const axes0[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  PointD const edges[3] = {t[1] - t[0], t[2] - t[1], t[0] - t[2]};
  std::vector<PointD> axes(axes0, axes0 + 3);
  axes.push_back(Cross(edges[0], edges[1]));
  for (auto const& u : axes0)
    for (auto const& e : edges) axes.push_back(Cross(u, e));
  double gap = -1e300;
  for (auto const& a : axes) {
    double const length = std::sqrt(LengthSquared(a));
    if (length < 1e-9) continue;
    double lo = 1e300, hi = -1e300;
    for (auto const& p : t) {
      lo = std::min(lo, Dot(a, p));
      hi = std::max(hi, Dot(a, p));
    }
    double const r = h.x * std::abs(a.x) + h.y * std::abs(a.y) + h.z * std::abs(a.z);
    gap = std::max(gap, std::max(lo - r, -r - hi) / length);
  }
  return gap;
}

TEST(VolumeProperty, RayAgreesWithMollerTrumbore) {
  Random random;
  int hits = 0;
  for (int i = 0; i < 20000; ++i) {
    PointD const origin = random.Point(2);
    PointD const dir = NormalizedOrSame(random.Point(0.5) - origin);  // aimed near the triangles
    auto const t = random.Tri(1);
    RayVolume ray({}, origin, dir);
    auto const expected = RayTriangle(origin, dir, t);
    if (expected.margin < 1e-7) continue;
    PointD hit;
    uint32_t const result = ray.TestTriangle(t.data(), hit);
    ASSERT_EQ(result, expected.hit ? Crossing : Outside) << i;
    if (expected.hit) {
      ++hits;
      EXPECT_NEAR(std::sqrt(DistanceSquaredOf(hit, expected.at)), 0, 1e-9) << i;
    }
  }
  EXPECT_GT(hits, 1000);
}

TEST(VolumeProperty, SphereAgreesWithTheClosestPoint) {
  Random random;
  int touching = 0;
  for (int i = 0; i < 20000; ++i) {
    PointD const center = random.Point(1.5);
    double const radius = random.Uniform(0.05, 1);
    auto const t = random.Tri(1);
    double const distance = std::sqrt(DistanceSquaredOf(ClosestOnTriangle(center, t), center));
    if (std::abs(distance - radius) < 1e-7) continue;
    SphereVolume ball(center, radius * radius, radius);
    PointD hit;
    uint32_t const result = ball.TestTriangle(t.data(), hit);
    ASSERT_EQ(result == Outside, distance > radius) << i;
    if (result != Outside) {
      ++touching;
      EXPECT_LE(std::sqrt(ball.DistanceSquared(hit)), radius + 1e-9) << i;
    }
  }
  EXPECT_GT(touching, 1000);
}

TEST(VolumeProperty, BoxVolumeAgreesWithSeparatingAxes) {
  Random random;
  int touching = 0;
  PointD const h{0.5, 0.3, 0.7};
  auto box = BoxVolume({-h.x, -h.y, -h.z}, h);
  for (int i = 0; i < 20000; ++i) {
    auto const t = random.Tri(1.2);
    double const gap = SeparationFromBox(t, h);
    if (std::abs(gap) < 1e-7) continue;
    PointD hit;
    uint32_t const result = box.TestTriangle(t.data(), hit);
    ASSERT_EQ(result == Outside, gap > 0) << i;
    if (result != Outside) {
      ++touching;
      EXPECT_LE(std::abs(hit.x), h.x + 1e-9) << i;
      EXPECT_LE(std::abs(hit.y), h.y + 1e-9) << i;
      EXPECT_LE(std::abs(hit.z), h.z + 1e-9) << i;
    }
  }
  EXPECT_GT(touching, 1000);
}

TEST(VolumeProperty, PlaneBoxTestAgreesWithTheCorners) {
  // Small integers keep every value exact, ties included.
  std::mt19937 engine(7);
  std::uniform_int_distribution<int> small(-3, 3);
  for (int i = 0; i < 5000; ++i) {
    std::vector<PlaneRow> rows(1 + i % 4);
    for (auto& r : rows) r = {double(small(engine)), double(small(engine)), double(small(engine)), double(small(engine))};
    PlaneVolume volume(rows, {0, 0, 0});
    double lo[3], hi[3];
    for (int a = 0; a < 3; ++a) {
      lo[a] = small(engine);
      hi[a] = lo[a] + std::abs(small(engine));
    }
    BoundingBoxD const b{lo[0], lo[1], lo[2], hi[0], hi[1], hi[2]};
    // Per plane: beyond it if no corner is above it; crossed if some corner is below it.
    uint32_t expected = Inside;
    for (auto const& r : rows) {
      double low = 1e300, high = -1e300;
      for (auto const& c : BoxCorners(b)) {
        double const e = Dot(NormalOf(r), c) + r[3];
        low = std::min(low, e);
        high = std::max(high, e);
      }
      if (high <= 0) {
        expected = Outside;
        break;
      }
      if (low < 0) expected = Crossing;
    }
    ASSERT_EQ(volume.TestBox(b), expected) << i;
  }
}

}  // namespace
}  // namespace QX::Store
