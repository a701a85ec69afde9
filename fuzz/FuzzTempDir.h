#pragma once
// A scratch directory of the fuzzing process, made at the first call and
// removed at exit, for harnesses whose reader takes a path.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

inline std::filesystem::path FuzzTempDir() {
  static std::filesystem::path const dir = [] {
    std::filesystem::path const path =
        std::filesystem::temp_directory_path() / ("qx_fuzz_" + std::to_string(getpid()));
    std::filesystem::remove_all(path);
    std::filesystem::create_directories(path);
    static std::filesystem::path const remove = path;
    std::atexit([] { std::filesystem::remove_all(remove); });
    return path;
  }();
  return dir;
}

// Writes the input to `name` in the scratch directory and returns its path.
inline std::filesystem::path WriteFuzzInput(char const* name, uint8_t const* data, size_t size) {
  std::filesystem::path const path = FuzzTempDir() / name;
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<char const*>(data), std::streamsize(size));
  return path;
}
