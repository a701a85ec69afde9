#pragma once
// The part of the scene benches: a two-sided grid of quads, grid x grid
// points a side, with heights jittered by `seed` so that no two parts are
// alike.
#include <cstdint>
#include <vector>

#include "scene/Database.h"
#include "scene/SegmentKey.h"
#include "scene/ShellKey.h"
#include "scene/Types.h"

inline void InsertGridPart(KZV::SegmentKey const& part, int seed, int grid) {
  KZV::PointArray points;
  uint32_t jitter = uint32_t(seed) * 2654435761u + 1;
  for (int side = 0; side < 2; ++side)
    for (int j = 0; j < grid; ++j)
      for (int i = 0; i < grid; ++i) {
        jitter = jitter * 1664525u + 1013904223u;
        points.push_back({float(i), float(j), float(side) + float(jitter >> 8) / float(1 << 24) * 0.1f});
      }
  KZV::IntArray faces;
  for (int side = 0; side < 2; ++side) {
    int const base = side * grid * grid;
    for (int j = 0; j + 1 < grid; ++j)
      for (int i = 0; i + 1 < grid; ++i) {
        int const a = base + j * grid + i;
        if (side == 0) faces.insert(faces.end(), {4, a, a + 1, a + grid + 1, a + grid});
        else faces.insert(faces.end(), {4, a, a + grid, a + grid + 1, a + 1});
      }
  }
  part.InsertShell(points, faces);
}

// `count` distinct parts under a root segment of their own.
inline std::vector<KZV::SegmentKey> BuildGridParts(int count, int grid) {
  KZV::SegmentKey const library = KZV::Database::CreateRootSegment("parts");
  std::vector<KZV::SegmentKey> parts;
  for (int p = 0; p < count; ++p) {
    parts.push_back(library.Subsegment());
    InsertGridPart(parts.back(), p, grid);
  }
  return parts;
}
