#pragma once
// Poly polygons (sets of closed point loops) and the clip regions built on them.
#include <cstdint>
#include <vector>

#include "store/Model.h"

namespace QX::Store {

struct PolyPolygon {
  PolyPolygonKey key = 0;
  std::vector<uint32_t> lengths;  // points of each loop
  std::vector<Point> points;      // all loops, one behind the other
};

struct ClipRegion {
  ClipRegionKey key = 0;
  std::vector<ClipLoop> loops;
};

}  // namespace QX::Store
