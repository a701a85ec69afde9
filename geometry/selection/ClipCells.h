#pragma once
// Clip cells: convex cells of plain plane rows. A point lies in a cell if
// every row gives at least 0 for it; what lies in a cell is cut away before
// a shape is tested against a selection volume.
#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "geometry/selection/PlaneClipping.h"

namespace QX::Store {

using ClipCell = std::vector<PlaneRow>;
using Segment = std::array<PointD, 2>;

// 2 if the shape of `count` points lies wholly in one cell, 1 if it lies
// partly in one, 0 if in none. No cells: 0.
uint32_t ClipValue(std::span<ClipCell const> cells, PointD const* points, int count);

// Cuts shapes by the cells and keeps what lies outside all of them.
class CellCutter {
 public:
  // Appends to `out` the pieces of the segment outside every cell.
  void CutSegment(std::span<ClipCell const> cells, Segment const& segment,
                  std::vector<Segment>& out);
  // Appends to `out` the pieces of the triangle outside every cell. Only a
  // cell of exactly one plane cuts a triangle; others leave it whole.
  void CutTriangle(std::span<ClipCell const> cells, Triangle const& triangle,
                   std::vector<Triangle>& out);

 private:
  // Working lists, empty between calls.
  std::vector<Segment> segments_[2];
  std::vector<Triangle> triangles_[2];
};

}  // namespace QX::Store
