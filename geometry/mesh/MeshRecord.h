#pragma once
// The store's entry for one mesh and the table of contents of its stream
// records. The store keeps one MeshRecord per mesh for the life of a model.
#include <cstdint>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

// Kinds of stream mesh records.
inline constexpr uint32_t kIndexedMeshKind = 1;
inline constexpr uint32_t kExpandedHeaderKind = 2;
inline constexpr uint32_t kExpandedChunkKind = 4;

// Where one stream record of a mesh lies in _stream_meshes.qxd; 16 bytes in
// memory and on disk.
struct MeshTocEntry {
  uint64_t offset = 0;
  uint32_t size = 0;  // bytes in the file, after any compression
  uint32_t kind = 0;
  friend bool operator==(MeshTocEntry const&, MeshTocEntry const&) = default;
};

// The entry of a mesh that was tried and has nothing to send.
inline constexpr MeshTocEntry kNoDataTocEntry{0xFFFFFFFFFFFFFFFFull, 0xFFFFFFFFu, 0};

struct MeshRecord {
  int64_t stored_offset = -1;  // in _meshes.qxi; -1 for a duplicate or no data
  uint64_t content_hash = 0;   // 0: not a duplicate candidate
  std::vector<MeshTocEntry> toc;
  MeshKey duplicate_of = 0;        // 0: the mesh has data of its own
  MatrixKey duplicate_matrix = 0;  // carries duplicate_of onto this mesh
  MeshKey key = 0;
  uint32_t classes = 0;  // bit 0 faces, bit 1 lines, bit 2 points in the stream form
  MaterialKey face_material = 0;
  MaterialKey line_material = 0;
  MaterialKey point_material = 0;
  MaterialMapKey face_material_map = 0;
  MaterialMapKey line_material_map = 0;
  MaterialMapKey point_material_map = 0;
  uint32_t stream_kib = 0;  // uncompressed stream bytes >> 10, summed per record
  BoundingBox bounds;
};

}  // namespace QX::Store
