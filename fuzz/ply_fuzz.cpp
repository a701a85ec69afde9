// A PLY file as the importer's own point cloud reader sees it.
#include <cstdint>

#include "fuzz/FuzzTempDir.h"
#include "tools/importer/AssimpImporter.h"
#include "tools/importer/PlyPointCloud.h"

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  std::string const path = WriteFuzzInput("in.ply", data, size).string();
  try {
    qx_tool::ReadPlyPointCloud(path);
  } catch (qx_tool::ImportError const&) {
    // A damaged point cloud is refused by exception: a clean end.
  }
  return 0;
}
