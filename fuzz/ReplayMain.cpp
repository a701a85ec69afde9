// Runs a harness once over every file named on the command line, or found
// in a directory named there: the corpus replay of a build without
// libFuzzer. Exits non-zero if a path can't be read; a fault in a harness
// ends the run through the sanitizers.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size);

namespace {

bool RunFile(std::filesystem::path const& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::vector<uint8_t> const bytes(std::istreambuf_iterator<char>(in), {});
  // A copy of exactly the file's size, so that a read past it is caught.
  std::unique_ptr<uint8_t[]> const exact(new uint8_t[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), exact.get());
  LLVMFuzzerTestOneInput(exact.get(), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  size_t runs = 0;
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path const path = argv[i];
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
      for (auto const& entry : std::filesystem::recursive_directory_iterator(path)) {
        if (!entry.is_regular_file()) continue;
        if (!RunFile(entry.path())) {
          std::fprintf(stderr, "unreadable: %s\n", entry.path().c_str());
          return 1;
        }
        ++runs;
      }
    } else if (RunFile(path)) {
      ++runs;
    } else {
      std::fprintf(stderr, "unreadable: %s\n", argv[i]);
      return 1;
    }
  }
  std::printf("%zu inputs replayed\n", runs);
  return runs > 0 ? 0 : 1;
}
