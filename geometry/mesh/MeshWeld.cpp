#include "geometry/mesh/MeshWeld.h"

#include <span>

#include "geometry/mesh/MeshData.h"
#include "geometry/mesh/StoredMesh.h"
#include "geometry/mesh/StreamMesh.h"

namespace QX::Store::detail {
namespace {

// The attribute words of one tuple.
struct Tuple {
  uint32_t point, normal, uv, color;
};

// Which attributes the tuples of one class carry.
struct ClassLayout {
  bool normal = false, uv = false, color = false;
  uint32_t width = 1;
};

class Welder {
 public:
  explicit Welder(StoredMesh& mesh) : mesh_(mesh), tables_(mesh.weld) {
    tables_.Clear();
    tables_.vertices.assign(mesh.points.size(), WeldedVertex{});
    tables_.next_slot.assign(mesh.points.size(), kNoIndex);
  }

  // Welds one class; `c` is 0 for faces, 1 for lines, 2 for points.
  bool WeldClass(int c, WeldSummary& summary) {
    static constexpr uint32_t kShift[3] = {4, 8, 12};
    ElementList const& elements =
        c == 0 ? mesh_.face_elements : c == 1 ? mesh_.line_elements : mesh_.point_elements;
    std::vector<uint8_t> const& bits =
        c == 0 ? mesh_.face_element_bits
               : c == 1 ? mesh_.line_element_bits : mesh_.point_element_bits;
    class_start_ = uint32_t(tables_.indices.size());
    if (elements.empty()) return true;
    ClassLayout const layout = Layout(kShift[c]);
    summary.stream_flags |= ClassFlags(layout) << kShift[c];
    for (uint32_t k = 0; k < elements.size(); ++k) {
      std::span<uint32_t const> words = elements[k];
      if (c == 1) {
        if (!BuildSegments(words, layout.width)) return false;
        words = tables_.segments;
      }
      uint8_t const element_bits = bits.empty() ? 0 : bits[k % bits.size()];
      if (!WeldElement(words, layout, element_bits)) return false;
    }
    summary.index_counts[c] = uint32_t(tables_.indices.size()) - class_start_;
    summary.element_counts[c] = elements.size();
    return true;
  }

  uint32_t Number() {
    uint32_t next = 0;
    for (WeldedVertex& v : tables_.vertices)
      if (v.point != kNoIndex) v.final_index = next++;
    return next;
  }

 private:
  ClassLayout Layout(uint32_t shift) const {
    uint32_t const flags = mesh_.flags >> shift;
    ClassLayout layout;
    layout.normal = (flags & 1) && !mesh_.normals.empty();
    layout.uv = (flags & 2) && !mesh_.uvs.empty();
    layout.color = (flags & 4) && !mesh_.colors.empty();
    layout.width = 1 + layout.normal + layout.uv + layout.color;
    return layout;
  }

  static uint32_t ClassFlags(ClassLayout const& layout) {
    return (layout.normal ? 1u : 0u) | (layout.uv ? 2u : 0u) | (layout.color ? 4u : 0u);
  }

  // The segment list of a line element: each strip of n tuples gives n - 1
  // pairs; a single no-value word where a tuple would begin ends a strip.
  bool BuildSegments(std::span<uint32_t const> words, uint32_t width) {
    auto& segments = tables_.segments;
    segments.clear();
    size_t previous = 0;
    bool in_strip = false;
    for (size_t i = 0; i < words.size();) {
      if (words[i] == kNoIndex) {
        in_strip = false;
        ++i;
        continue;
      }
      if (words.size() - i < width) return false;
      if (in_strip) {
        segments.insert(segments.end(), words.begin() + previous,
                        words.begin() + previous + width);
        segments.insert(segments.end(), words.begin() + i, words.begin() + i + width);
      }
      previous = i;
      in_strip = true;
      i += width;
    }
    return true;
  }

