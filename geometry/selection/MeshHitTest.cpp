#include "geometry/selection/MeshHitTest.h"

#include <algorithm>

namespace QX::Store {

using namespace VolumeTest;

uint32_t MeshHitTest::Run(SelectionVolume& volume, std::span<ClipCell const> cells, bool whole,
                          ElementClasses classes, std::span<PointD const> positions,
                          std::array<uint64_t, 2> split) {
  volume_ = &volume;
  cells_ = cells;
  whole_ = whole;
  code_ = 0;
  best_ = kNone;
  uint64_t const end = positions.size();
  uint64_t const faces_end = std::min(split[0], end);
  uint64_t const lines_end = std::min(std::max(split[1], faces_end), end);
  auto const faces = positions.subspan(0, faces_end);
  auto const lines = positions.subspan(faces_end, lines_end - faces_end);
  auto const points = positions.subspan(lines_end);
  if (classes[0] && faces.size() >= 3) Faces(faces);
  if (ShouldStop()) return code_;
  if (classes[1] && lines.size() >= 2) Lines(lines);
  if (ShouldStop()) return code_;
  if (classes[2] && !points.empty()) Points(points);
  return code_;
}

bool MeshHitTest::ShouldStop() const {
  return volume_->StopsAtFirstHit() && (code_ == Crossing || (!whole_ && code_ == Inside));
}

// An element outside still counts for `whole`; only one that reaches in
// gives a hit.
void MeshHitTest::Note(uint32_t result, PointD const& hit) {
  code_ |= result;
  if (!(result & Inside) || volume_->StopsAtFirstHit()) return;
  double const d = volume_->DistanceSquared(hit);
  if (d < best_) {
    best_ = d;
    nearest_ = hit;
  }
}

uint32_t MeshHitTest::TestPieces(Triangle const& t, PointD& hit) {
  uint32_t const inside = ClipValue(cells_, t.data(), 3);
  if (inside == 2) return None;
  PointD h;
  uint32_t r = volume_->TestTriangle(t.data(), h);
  if (r == Outside || inside == 0) {
    hit = h;
    return r;
  }
  triangle_pieces_.clear();
  cutter_.CutTriangle(cells_, t, triangle_pieces_);
  r = None;
  for (auto const& piece : triangle_pieces_) {
    uint32_t const p = volume_->TestTriangle(piece.data(), h);
    if ((p & Inside) && !(r & Inside)) hit = h;
    r |= p;
  }
  triangle_pieces_.clear();
  return r;
}

uint32_t MeshHitTest::TestPieces(Segment const& s, PointD& hit) {
  uint32_t const inside = ClipValue(cells_, s.data(), 2);
  if (inside == 2) return None;
  PointD h;
  uint32_t r = volume_->TestSegment(s.data(), h);
  if (r == Outside || inside == 0) {
    hit = h;
    return r;
  }
  segment_pieces_.clear();
  cutter_.CutSegment(cells_, s, segment_pieces_);
  r = None;
  for (auto const& piece : segment_pieces_) {
    uint32_t const p = volume_->TestSegment(piece.data(), h);
    if ((p & Inside) && !(r & Inside)) hit = h;
    r |= p;
  }
  segment_pieces_.clear();
  return r;
}

void MeshHitTest::Faces(std::span<PointD const> p) {
  for (size_t i = 0; i + 3 <= p.size(); i += 3) {
    PointD hit;
    Note(TestPieces(Triangle{p[i], p[i + 1], p[i + 2]}, hit), hit);
    if (ShouldStop()) return;
  }
}

void MeshHitTest::Lines(std::span<PointD const> p) {
  for (size_t i = 0; i + 2 <= p.size(); i += 2) {
    PointD hit;
    Note(TestPieces(Segment{p[i], p[i + 1]}, hit), hit);
    if (ShouldStop()) return;
  }
}

void MeshHitTest::Points(std::span<PointD const> p) {
  for (PointD const& point : p) {
    if (ClipValue(cells_, &point, 1) == 2) continue;
    Note(volume_->ContainsPoint(point) ? Inside : Outside, point);
    if (ShouldStop()) return;
  }
}

}  // namespace QX::Store
