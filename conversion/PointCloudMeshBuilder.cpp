#include "conversion/PointCloudMeshBuilder.h"

#include "geometry/bounding/CloudNode.h"
#include "store/Model.h"

namespace QX::Store {

PointCloudMeshBuilder::PointCloudMeshBuilder(Model& model, std::vector<MeshKey>& keys, Point const* points,
                                             RGBA32 const* colors)
    : model_(model), keys_(keys), cloud_points_(points), cloud_colors_(colors) {
  mesh_.point_elements.resize(1);
}

void PointCloudMeshBuilder::MakeMesh(std::span<uint32_t const> indices) {
  if (indices.empty()) return;
  points_.clear();
  colors_.clear();
  std::vector<uint32_t>& words = mesh_.point_elements[0];
  words.clear();
  for (size_t k = 0; k < indices.size(); ++k) {
    points_.push_back(cloud_points_[indices[k]]);
    words.push_back(static_cast<uint32_t>(k));
    if (!cloud_colors_) continue;
    colors_.push_back(cloud_colors_[indices[k]]);
    words.push_back(static_cast<uint32_t>(k));
  }
  mesh_.points = points_.data();
  mesh_.point_count = static_cast<uint32_t>(points_.size());
  mesh_.colors = colors_.empty() ? nullptr : colors_.data();
  mesh_.color_count = static_cast<uint32_t>(colors_.size());
  mesh_.flags = cloud_colors_ ? (kSplitPointCloud | kPointColors) : kSplitPointCloud;
  keys_.push_back(model_.InsertMesh(mesh_));
}

bool SplitPointCloud(Model& model, Point const* points, RGBA32 const* colors, size_t count,
                     std::vector<MeshKey>& keys) {
  CloudNode const root = BuildCloudTree(points, static_cast<uint32_t>(count));  // a mesh holds at most 2^32 points
  PointCloudMeshBuilder builder(model, keys, points, colors);
  WalkCloudTree(root, [&](std::span<uint32_t const> indices) { builder.MakeMesh(indices); });
  return true;
}

}  // namespace QX::Store
