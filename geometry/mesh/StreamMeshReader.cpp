// Reading stream mesh records back: ReadStreamMesh and ParseMeshPositions.
#include "files/File.h"
#include "geometry/mesh/ByteIO.h"
#include "geometry/mesh/CompressedRecord.h"
#include "geometry/mesh/MeshRecord.h"
#include "geometry/mesh/MeshWeld.h"
#include "geometry/mesh/StreamMesh.h"

namespace QX::Store {
namespace {


using Positions = std::vector<std::array<double, 3>>;

bool IsMeshRecordTag(uint8_t tag) {
  return tag == kIndexedMeshTag || tag == kExpandedHeaderTag || tag == kExpandedChunkTag;
}

// Reads one toc entry's bytes to the end of `out`, decompressed.
bool ReadEntry(File& stream, MeshTocEntry const& entry, uint64_t file_size,
               std::vector<uint8_t>& scratch, std::vector<uint8_t>& out) {
  if (entry.size == 0 || entry.size == 0xFFFFFFFFu) return false;
  if (entry.offset > file_size || entry.size > file_size - entry.offset) return false;
  if (stream.Seek(int64_t(entry.offset), kSeekBegin) < 0) return false;
  size_t const start = out.size();
  out.resize(start + entry.size);
  if (stream.Read(out.data() + start, entry.size) != entry.size) return false;
  uint8_t const tag = out[start];
  if (tag != kCompressedTag) return IsMeshRecordTag(tag);
  scratch.clear();
  if (!DecompressRecord({out.data() + start, entry.size}, scratch)) return false;
  out.resize(start);
  out.insert(out.end(), scratch.begin(), scratch.end());
  return true;
}

void AppendPosition(uint8_t const* at, Positions& positions) {
  positions.push_back({GetF32(at), GetF32(at + 4), GetF32(at + 8)});
}

bool ParseIndexed(std::span<uint8_t const> in, Positions& positions,
                  std::array<uint64_t, 2>& split) {
  if (in.size() < 40) return false;
  uint32_t const stride = detail::VertexStride(GetU32(in.data() + 8));
  uint64_t const vertices = GetU32(in.data() + 12);
  uint64_t const faces = GetU32(in.data() + 16), lines = GetU32(in.data() + 20);
  uint64_t const count = faces + lines + GetU32(in.data() + 24);
  uint64_t const index_at = 40 + vertices * stride;
  if (index_at + count * 2 > in.size()) return false;
  positions.reserve(count);
  for (uint64_t i = 0; i < count; ++i) {
    uint32_t const index = GetU16(in.data() + index_at + i * 2);
    if (index >= vertices) return false;
    AppendPosition(in.data() + 40 + uint64_t(index) * stride, positions);
  }
  split = {faces, faces + lines};
  return true;
}

bool ParseExpanded(std::span<uint8_t const> in, Positions& positions,
                   std::array<uint64_t, 2>& split) {
  if (in.size() < 44) return false;
  uint32_t const stride = detail::VertexStride(GetU32(in.data() + 8));
  uint64_t const faces = GetU32(in.data() + 12), lines = GetU32(in.data() + 16);
  uint64_t const count = faces + lines + GetU32(in.data() + 20);
  uint64_t const elements =
      uint64_t(GetU32(in.data() + 24)) + GetU32(in.data() + 28) + GetU32(in.data() + 32);
  uint64_t at = 44 + elements * 12;
  if (at > in.size()) return false;
  // Every position takes `stride` bytes of the chunks that follow.
  if (count > (in.size() - at) / stride) return false;
  positions.reserve(count);
  while (at < in.size()) {
    if (in.size() - at < 12 || GetU32(in.data() + at) != kExpandedChunkTag) return false;
    uint64_t const bytes = GetU32(in.data() + at + 8);
    at += 12;
    if (bytes > in.size() - at || bytes % stride != 0) return false;
    for (uint64_t end = at + bytes; at < end; at += stride) AppendPosition(in.data() + at, positions);
  }
  split = {faces, faces + lines};
  return positions.size() == count;
}

}  // namespace

bool ReadStreamMesh(File& stream, MeshRecord const& record, std::vector<uint8_t>& scratch,
                    std::vector<uint8_t>& out) {
  int64_t const size = stream.IsOpen() ? stream.Size() : -1;
  if (size < 0) return false;
  for (MeshTocEntry const& entry : record.toc)
    if (!ReadEntry(stream, entry, uint64_t(size), scratch, out)) return false;
  return true;
}

bool ParseMeshPositions(std::span<uint8_t const> records, Positions& positions,
                        std::array<uint64_t, 2>& split) {
  positions.clear();
  if (records.size() < 4) return false;
  switch (GetU32(records.data())) {
    case kIndexedMeshTag: return ParseIndexed(records, positions, split);
    case kExpandedHeaderTag: return ParseExpanded(records, positions, split);
    default: return false;
  }
}

}  // namespace QX::Store
