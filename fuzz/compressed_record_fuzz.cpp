// The compressed record Z: unwrapped, and what it gives read as mesh records.
#include <array>
#include <cstdint>
#include <vector>

#include "geometry/mesh/CompressedRecord.h"
#include "geometry/mesh/StreamMesh.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  std::vector<uint8_t> out;
  if (!QX::Store::DecompressRecord({data, size}, out)) return 0;
  std::vector<std::array<double, 3>> positions;
  std::array<uint64_t, 2> split{};
  QX::Store::ParseMeshPositions(out, positions, split);
  return 0;
}
