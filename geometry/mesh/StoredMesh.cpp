#include "geometry/mesh/StoredMesh.h"

#include <algorithm>

#include "files/File.h"
#include "geometry/mesh/ByteIO.h"
#include "geometry/mesh/MeshData.h"
#include "geometry/mesh/MeshRecord.h"

namespace QX::Store {
namespace {

constexpr size_t kBlock = 0x10000;

// Collects small fields into blocks; large arrays go to the file directly.
class RecordWriter {
 public:
  RecordWriter(File& file, Logger* logger) : file_(file), logger_(logger) {
    buffer_.reserve(kBlock + 64);
  }

  void U32(uint32_t v) {
    PutU32(buffer_, v);
    if (buffer_.size() >= kBlock) Flush();
  }

  void Bytes(void const* data, size_t n) {
    if (n >= kBlock) {
      Flush();
      detail::WriteAll(file_, {static_cast<uint8_t const*>(data), n}, logger_);
      return;
    }
    PutBytes(buffer_, data, n);
    if (buffer_.size() >= kBlock) Flush();
  }

  template <typename T>
  void Array(T const* data, uint32_t count) {
    U32(count);
    if (count != 0) Bytes(data, size_t(count) * sizeof(T));
  }

  void Flush() {
    detail::WriteAll(file_, buffer_, logger_);
    buffer_.clear();
  }

 private:
  File& file_;
  Logger* logger_;
  std::vector<uint8_t> buffer_;
};

// Reads through a block buffer, never past the bytes that the file holds.
class RecordReader {
 public:
  RecordReader(File& file, std::vector<uint8_t>& buffer, uint64_t remaining)
      : file_(file), buffer_(buffer), remaining_(remaining) {
    buffer_.clear();
  }

  bool Read(void* out, size_t n) {
    if (n > remaining_) return false;
    auto* to = static_cast<uint8_t*>(out);
    size_t const cached = std::min(n, buffer_.size() - used_);
    if (cached != 0) std::memcpy(to, buffer_.data() + used_, cached);
    used_ += cached;
    to += cached;
    size_t left = n - cached;
    remaining_ -= n;
    if (left == 0) return true;
    if (left >= kBlock) return file_.Read(to, left) == left;
    size_t const fill = size_t(std::min<uint64_t>(kBlock, left + remaining_));
    buffer_.resize(fill);
    if (file_.Read(buffer_.data(), fill) != fill) return false;
    std::memcpy(to, buffer_.data(), left);
    used_ = left;
    return true;
  }

  bool U32(uint32_t& v) {
    uint8_t bytes[4];
    if (!Read(bytes, 4)) return false;
    v = GetU32(bytes);
    return true;
  }

  // A count of items of `size` bytes followed by the items themselves.
  template <typename T>
  bool Array(std::vector<T>& out) {
    uint32_t count = 0;
    if (!U32(count) || uint64_t(count) * sizeof(T) > remaining_) return false;
    out.resize(count);
    return count == 0 || Read(out.data(), size_t(count) * sizeof(T));
  }

  bool Elements(ElementList& out) {
    uint32_t count = 0;
    if (!U32(count) || uint64_t(count) * 4 > remaining_) return false;
    auto& words = out.Words();
    auto& starts = out.Starts();
    starts.reserve(size_t(count) + 1);
    starts.push_back(0);
    for (uint32_t i = 0; i < count; ++i) {
      uint32_t n = 0;
      if (!U32(n) || uint64_t(n) * 4 > remaining_) return false;
      size_t const at = words.size();
      words.resize(at + n);
      if (n != 0 && !Read(words.data() + at, size_t(n) * 4)) return false;
      starts.push_back(uint32_t(words.size()));
    }
    return true;
  }

 private:
  File& file_;
  std::vector<uint8_t>& buffer_;
  size_t used_ = 0;
  uint64_t remaining_;
};

void WriteElements(RecordWriter& writer, ElementWords const& elements) {
  writer.U32(uint32_t(elements.size()));
  for (auto const& element : elements) writer.Array(element.data(), uint32_t(element.size()));
}

bool ReadStored(RecordReader& reader, StoredMesh& out) {
  if (!reader.Array(out.points) || !reader.Array(out.normals) || !reader.Array(out.uvs) ||
      !reader.Array(out.colors))
    return false;
  uint32_t bit_total = 0;
  if (!reader.U32(out.flags) || !reader.U32(bit_total)) return false;
  if (bit_total != 0 &&
      (!reader.Array(out.face_element_bits) || !reader.Array(out.line_element_bits) ||
       !reader.Array(out.point_element_bits)))
    return false;
  return reader.Elements(out.face_elements) && reader.Elements(out.line_elements) &&
         reader.Elements(out.point_elements);
}

}  // namespace

void WeldTables::Clear() {
  vertices.clear();
  next_slot.clear();
  packed.clear();
  indices.clear();
  elements.clear();
  segments.clear();
}

void StoredMesh::Clear() {
  points.clear();
  normals.clear();
  uvs.clear();
  colors.clear();
  flags = 0;
  face_element_bits.clear();
  line_element_bits.clear();
  point_element_bits.clear();
  face_elements.Clear();
  line_elements.Clear();
  point_elements.Clear();
  work.clear();
  extra.clear();
  weld.Clear();
}

void WriteStoredMesh(File& file, MeshData const& mesh, MeshRecord& record, Logger* logger) {
  int64_t const offset = detail::SeekToEnd(file, logger);
  RecordWriter writer(file, logger);
  writer.Array(mesh.points, mesh.point_count);
  writer.Array(mesh.normals, mesh.normal_count);
  writer.Array(mesh.uvs, mesh.uv_count);
  writer.Array(mesh.colors, mesh.color_count);
  writer.U32(mesh.flags);
  size_t const bit_total = mesh.face_element_bits.size() + mesh.line_element_bits.size() +
                           mesh.point_element_bits.size();
  writer.U32(uint32_t(bit_total));
  if (bit_total != 0) {
    for (auto const* bits :
         {&mesh.face_element_bits, &mesh.line_element_bits, &mesh.point_element_bits})
      writer.Array(bits->data(), uint32_t(bits->size()));
  }
  WriteElements(writer, mesh.face_elements);
  WriteElements(writer, mesh.line_elements);
  WriteElements(writer, mesh.point_elements);
  writer.Flush();
  record.stored_offset = offset;
}

bool ReadStoredMesh(File& file, MeshRecord const& record, StoredMesh& out) {
  out.Clear();
  if (record.stored_offset < 0 || !file.IsOpen()) return false;
  int64_t const size = file.Size();
  if (size < record.stored_offset || file.Seek(record.stored_offset, kSeekBegin) < 0)
    return false;
  RecordReader reader(file, out.extra, uint64_t(size - record.stored_offset));
  bool const ok = ReadStored(reader, out);
  out.extra.clear();
  return ok;
}

}  // namespace QX::Store
