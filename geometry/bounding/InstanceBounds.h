#pragma once
// The box and weight of an instance from the mesh that holds its data, and
// the model's box as the union of its instances' boxes.
#include <cstdint>
#include <functional>
#include <span>

#include "geometry/bounding/BoundingNode.h"

namespace QX::Store {

// What an instance needs of the mesh that owns the data: its box and the
// valid entries of its table of contents.
struct MeshStreamData {
  BoundingBox bounds;
  bool has_stream_data = false;
  uint64_t stream_bytes = 0;  // sum of the sizes of the valid entries

  // Counts one table of contents entry; the no-data entry, with offset or
  // size all ones, doesn't count.
  void AddTocEntry(uint64_t offset, uint32_t size);
};

// Sets the item's bounds (the mesh box through `extra`, if given, and then
// through `matrix`) and weight (KiB of stream data, at least 1). False, with
// the item unchanged, when the mesh has no stream data.
bool ComputeInstanceBounds(BoundingItem& item, MeshStreamData const& mesh, Matrix const& matrix,
                           Matrix const* extra);

// Computes the bounds of each item whose bounds are empty, in order, with
// `compute`, and returns the union of all non-empty bounds.
BoundingBox ComputeModelBounds(std::span<BoundingItem* const> items,
                               std::function<bool(BoundingItem&)> const& compute);

}  // namespace QX::Store
