#include "geometry/selection/ClipCells.h"

#include <algorithm>
#include <optional>

namespace QX::Store {

namespace {

double Side(PlaneRow const& row, PointD const& p) { return Dot(NormalOf(row), p) + row[3]; }

uint32_t PlaneValue(PlaneRow const& row, PointD const* points, int count) {
  int in = 0;
  for (int i = 0; i < count; ++i) in += Side(row, points[i]) >= 0;
  return in == count ? 2 : in == 0 ? 0 : 1;
}

uint32_t CellValue(ClipCell const& cell, PointD const* points, int count) {
  if (cell.empty()) return 0;
  uint32_t value = 2;
  for (auto const& row : cell) value = std::min(value, PlaneValue(row, points, count));
  return value;
}

// Where the plane cuts the edge, on the segment if it can, else on the line.
PointD Cut(PlaneRow const& row, PointD const& p, PointD const& q) {
  if (auto cut = QX::Store::CutSegment(row, p, q)) return *cut;
  double const denom = Dot(NormalOf(row), q - p);
  return denom == 0 ? p : p + (q - p) * (-Side(row, p) / denom);
}

// The part of the segment inside the cell, ends in the segment's direction.
std::optional<Segment> InsideCell(ClipCell const& cell, Segment s) {
  for (auto const& row : cell) {
    bool const a = Side(row, s[0]) >= 0, b = Side(row, s[1]) >= 0;
    if (!a && !b) return std::nullopt;
    if (a && b) continue;
    PointD const cut = Cut(row, s[0], s[1]);
    (a ? s[1] : s[0]) = cut;
  }
  return s;
}

}  // namespace

uint32_t ClipValue(std::span<ClipCell const> cells, PointD const* points, int count) {
  uint32_t value = 0;
  for (auto const& cell : cells) {
    value = std::max(value, CellValue(cell, points, count));
    if (value == 2) break;
  }
  return value;
}

void CellCutter::CutSegment(std::span<ClipCell const> cells, Segment const& segment,
                            std::vector<Segment>& out) {
  auto& work = segments_[0];
  auto& next = segments_[1];
  work.assign(1, segment);
  for (auto const& cell : cells) {
    next.clear();
    for (auto const& s : work) {
      auto inside = cell.empty() ? std::nullopt : InsideCell(cell, s);
      if (!inside) {
        next.push_back(s);
        continue;
      }
      if (!(s[0] == (*inside)[0])) next.push_back({s[0], (*inside)[0]});
      if (!((*inside)[1] == s[1])) next.push_back({(*inside)[1], s[1]});
    }
    work.swap(next);
  }
  out.insert(out.end(), work.begin(), work.end());
  work.clear();
  next.clear();
}

void CellCutter::CutTriangle(std::span<ClipCell const> cells, Triangle const& triangle,
                             std::vector<Triangle>& out) {
  auto& work = triangles_[0];
  auto& next = triangles_[1];
  work.assign(1, triangle);
  for (auto const& cell : cells) {
    if (cell.size() != 1) continue;
    next.clear();
    for (auto const& t : work) ClipTriangle(cell[0], t, next);
    work.swap(next);
  }
  out.insert(out.end(), work.begin(), work.end());
  work.clear();
  next.clear();
}

}  // namespace QX::Store
