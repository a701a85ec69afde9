#pragma once
// The mesh of the stream benches: a grid of n x n points with one face
// element, shifted along x, its heights jittered by `seed` so that no two
// grids are duplicates.
#include <cstdint>
#include <vector>

#include "geometry/mesh/MeshData.h"
#include "store/Model.h"

inline QX::Store::MeshKey InsertJitteredGrid(QX::Store::Model& model, uint32_t n, uint32_t seed, float dx = 0) {
  std::vector<QX::Store::Point> points;
  uint32_t jitter = seed * 2654435761u + 1;
  for (uint32_t j = 0; j < n; ++j)
    for (uint32_t i = 0; i < n; ++i) {
      jitter = jitter * 1664525u + 1013904223u;
      points.push_back({float(i) + dx, float(j), float(jitter >> 16) * 1e-5f});
    }
  std::vector<uint32_t> words;
  for (uint32_t j = 0; j + 1 < n; ++j)
    for (uint32_t i = 0; i + 1 < n; ++i) {
      uint32_t const a = j * n + i;
      words.insert(words.end(), {a, a + 1, a + n, a + 1, a + n + 1, a + n});
    }
  QX::Store::MeshData mesh;
  mesh.points = points.data();
  mesh.point_count = uint32_t(points.size());
  mesh.face_elements.push_back(std::move(words));
  return model.InsertMesh(mesh);
}
