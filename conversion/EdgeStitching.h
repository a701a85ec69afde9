#pragma once
// Joining of loose edges into long polylines, and the index of unique
// points that lets edges meet by position.
#include <array>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "scene/Types.h"

namespace KZV {

using Edge = std::pair<uint32_t, uint32_t>;
using Polyline = std::vector<Edge>;

// Unique points by exact value, -0.0 counting as 0.0.
class PointIndex {
 public:
  uint32_t Add(Point const& p);
  PointArray const& Points() const { return points_; }

 private:
  struct Bits {
    std::array<uint32_t, 3> words;
    bool operator==(Bits const&) const = default;
  };
  struct BitsHash {
    size_t operator()(Bits const& b) const;
  };
  std::unordered_map<Bits, uint32_t, BitsHash> index_;
  PointArray points_;
};

// Polylines made of the edges, each a list of edges oriented along it.
// Edges that meet at an end point are joined; where three or more meet, two
// go on through the point and the others end there.
std::vector<Polyline> StitchEdges(std::vector<Edge> const& pairs);

}  // namespace KZV
