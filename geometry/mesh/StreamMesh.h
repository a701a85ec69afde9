#pragma once
// The stream form of a mesh: the records of _stream_meshes.qxd that a viewer
// draws from, their table of contents in _stream_meshes_toc.qxd, and the
// reading of those records back into positions.
//
// Records: Q (81) indexed, for up to 65535 vertices; R (82) expanded header
// and r (114) expanded chunks above that; any of them may be wrapped in a
// compressed record Z (90).
#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace QX::Store {

class File;
class Logger;
struct MeshRecord;
struct StoredMesh;
class StreamRecordQueue;

inline constexpr uint32_t kIndexedMeshTag = 81;
inline constexpr uint32_t kExpandedHeaderTag = 82;
inline constexpr uint32_t kExpandedChunkTag = 114;
inline constexpr uint32_t kMeshTocTag = 77;

// Stream flags beyond the per-class bits (0x10 .. 0x4000) and the mesh
// flags copied through (0x30007).
inline constexpr uint32_t kStreamCopiedFlags = 0x30007;
inline constexpr uint32_t kVertexNormals = 0x10000000;
inline constexpr uint32_t kVertexUvs = 0x20000000;
inline constexpr uint32_t kVertexColors = 0x40000000;
inline constexpr uint32_t kVertexAlpha = 0x80000000;

// Most vertices of an indexed record: its indices are u16 and 0xFFFF only
// ever pads.
inline constexpr uint32_t kMaxIndexedVertices = 65535;
// Records up to this size aren't worth a compressor call.
inline constexpr uint32_t kRawRecordLimit = 32768;

// Encodes the stored mesh of `record` (read from `stored`, _meshes.qxi) into
// stream records appended to `stream` and a toc record appended to `toc`.
// Fills `toc`, `classes` and `stream_kib` of the record and clears
// `scratch`. Does nothing for a record whose toc is filled already. A mesh
// that can't be read, has no points or elements, or has element words past
// its arrays gets the single no-data entry. Write failures are logged and
// thrown as "Unable to write data: " + path. A read-only model doesn't call
// this: it gives the record the no-data entry in memory.
void EncodeStreamMesh(File& stored, File& stream, File& toc, MeshRecord& record,
                      StoredMesh& scratch, uint32_t effort, Logger* logger);

// The same through a queue that many meshes share: their records are
// compressed in parallel and written in order when the queue is flushed,
// and only then does `record.toc` hold the records' entries.
void EncodeStreamMesh(File& stored, StreamRecordQueue& queue, MeshRecord& record, StoredMesh& scratch);

// Appends the toc record of a mesh: its 16-byte head by one write, its
// entries by another.
void WriteMeshTocRecord(File& toc, MeshRecord const& record, Logger* logger);

// Reads all records of the mesh's toc from `stream` into `out`, each
// decompressed. `scratch` holds compressed records in between. False on a
// no-data entry, a short read or a record that isn't a mesh record.
bool ReadStreamMesh(File& stream, MeshRecord const& record, std::vector<uint8_t>& scratch,
                    std::vector<uint8_t>& out);

// Positions of the vertices of the records that ReadStreamMesh gave, in
// index order, and where the face positions end and the line positions end.
bool ParseMeshPositions(std::span<uint8_t const> records,
                        std::vector<std::array<double, 3>>& positions,
                        std::array<uint64_t, 2>& split);

}  // namespace QX::Store
