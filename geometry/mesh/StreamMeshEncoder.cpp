// EncodeStreamMesh and the writing of stream mesh records and toc records.
#include <cstring>

#include "files/File.h"
#include "geometry/mesh/ByteIO.h"
#include "geometry/mesh/CompressedRecord.h"
#include "geometry/mesh/MeshData.h"
#include "geometry/mesh/MeshRecord.h"
#include "geometry/mesh/MeshWeld.h"
#include "geometry/mesh/StoredMesh.h"
#include "geometry/mesh/StreamMesh.h"
#include "geometry/mesh/StreamRecordQueue.h"

namespace QX::Store {
namespace {

using detail::WeldSummary;

constexpr uint32_t kMinusOne = 0xBF800000u;  // the bits of -1.0f
constexpr uint32_t kChunkTarget = 0x20000;
constexpr size_t kIndexedHead = 40;
constexpr size_t kExpandedHead = 44;
constexpr size_t kChunkHead = 12;
constexpr size_t kElementEntry = 12;

uint8_t* PutFloats(uint8_t* to, void const* from, size_t n) {
  std::memcpy(to, from, n * 4);
  return to + n * 4;
}

uint8_t* PutFill(uint8_t* to, size_t n) {
  for (size_t i = 0; i < n; ++i, to += 4) SetU32(to, kMinusOne);
  return to;
}

// Writes one vertex at `to`: position, then the attributes that the stream
// flags ask for, -1.0 where the vertex has none. True if it has a colour
// whose alpha is below 255.
bool PackVertex(StoredMesh const& mesh, WeldedVertex const& v, uint32_t flags, uint8_t* to) {
  to = PutFloats(to, &mesh.points[v.point], 3);
  if (flags & kVertexNormals)
    to = v.normal != kNoIndex ? PutFloats(to, &mesh.normals[v.normal], 3) : PutFill(to, 3);
  if (flags & kVertexUvs)
    to = v.uv != kNoIndex ? PutFloats(to, &mesh.uvs[v.uv], 2) : PutFill(to, 2);
  if (!(flags & kVertexColors)) return false;
  if (v.color == kNoIndex) {
    PutFill(to, 1);
    return false;
  }
  RGBA32 const c = mesh.colors[v.color];
  to[0] = c.r;
  to[1] = c.g;
  to[2] = c.b;
  to[3] = c.a;
  return c.a < 255;
}

// Packs the numbered vertices in slot order, which is their final order,
// and returns the stream flags with the alpha bit if it applies.
uint32_t PackVertices(StoredMesh const& mesh, uint32_t flags, uint8_t* to) {
  uint32_t const stride = detail::VertexStride(flags);
  bool alpha = false;
  for (WeldedVertex const& v : mesh.weld.vertices) {
    if (v.final_index == kNoIndex) continue;
    alpha |= PackVertex(mesh, v, flags, to);
    to += stride;
  }
  return alpha ? flags | kVertexAlpha : flags;
}

// Index counts, then element counts, of faces, lines and points.
void PutCounts(uint8_t* to, WeldSummary const& s) {
  for (int c = 0; c < 3; ++c) {
    SetU32(to + 4 * c, s.index_counts[c]);
    SetU32(to + 12 + 4 * c, s.element_counts[c]);
  }
}

void PutElementTable(uint8_t* to, std::vector<StreamElement> const& elements) {
  for (StreamElement const& e : elements) {
    SetU32(to, e.first);
    SetU32(to + 4, e.count);
    SetU32(to + 8, e.bits);
    to += kElementEntry;
  }
}

uint32_t Classes(WeldSummary const& s) {
  return (s.index_counts[0] ? 1u : 0u) | (s.index_counts[1] ? 2u : 0u) |
         (s.index_counts[2] ? 4u : 0u);
}

void WriteIndexed(StreamRecordQueue& queue, MeshRecord& record, StoredMesh& mesh, WeldSummary const& s) {
  auto const& weld = mesh.weld;
  uint32_t const stride = detail::VertexStride(s.stream_flags);
  size_t const index_count = weld.indices.size();
  size_t const index_bytes = (index_count + (index_count & 1)) * 2;
  size_t const vertex_bytes = size_t(s.vertex_count) * stride;
  auto& out = mesh.work;
  out.clear();
  out.resize(kIndexedHead + vertex_bytes + index_bytes + weld.elements.size() * kElementEntry);
  uint8_t* const base = out.data();
  uint32_t const flags = PackVertices(mesh, s.stream_flags, base + kIndexedHead);
  SetU32(base, kIndexedMeshTag);
  SetU32(base + 4, record.key);
  SetU32(base + 8, flags);
  SetU32(base + 12, s.vertex_count);
  PutCounts(base + 16, s);
  uint8_t* at = base + kIndexedHead + vertex_bytes;
  for (uint32_t slot : weld.indices) {
    uint32_t const index = weld.vertices[slot].final_index;
    at[0] = uint8_t(index);
    at[1] = uint8_t(index >> 8);
    at += 2;
  }
  if (index_count & 1) {  // keeps the element table 4-byte aligned
    at[0] = at[1] = 0xFF;
    at += 2;
  }
  PutElementTable(at, weld.elements);
  record.classes = Classes(s);
  queue.Add(record, kIndexedMeshKind, out);
}

// Bytes of the next chunk: the nominal size, or all that remains if that is
// less than one and a half nominal sizes.
size_t ChunkBytes(size_t remaining, size_t nominal) {
  if (remaining < nominal || remaining - nominal < nominal / 2) return remaining;
  return nominal;
}

void WriteExpanded(StreamRecordQueue& queue, MeshRecord& record, StoredMesh& mesh, WeldSummary const& s) {
  auto& weld = mesh.weld;
  uint32_t const stride = detail::VertexStride(s.stream_flags);
  weld.packed.resize(size_t(s.vertex_count) * stride);
  PackVertices(mesh, s.stream_flags, weld.packed.data());

  // The header holds no colour, so its flags never have the alpha bit.
  auto& out = mesh.work;
  out.assign(kExpandedHead + weld.elements.size() * kElementEntry, 0);
  SetU32(out.data(), kExpandedHeaderTag);
  SetU32(out.data() + 4, record.key);
  SetU32(out.data() + 8, s.stream_flags);
  PutCounts(out.data() + 12, s);
  PutElementTable(out.data() + kExpandedHead, weld.elements);
  record.classes = Classes(s);
  queue.Add(record, kExpandedHeaderKind, out);

  size_t const nominal = size_t(kChunkTarget / stride) * stride;
  size_t next = 0;  // the next index whose vertex goes out
  size_t remaining = weld.indices.size() * stride;
  while (remaining != 0) {
    size_t const bytes = ChunkBytes(remaining, nominal);
    out.resize(kChunkHead + bytes);
    SetU32(out.data(), kExpandedChunkTag);
    SetU32(out.data() + 4, record.key);
    SetU32(out.data() + 8, uint32_t(bytes));
    uint8_t* at = out.data() + kChunkHead;
    for (size_t n = bytes / stride; n != 0; --n, ++next, at += stride) {
      uint32_t const index = weld.vertices[weld.indices[next]].final_index;
      std::memcpy(at, weld.packed.data() + size_t(index) * stride, stride);
    }
    queue.Add(record, kExpandedChunkKind, out);
    remaining -= bytes;
  }
}

bool HasGeometry(StoredMesh const& mesh) {
  return !mesh.points.empty() &&
         !(mesh.face_elements.empty() && mesh.line_elements.empty() &&
           mesh.point_elements.empty());
}

// Queues the records of a mesh; false if it has nothing to draw.
bool EncodeRead(StreamRecordQueue& queue, MeshRecord& record, StoredMesh& mesh) {
  WeldSummary summary;
  if (!HasGeometry(mesh) || !detail::WeldMesh(mesh, summary) || summary.vertex_count == 0)
    return false;
  if (summary.vertex_count <= kMaxIndexedVertices)
    WriteIndexed(queue, record, mesh, summary);
  else
    WriteExpanded(queue, record, mesh, summary);
  return true;
}

}  // namespace

void EncodeStreamMesh(File& stored, File& stream, File& toc, MeshRecord& record,
                      StoredMesh& scratch, uint32_t effort, Logger* logger) {
  StreamRecordQueue queue(stream, toc, effort, 1, logger);
  EncodeStreamMesh(stored, queue, record, scratch);
  queue.Flush();
}

void EncodeStreamMesh(File& stored, StreamRecordQueue& queue, MeshRecord& record, StoredMesh& scratch) {
  if (!record.toc.empty()) return;
  record.stream_kib = 0;
  if (!ReadStoredMesh(stored, record, scratch) || !EncodeRead(queue, record, scratch))
    record.toc.push_back(kNoDataTocEntry);
  queue.EndMesh(record);
  scratch.Clear();
}

void WriteMeshTocRecord(File& toc, MeshRecord const& record, Logger* logger) {
  uint8_t head[16];
  SetU32(head, kMeshTocTag);
  SetU32(head + 4, record.key);
  SetU32(head + 8, uint32_t(record.toc.size()));
  SetU32(head + 12, record.classes);
  std::vector<uint8_t> entries;
  entries.reserve(record.toc.size() * 16);
  for (MeshTocEntry const& e : record.toc) {
    PutU64(entries, e.offset);
    PutU32(entries, e.size);
    PutU32(entries, e.kind);
  }
  detail::SeekToEnd(toc, logger);
  detail::WriteAll(toc, head, logger);
  detail::WriteAll(toc, entries, logger);
}

}  // namespace QX::Store
