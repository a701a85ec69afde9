#include "geometry/selection/PlaneClipping.h"

#include <gtest/gtest.h>

#include <cmath>

namespace QX::Store {
namespace {

PlaneRow const kZeroPlaneX{1, 0, 0, 0};  // x = 0, positive side x >= 0

double Area(Triangle const& t) {
  return std::sqrt(LengthSquared(Cross(t[1] - t[0], t[2] - t[0]))) / 2;
}

double Area(std::vector<Triangle> const& ts) {
  double sum = 0;
  for (auto const& t : ts) sum += Area(t);
  return sum;
}

// Where a segment meets a plane, in either direction, with a normal of any
// length; an end within 1e-7 of the parameter range still counts.
TEST(CutSegment, CutsWithinTheSegmentOnly) {
  struct Case {
    char const* name;
    PlaneRow plane;
    PointD p, q;
    bool cuts;
    PointD at;
  };
  Case const cases[] = {
      {"forward", kZeroPlaneX, {-1, 2, 3}, {3, 2, 3}, true, {0, 2, 3}},
      {"backward", kZeroPlaneX, {3, 2, 3}, {-1, 2, 3}, true, {0, 2, 3}},
      {"2x - 4 = 0", {2, 0, 0, -4}, {0, 0, 0}, {4, 4, 0}, true, {2, 2, 0}},
      {"first end on the plane", kZeroPlaneX, {0, 0, 0}, {1, 0, 0}, true, {0, 0, 0}},
      {"second end on the plane", kZeroPlaneX, {1, 0, 0}, {0, 0, 0}, true, {0, 0, 0}},
      {"end within the tolerance", kZeroPlaneX, {0.5e-7, 0, 0}, {1, 0, 0}, true, {0, 0, 0}},
      {"end short of it", kZeroPlaneX, {1e-6, 0, 0}, {1, 0, 0}, false, {}},
      {"behind", kZeroPlaneX, {-1, 0, 0}, {-1e-6, 0, 0}, false, {}},
      {"in the plane", kZeroPlaneX, {0, 0, 0}, {0, 5, 0}, false, {}},
      {"parallel", kZeroPlaneX, {1, 0, 0}, {1, 5, 5}, false, {}},
      {"zero normal", {0, 0, 0, 1}, {-1, 0, 0}, {1, 0, 0}, false, {}},
  };
  for (auto const& c : cases) {
    auto const cut = CutSegment(c.plane, c.p, c.q);
    ASSERT_EQ(cut.has_value(), c.cuts) << c.name;
    if (cut) {
      EXPECT_LT(DistanceSquaredOf(*cut, c.at), 1e-14) << c.name;
    }
  }
}

TEST(ClipTriangle, KeepsWhatLiesOnTheNegativeSide) {
  struct Case {
    char const* name;
    Triangle triangle;
    size_t pieces;
    double area;  // of what remains
  };
  Case const cases[] = {
      {"all negative", {{{-1, 0, 0}, {-3, 0, 0}, {-1, 2, 0}}}, 1, 2},
      {"all positive", {{{1, 0, 0}, {3, 0, 0}, {1, 2, 0}}}, 0, 0},
      {"on the plane counts as positive", {{{0, 0, 0}, {0, 1, 0}, {0, 0, 1}}}, 0, 0},
      // Two vertices on the positive side: one smaller triangle remains.
      {"two positive", {{{-2, 0, 0}, {2, 0, 0}, {2, 2, 0}}}, 1, 1},
      // One vertex on the positive side: a quadrilateral in two triangles.
      {"one positive", {{{2, 0, 0}, {-2, 0, 0}, {-2, 2, 0}}}, 2, 3},
  };
  for (auto const& c : cases) {
    std::vector<Triangle> out;
    ClipTriangle(kZeroPlaneX, c.triangle, out);
    EXPECT_EQ(out.size(), c.pieces) << c.name;
    EXPECT_NEAR(Area(out), c.area, 1e-12) << c.name;
    for (auto const& t : out)
      for (auto const& p : t) EXPECT_LE(p.x, 0) << c.name;
  }
}

TEST(ClipTriangle, PiecesKeepTheWinding) {
  Triangle const t{{{2, 0, 0}, {-2, 0, 0}, {-2, 2, 0}}};
  PointD const normal = Cross(t[1] - t[0], t[2] - t[0]);
  std::vector<Triangle> out;
  ClipTriangle(kZeroPlaneX, t, out);
  for (auto const& piece : out) EXPECT_GT(Dot(Cross(piece[1] - piece[0], piece[2] - piece[0]), normal), 0);
}

}  // namespace
}  // namespace QX::Store
