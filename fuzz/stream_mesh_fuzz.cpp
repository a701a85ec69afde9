// Stream mesh records (Q, R with r chunks, any of them in Z) as a model's
// stream file holds them: read back through a toc entry over the whole
// input, then parsed into positions.
#include <array>
#include <cstdint>
#include <vector>

#include "geometry/mesh/MeshRecord.h"
#include "geometry/mesh/StreamMesh.h"
#include "tests/geometry/mesh/MemoryFile.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  using namespace QX::Store;
  std::vector<std::array<double, 3>> positions;
  std::array<uint64_t, 2> split{};
  ParseMeshPositions({data, size}, positions, split);

  qx_test::MemoryFile stream;
  stream.bytes.assign(data, data + size);
  MeshRecord record;
  record.toc.push_back({0, uint32_t(size), 1});
  std::vector<uint8_t> scratch, records;
  if (ReadStreamMesh(stream, record, scratch, records))
    ParseMeshPositions(records, positions, split);
  return 0;
}
