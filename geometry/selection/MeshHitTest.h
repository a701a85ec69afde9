#pragma once
// The test of one mesh against a selection volume, element by element:
// its triangles, then its line segments, then its points, with what lies in
// the clip cells cut away first.
#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "geometry/selection/ClipCells.h"
#include "geometry/selection/SelectionVolume.h"

namespace QX::Store {

// Which element classes a test looks at: faces, lines, points.
using ElementClasses = std::array<bool, 3>;

class MeshHitTest {
 public:
  // `positions` are in the volume's space: the face positions, three to a
  // triangle, up to split[0]; the line positions, two to a segment, up to
  // split[1]; then the points. The result is the OR of the elements' test
  // results, so bit 0 says that something tested lies outside and bit 1
  // that something lies inside; 0 if no class that counts has elements.
  // With `whole` on, the search can't stop at a first inside hit, for a
  // later element may lie outside.
  uint32_t Run(SelectionVolume& volume, std::span<ClipCell const> cells, bool whole,
               ElementClasses classes, std::span<PointD const> positions,
               std::array<uint64_t, 2> split);

  // The hit nearest to the volume's reference point, for volumes that don't
  // stop at a first hit; the first tested hit wins a tie.
  bool HasNearest() const { return best_ < kNone; }
  PointD const& Nearest() const { return nearest_; }

 private:
  static constexpr double kNone = 1.7976931348623157e308;

  bool ShouldStop() const;
  void Note(uint32_t result, PointD const& hit);
  void Faces(std::span<PointD const> positions);
  void Lines(std::span<PointD const> positions);
  void Points(std::span<PointD const> positions);
  uint32_t TestPieces(Triangle const& t, PointD& hit);
  uint32_t TestPieces(Segment const& s, PointD& hit);

  SelectionVolume* volume_ = nullptr;
  std::span<ClipCell const> cells_;
  bool whole_ = false;
  uint32_t code_ = 0;
  double best_ = kNone;
  PointD nearest_;
  CellCutter cutter_;
  std::vector<Triangle> triangle_pieces_;
  std::vector<Segment> segment_pieces_;
};

}  // namespace QX::Store
