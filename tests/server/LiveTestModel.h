#pragma once
// A prepared model on disk for the server's tests: two clusters of grid
// meshes far apart along x, "near" ones large at the origin and "far" ones
// smaller around x = 100000, each mesh some hundreds of KiB of stream data
// so that a stream of it takes many passes.
#include <cstdint>
#include <string>
#include <vector>

#include "store/Cache.h"
#include "store/Model.h"
#include "tests/geometry/mesh/TestMesh.h"

namespace qx_server_test {

inline constexpr double kFarX = 100000.0;

struct LiveTestModel {
  std::string path;
  std::vector<uint32_t> near_meshes;
  std::vector<uint32_t> far_meshes;
  std::vector<uint32_t> far_instances;
};

// `grid` points per side of each mesh; `per_cluster` meshes in each cluster.
inline LiveTestModel BuildLiveTestModel(std::string const& path, uint32_t grid = 120, uint32_t per_cluster = 4) {
  using namespace QX::Store;
  LiveTestModel built{path, {}, {}, {}};
  Cache cache = Cache::Open(nullptr);
  Model model = cache.OpenModel(path.c_str(), false);
  model.Include(model, 0);
  for (uint32_t cluster = 0; cluster < 2; ++cluster) {
    for (uint32_t i = 0; i < per_cluster; ++i) {
      qx_test::TestMesh mesh = qx_test::GridMesh(grid + cluster * per_cluster + i);
      double const scale = cluster == 0 ? 2.0 : 1.0;
      double const x = (cluster == 0 ? 0.0 : kFarX) + 300.0 * i;
      double const matrix[12] = {scale, 0, 0, 0, scale, 0, 0, 0, scale, x, 0, 0};
      MeshKey const key = model.InsertMesh(mesh.Data());
      InstanceKey const instance =
          model.InsertInstance(key, model.InsertMatrix(matrix), kNoKey, kNoKey, kNoKey, 0, 0, 0, 7, 0, 0, {});
      (cluster == 0 ? built.near_meshes : built.far_meshes).push_back(key);
      if (cluster == 1) built.far_instances.push_back(instance);
    }
  }
  model.PrepareStream(1);
  return built;
}

}  // namespace qx_server_test