  bool WeldElement(std::span<uint32_t const> words, ClassLayout const& layout, uint8_t bits) {
    if (words.size() % layout.width != 0) return false;
    StreamElement entry;
    entry.first = uint32_t(tables_.indices.size()) - class_start_;
    for (size_t i = 0; i < words.size(); i += layout.width) {
      Tuple tuple{};
      if (!ReadTuple(words.data() + i, layout, tuple)) return false;
      tables_.indices.push_back(FindOrAddSlot(tuple));
    }
    entry.count = uint32_t(tables_.indices.size()) - class_start_ - entry.first;
    entry.bits = bits;
    tables_.elements.push_back(entry);
    ++element_;
    return true;
  }

  bool ReadTuple(uint32_t const* words, ClassLayout const& layout, Tuple& tuple) const {
    size_t k = 0;
    tuple.point = words[k++];
    tuple.normal = layout.normal ? words[k++] : kNoIndex;
    tuple.uv = layout.uv ? words[k++] : kNoIndex;
    tuple.color = layout.color ? words[k++] : kNoIndex;
    return tuple.point < mesh_.points.size() && Within(tuple.normal, mesh_.normals.size()) &&
           Within(tuple.uv, mesh_.uvs.size()) && Within(tuple.color, mesh_.colors.size());
  }

  static bool Within(uint32_t word, size_t count) { return word == kNoIndex || word < count; }

  uint32_t FindOrAddSlot(Tuple const& tuple) {
    uint32_t slot = tuple.point;
    for (;;) {
      if (Matches(tables_.vertices[slot], tuple)) return slot;
      if (tables_.next_slot[slot] == kNoIndex) break;
      slot = tables_.next_slot[slot];
    }
    uint32_t const added = uint32_t(tables_.vertices.size());
    tables_.vertices.push_back(
        {tuple.point, tuple.normal, tuple.uv, tuple.color, element_, kNoIndex});
    tables_.next_slot.push_back(kNoIndex);
    tables_.next_slot[slot] = added;
    return added;
  }

  bool Matches(WeldedVertex& v, Tuple const& tuple) const {
    bool const bare = v.normal == kNoIndex && v.uv == kNoIndex && v.color == kNoIndex;
    if (bare && (v.element == kNoIndex || v.element == element_)) {
      v = {tuple.point, tuple.normal, tuple.uv, tuple.color, element_, kNoIndex};
      return true;
    }
    if (v.element != element_) return false;
    return Same(v.normal, tuple.normal, mesh_.normals) && Same(v.uv, tuple.uv, mesh_.uvs) &&
           Same(v.color, tuple.color, mesh_.colors);
  }

  // Equal words, or two words whose values are equal.
  template <typename T>
  static bool Same(uint32_t a, uint32_t b, std::vector<T> const& values) {
    if (a == b) return true;
    if (a == kNoIndex || b == kNoIndex) return false;
    return values[a] == values[b];
  }

  StoredMesh& mesh_;
  WeldTables& tables_;
  uint32_t class_start_ = 0;
  uint32_t element_ = 0;
};

}  // namespace

bool WeldMesh(StoredMesh& mesh, WeldSummary& summary) {
  summary = WeldSummary{};
  Welder welder(mesh);
  for (int c = 0; c < 3; ++c)
    if (!welder.WeldClass(c, summary)) return false;
  summary.vertex_count = welder.Number();
  uint32_t const flags = summary.stream_flags;
  summary.stream_flags |= (mesh.flags & kStreamCopiedFlags) |
                          (flags & 0x1110 ? kVertexNormals : 0) |
                          (flags & 0x2220 ? kVertexUvs : 0) | (flags & 0x4440 ? kVertexColors : 0);
  return true;
}

uint32_t VertexStride(uint32_t stream_flags) {
  return 12 + (stream_flags & kVertexNormals ? 12 : 0) + (stream_flags & kVertexUvs ? 8 : 0) +
         (stream_flags & kVertexColors ? 4 : 0);
}

}  // namespace QX::Store::detail
