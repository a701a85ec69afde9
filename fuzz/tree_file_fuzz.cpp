// The bounding tree file _stream_bounding.qxd, read against instance keys
// 1 to 4096, and its root box alone.
#include <cstdint>
#include <map>

#include "geometry/bounding/BoundingTreeFile.h"
#include "tests/geometry/mesh/MemoryFile.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  using namespace QX::Store;
  std::map<uint32_t, BoundingItem> items;
  ItemLookup const lookup = [&items](uint32_t key) -> BoundingItem* {
    if (key == 0 || key > 4096) return nullptr;
    BoundingItem& item = items[key];
    item.key = key;
    return &item;
  };
  ReadTree({data, size}, lookup);
  qx_test::MemoryFile file;
  file.bytes.assign(data, data + size);
  BoundingBox box;
  ReadRootBox(file, box);
  return 0;
}
