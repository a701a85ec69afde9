// One file of a real model replaced by the input (QX_FUZZ_MODEL_FILE names
// it), the model opened read-only and streamed to a .qxs: the store's
// readers of that file and the stream's reads of what they give.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "store/Cache.h"
#include "store/Model.h"
#include "store/Logger.h"

namespace {

namespace fs = std::filesystem;

// A copy of the committed base model, made once per process.
fs::path WorkDir() {
  static fs::path const dir = [] {
    fs::path const path =
        fs::temp_directory_path() / ("qx_fuzz_" + std::to_string(getpid())) / "model";
    fs::remove_all(path.parent_path());
    fs::create_directories(path.parent_path());
    fs::copy(fs::path(QX_FUZZ_DIR) / "models" / "base", path, fs::copy_options::recursive);
    static fs::path const remove = path.parent_path();
    std::atexit([] { fs::remove_all(remove); });
    return path;
  }();
  return dir;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  fs::path const dir = WorkDir();
  std::ofstream(dir / QX_FUZZ_MODEL_FILE, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<char const*>(data), std::streamsize(size));
  std::string const stream = (dir.parent_path() / "out.qxs").string();
  try {
    QX::Store::Cache cache = QX::Store::Cache::Open(nullptr);
    QX::Store::Model model = cache.OpenModel(dir.string().c_str(), true);
    model.GenerateStreamFile(stream.c_str());
  } catch (QX::Store::Exception const&) {
    // A model that can't be read is refused by exception: a clean end.
  }
  return 0;
}
