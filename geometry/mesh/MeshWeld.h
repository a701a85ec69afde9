#pragma once
// Welding of a stored mesh's separately indexed arrays into one vertex
// table, with one index per vertex and one element table entry per element.
#include <cstdint>

namespace QX::Store {
struct StoredMesh;
}

namespace QX::Store::detail {

// What the welding found; the tables themselves are in StoredMesh::weld.
struct WeldSummary {
  uint32_t stream_flags = 0;  // without the alpha bit, which depends on the output
  uint32_t index_counts[3] = {0, 0, 0};    // faces, lines, points
  uint32_t element_counts[3] = {0, 0, 0};  // faces, lines, points
  uint32_t vertex_count = 0;
};

// Welds all three classes and numbers the vertices that are used. False if
// an element word points past its array or an element ends inside a tuple:
// such a mesh has nothing to send.
bool WeldMesh(StoredMesh& mesh, WeldSummary& summary);

// Bytes per vertex for the stream flags.
uint32_t VertexStride(uint32_t stream_flags);

}  // namespace QX::Store::detail
