#pragma once
// A large point cloud as one mesh per node of its partition, so that the
// stream sends coarse views of the whole cloud first.
#include <cstddef>
#include <span>
#include <vector>

#include "geometry/mesh/MeshData.h"

namespace QX::Store {

class Model;

// Makes the mesh of one node of the partition from the cloud's arrays,
// reusing one MeshData from node to node.
class PointCloudMeshBuilder {
 public:
  PointCloudMeshBuilder(Model& model, std::vector<MeshKey>& keys, Point const* points, RGBA32 const* colors);

  void MakeMesh(std::span<uint32_t const> indices);

 private:
  Model& model_;
  std::vector<MeshKey>& keys_;
  Point const* cloud_points_;
  RGBA32 const* cloud_colors_;
  std::vector<Point> points_;
  std::vector<RGBA32> colors_;
  MeshData mesh_;
};

// Partitions `count` points (with one colour each, or none) and appends the
// key of each node's mesh, a node before its children. Always true.
bool SplitPointCloud(Model& model, Point const* points, RGBA32 const* colors, size_t count,
                     std::vector<MeshKey>& keys);

}  // namespace QX::Store
