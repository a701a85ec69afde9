#pragma once
// A mesh that owns its arrays, for building MeshData in tests.
#include <vector>

#include "geometry/mesh/MeshData.h"

namespace qx_test {

struct TestMesh {
  std::vector<QX::Store::Point> points;
  std::vector<QX::Store::Point> normals;
  std::vector<QX::Store::UV> uvs;
  std::vector<QX::Store::RGBA32> colors;
  QX::Store::MeshData data;

  // The MeshData with its pointers set to the arrays above.
  QX::Store::MeshData const& Data() {
    data.points = points.data();
    data.point_count = uint32_t(points.size());
    data.normals = normals.data();
    data.normal_count = uint32_t(normals.size());
    data.uvs = uvs.data();
    data.uv_count = uint32_t(uvs.size());
    data.colors = colors.data();
    data.color_count = uint32_t(colors.size());
    return data;
  }
};

// A grid of n x n points on the surface z = x * y / 4 (so that it isn't
// flat), shifted by (dx, dy, dz), with one face element of triangles.
inline TestMesh GridMesh(uint32_t n, float dx = 0, float dy = 0, float dz = 0) {
  TestMesh mesh;
  for (uint32_t j = 0; j < n; ++j)
    for (uint32_t i = 0; i < n; ++i) {
      float const x = float(i), y = float(j) * 1.5f;
      mesh.points.push_back({x + dx, y + dy, x * y / 4.0f + dz});
    }
  std::vector<uint32_t> words;
  for (uint32_t j = 0; j + 1 < n; ++j)
    for (uint32_t i = 0; i + 1 < n; ++i) {
      uint32_t const a = j * n + i;
      words.insert(words.end(), {a, a + 1, a + n, a + 1, a + n + 1, a + n});
    }
  mesh.data.face_elements.push_back(std::move(words));
  mesh.data.flags = 0;
  return mesh;
}

}  // namespace qx_test
