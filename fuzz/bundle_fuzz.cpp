// A bundle (.qxz) of either form: its form, its table read in place with
// every member read through it, and an unpacking into a scratch directory.
#include <cstdint>
#include <filesystem>
#include <vector>

#include "files/Bundle.h"
#include "files/BundleReader.h"
#include "files/DiskFile.h"
#include "files/FileSystem.h"
#include "fuzz/FuzzTempDir.h"
#include "store/Logger.h"

namespace {

namespace fs = std::filesystem;
using namespace QX::Store;

void ReadMembers(fs::path const& path, std::vector<BundleEntry> entries) {
  Bundle bundle(DefaultFiles(), path, std::move(entries));
  std::vector<uint8_t> buffer(1 << 16);
  for (size_t i = 0; i < bundle.Entries().size(); ++i) {
    bundle.Enter();
    uint64_t position = 0;
    while (uint64_t const n = bundle.ReadAt(i, position, buffer.data(), buffer.size()))
      position += n;
    bundle.Leave();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  fs::path const path = WriteFuzzInput("in.qxz", data, size);
  fs::path const output = FuzzTempDir() / "out";
  DiskFile file(path);
  file.OpenRead(false);
  try {
    if (BundleFormOf(file, path, nullptr) == kNewBundleForm)
      ReadMembers(path, ReadBundleTable(file, path, nullptr));
  } catch (Exception const&) {
    // Refused by exception: a clean end.
  }
  try {
    UnpackBundleFile(file, path, DefaultFiles(), output, nullptr);
  } catch (Exception const&) {
  }
  fs::remove_all(output);
  return 0;
}
