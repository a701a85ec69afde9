#include "geometry/bounding/InstanceBounds.h"

#include <algorithm>

#include "geometry/bounding/BoundingBoxD.h"
#include "geometry/bounding/MatrixMath.h"

namespace QX::Store {

void MeshStreamData::AddTocEntry(uint64_t offset, uint32_t size) {
  if (offset == ~uint64_t{0} || size == ~uint32_t{0}) return;
  has_stream_data = true;
  stream_bytes += size;
}

bool ComputeInstanceBounds(BoundingItem& item, MeshStreamData const& mesh, Matrix const& matrix,
                           Matrix const* extra) {
  if (!mesh.has_stream_data) return false;
  Matrix const m = extra ? Concat(*extra, matrix) : matrix;
  auto corners = BoxCorners(ToDouble(mesh.bounds));
  TransformPoints(m, corners.data(), corners.size());
  item.weight = std::max(uint32_t{1}, static_cast<uint32_t>(mesh.stream_bytes >> 10));
  item.bounds = ScanPoints(corners.data(), corners.size());
  return true;
}

BoundingBox ComputeModelBounds(std::span<BoundingItem* const> items,
                               std::function<bool(BoundingItem&)> const& compute) {
  BoundingBox model;
  for (BoundingItem* item : items) {
    if (!item->bounds.Valid() && !compute(*item)) continue;
    Unite(model, item->bounds);
  }
  return model;
}

}  // namespace QX::Store
