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

TEST(CutSegment, FindsTheCutWhateverTheDirection) {
  PointD const p{-1, 2, 3}, q{3, 2, 3};
  auto forward = CutSegment(kZeroPlaneX, p, q);
  auto backward = CutSegment(kZeroPlaneX, q, p);
  ASSERT_TRUE(forward && backward);
  EXPECT_EQ(*forward, *backward);
  EXPECT_EQ(*forward, (PointD{0, 2, 3}));
}

TEST(CutSegment, OffsetPlaneUsesThePointOnThePlane) {
  // 2x - 4 = 0, the plane x = 2, with a normal that isn't unit.
  auto cut = CutSegment({2, 0, 0, -4}, {0, 0, 0}, {4, 4, 0});
  ASSERT_TRUE(cut);
  EXPECT_DOUBLE_EQ(cut->x, 2);
  EXPECT_DOUBLE_EQ(cut->y, 2);
}

TEST(CutSegment, EndsAreCutWithinTheTolerance) {
  // An end on the plane is cut; so is one just short of it within 1e-7 of
  // the segment's parameter range.
  EXPECT_TRUE(CutSegment(kZeroPlaneX, {0, 0, 0}, {1, 0, 0}));
  EXPECT_TRUE(CutSegment(kZeroPlaneX, {1, 0, 0}, {0, 0, 0}));
  EXPECT_TRUE(CutSegment(kZeroPlaneX, {0.5e-7, 0, 0}, {1, 0, 0}));
  EXPECT_FALSE(CutSegment(kZeroPlaneX, {1e-6, 0, 0}, {1, 0, 0}));
  EXPECT_FALSE(CutSegment(kZeroPlaneX, {-1, 0, 0}, {-1e-6, 0, 0}));
}

TEST(CutSegment, ParallelOrZeroNormalHasNoCut) {
  EXPECT_FALSE(CutSegment(kZeroPlaneX, {0, 0, 0}, {0, 5, 0}));
  EXPECT_FALSE(CutSegment(kZeroPlaneX, {1, 0, 0}, {1, 5, 5}));
  EXPECT_FALSE(CutSegment({0, 0, 0, 1}, {-1, 0, 0}, {1, 0, 0}));
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
