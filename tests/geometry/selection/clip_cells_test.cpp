#include "geometry/selection/ClipCells.h"

#include <gtest/gtest.h>

#include "tests/geometry/selection/VolumeShapes.h"

namespace QX::Store {
namespace {

ClipCell const kUnitCell = BoxRows({0, 0, 0}, {1, 1, 1});
ClipCell const kHalfSpace{{1, 0, 0, 0}};  // x >= 0

TEST(CellCutter, SegmentsLoseWhatLiesInTheCells) {
  struct Case {
    char const* name;
    std::vector<ClipCell> cells;
    Segment segment;
    std::vector<Segment> expected;
  };
  Case const cases[] = {
      {"through the middle", {kUnitCell}, {{{-1, 0.5, 0.5}, {2, 0.5, 0.5}}},
       {{{{-1, 0.5, 0.5}, {0, 0.5, 0.5}}}, {{{1, 0.5, 0.5}, {2, 0.5, 0.5}}}}},
      {"from inside", {kUnitCell}, {{{0.5, 0.5, 0.5}, {2, 0.5, 0.5}}},
       {{{{1, 0.5, 0.5}, {2, 0.5, 0.5}}}}},
      {"wholly inside", {kUnitCell}, {{{0.2, 0.5, 0.5}, {0.8, 0.5, 0.5}}}, {}},
      {"beside", {kUnitCell}, {{{2, 0.5, 0.5}, {3, 0.5, 0.5}}},
       {{{{2, 0.5, 0.5}, {3, 0.5, 0.5}}}}},
      {"by two cells in turn", {kUnitCell, kHalfSpace}, {{{-1, 0.5, 0.5}, {2, 0.5, 0.5}}},
       {{{{-1, 0.5, 0.5}, {0, 0.5, 0.5}}}}},
  };
  CellCutter cutter;
  for (auto const& c : cases) {
    std::vector<Segment> out;
    cutter.CutSegment(c.cells, c.segment, out);
    EXPECT_EQ(out, c.expected) << c.name;
  }
}

TEST(CellCutter, OnlyCellsOfOnePlaneCutTriangles) {
  Triangle const t{{{-1, 0, 0}, {1, 0, 0}, {-1, 1, 0}}};
  CellCutter cutter;
  std::vector<Triangle> out;
  std::vector<ClipCell> const box{kUnitCell};
  cutter.CutTriangle(box, t, out);
  ASSERT_EQ(out.size(), 1u);
  EXPECT_EQ(out[0], t);
  out.clear();
  std::vector<ClipCell> const half{kHalfSpace};
  cutter.CutTriangle(half, t, out);
  ASSERT_FALSE(out.empty());
  for (auto const& piece : out)
    for (auto const& p : piece) EXPECT_LE(p.x, 0);
}

}  // namespace
}  // namespace QX::Store
