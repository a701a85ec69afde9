#pragma once
// Duplicate detection: before a mesh is stored, look for an earlier mesh of
// the model that equals it up to a rigid (or any affine) transform. A
// content hash over what a translation leaves alone finds candidates; four
// reference points that span the mesh give the transform, which every point
// and normal of the candidate must then follow.
#include <array>
#include <cstdint>
#include <functional>
#include <unordered_map>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

class File;
struct MeshData;
struct MeshRecord;
struct StoredMesh;

inline constexpr uint64_t kMeshHashSeed = 0x8D06F00D;
// Meshes with fewer points are never duplicates.
inline constexpr uint32_t kMinDuplicatePoints = 32;
// Distinct shapes per hash value that are compared at all.
inline constexpr size_t kMaxCandidates = 6;

// A table of key lists: content hash -> meshes with data of their own,
// oldest first; or mesh key -> the meshes that are duplicates of it.
using MeshKeyLists = std::unordered_map<uint64_t, std::vector<uint32_t>>;

// What FindDuplicate needs of the model.
struct DuplicateSearch {
  MeshKeyLists& candidates;
  MeshKeyLists& duplicates;
  File& stored;         // _meshes.qxi, where candidates are read from
  StoredMesh& scratch;  // holds a candidate while it is compared
  std::function<MeshRecord const*(MeshKey)> find_mesh;
  std::function<MatrixKey(Matrix const&)> insert_matrix;
};

// Four point indices; kNoIndex marks one as missing.
using ReferencePoints = std::array<uint32_t, 4>;

// A 4x4 float matrix, column by column.
using Frame = std::array<float, 16>;

// Sets `record.bounds` and `content_hash`, and on a match `duplicate_of`
// and `duplicate_matrix`, updating the tables. True if the mesh is a
// duplicate and must not be stored; the caller counts it. Throws
// "NAN or INF in mesh point: %u" for a point that isn't finite.
bool FindDuplicate(MeshData const& mesh, MeshRecord& record, DuplicateSearch& search);

// The shape signature and content hash of a mesh of at least one point.
uint64_t MeshContentHash(MeshData const& mesh);

// Reference points of a mesh from the indices of its two extreme points
// `first` and `second` along one axis.
ReferencePoints PickReferencePoints(Point const* points, uint32_t count, uint32_t first,
                                    uint32_t second);

// Columns P0 - P1, P0 - P2, P0 - P3 (or the cross product of the first two
// when P3 is missing), and the point P0.
Frame MakeFrame(Point const* points, ReferencePoints const& reference);

// Compares the new mesh with a stored candidate. True if every point and
// normal of the candidate, carried by the transform that maps its reference
// frame onto the new mesh's, lands on the new mesh. `transform` then holds
// the images of the x, y and z unit vectors and the translation; `identity`
// tells whether the transform is the identity.
bool CompareWithCandidate(MeshData const& mesh, MeshRecord const& candidate, File& stored,
                          StoredMesh& scratch, ReferencePoints const& reference,
                          std::array<float, 12>& transform, bool& identity);

}  // namespace QX::Store
