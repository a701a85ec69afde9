#pragma once
// A stored mesh record of _meshes.qxi read back into memory, with the
// scratch that encoding needs. One StoredMesh is reused for many meshes, so
// every vector keeps its capacity across Clear().
#include <cstdint>
#include <span>
#include <vector>

#include "store/Types.h"

namespace QX::Store {

class File;
class Logger;
struct MeshData;
struct MeshRecord;

// The elements of one class, flattened: element i has the words
// words[starts[i] .. starts[i + 1]).
class ElementList {
 public:
  uint32_t size() const { return starts_.empty() ? 0 : uint32_t(starts_.size() - 1); }
  bool empty() const { return size() == 0; }
  std::span<uint32_t const> operator[](uint32_t i) const {
    return {words_.data() + starts_[i], words_.data() + starts_[i + 1]};
  }
  std::vector<uint32_t>& Words() { return words_; }
  std::vector<uint32_t>& Starts() { return starts_; }
  void Clear() { words_.clear(); starts_.clear(); }

 private:
  std::vector<uint32_t> words_;
  std::vector<uint32_t> starts_;
};

// One vertex of the welded table, build-time only.
struct WeldedVertex {
  uint32_t point = 0xFFFFFFFFu;
  uint32_t normal = 0xFFFFFFFFu;
  uint32_t uv = 0xFFFFFFFFu;
  uint32_t color = 0xFFFFFFFFu;
  uint32_t element = 0xFFFFFFFFu;
  uint32_t final_index = 0xFFFFFFFFu;
};

// Entry of an element table of a stream record.
struct StreamElement {
  uint32_t first = 0;
  uint32_t count = 0;
  uint32_t bits = 0;
};

// Tables of the welding, kept to spare allocations from mesh to mesh.
struct WeldTables {
  std::vector<WeldedVertex> vertices;
  std::vector<uint32_t> next_slot;  // per slot: the next slot of its point, or none
  std::vector<uint32_t> indices;    // slots: faces, then lines, then points
  std::vector<StreamElement> elements;
  std::vector<uint32_t> segments;   // the segment list of one line element
  std::vector<uint8_t> packed;      // vertices in final order, for expanded meshes
  void Clear();
};

struct StoredMesh {
  std::vector<Point> points;
  std::vector<Point> normals;
  std::vector<UV> uvs;
  std::vector<RGBA32> colors;
  uint32_t flags = 0;
  std::vector<uint8_t> face_element_bits;
  std::vector<uint8_t> line_element_bits;
  std::vector<uint8_t> point_element_bits;
  ElementList face_elements;
  ElementList line_elements;
  ElementList point_elements;

  // Scratch: the record being built, and a second buffer for its
  // compressed form and for file reads.
  std::vector<uint8_t> work;
  std::vector<uint8_t> extra;
  WeldTables weld;

  void Clear();
};

// Appends the stored mesh record of `mesh` at the end of `file` and records
// its position in `record.stored_offset`. A failed write is logged and
// thrown as "Unable to write data: " + path.
void WriteStoredMesh(File& file, MeshData const& mesh, MeshRecord& record, Logger* logger);

// Reads the stored mesh record at `record.stored_offset`. False on any short
// read or on counts that the file can't hold.
bool ReadStoredMesh(File& file, MeshRecord const& record, StoredMesh& out);

}  // namespace QX::Store
