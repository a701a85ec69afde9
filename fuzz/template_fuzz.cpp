// Page templates: the input is the template, embedded around a small stream.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "export/TemplateEmbedding.h"

namespace {

namespace fs = std::filesystem;

std::filesystem::path WorkDir() {
  static std::filesystem::path const dir = [] {
    auto const path = std::filesystem::temp_directory_path() /
                      ("qx_fuzz_template_" + std::to_string(getpid()));
    std::filesystem::create_directories(path);
    std::ofstream(path / "stream.qxs", std::ios::binary) << std::string(1000, 'S');
    static fs::path const remove = path;
    std::atexit([] { fs::remove_all(remove); });
    return path;
  }();
  return dir;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
  std::filesystem::path const dir = WorkDir();
  std::string const page = (dir / "template.html").string();
  std::ofstream(page, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<char const*>(data), std::streamsize(size));
  KZVI::EmbedStreamInTemplate((dir / "stream.qxs").c_str(), page.c_str(),
                              (dir / "out.html").c_str(), nullptr);
  return 0;
}
