// A stored mesh record of _meshes.qxi: read, and encoded into stream records
// as preparation does, which then must read back.
#include <array>
#include <cstdint>
#include <vector>

#include "geometry/mesh/MeshRecord.h"
#include "geometry/mesh/StoredMesh.h"
#include "geometry/mesh/StreamMesh.h"
#include "tests/geometry/mesh/MemoryFile.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  using namespace QX::Store;
  qx_test::MemoryFile stored, stream, toc;
  stored.bytes.assign(data, data + size);
  MeshRecord record;
  record.stored_offset = 0;
  StoredMesh scratch;
  if (!ReadStoredMesh(stored, record, scratch)) return 0;
  EncodeStreamMesh(stored, stream, toc, record, scratch, 0, nullptr);
  std::vector<uint8_t> extra, records;
  std::vector<std::array<double, 3>> positions;
  std::array<uint64_t, 2> split{};
  if (ReadStreamMesh(stream, record, extra, records)) ParseMeshPositions(records, positions, split);
  return 0;
}
