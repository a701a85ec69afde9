#pragma once
// A fresh directory under the system temporary directory, removed with its
// contents when the test ends.
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace qx_test {

class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qx-test-XXXXXX").string();
    path_ = mkdtemp(pattern.data());
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  TempDir(TempDir const&) = delete;
  TempDir& operator=(TempDir const&) = delete;

  std::filesystem::path const& Path() const { return path_; }
  std::filesystem::path operator/(std::string const& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

inline void WriteText(std::filesystem::path const& path, std::string const& text) {
  std::ofstream(path, std::ios::binary) << text;
}

inline std::string ReadText(std::filesystem::path const& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace qx_test
