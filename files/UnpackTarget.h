#pragma once
// The directory into which a bundle is unpacked: directories and files
// named by the bundle's records, joined to the root. A name that would reach
// outside the root (absolute, or with "..") makes the bundle corrupt.
#include <filesystem>
#include <memory>
#include <span>
#include <string_view>

namespace QX::Store {

class BundleCursor;
class File;
class FileSystem;

class UnpackTarget {
 public:
  UnpackTarget(FileSystem& file_system, std::filesystem::path root, BundleCursor const& bundle);
  ~UnpackTarget();

  // Makes root/name with all parents ("." is the root itself); with
  // `enter` it becomes the directory of the files that follow.
  void Directory(std::string_view name, bool enter);
  // Closes the file in hand and starts the file `name` in the current directory.
  void BeginFile(std::string_view name);
  void Write(std::span<uint8_t const> bytes);
  void EndFile();

 private:
  std::filesystem::path Inside(std::string_view name) const;

  FileSystem& files_;
  std::filesystem::path root_;
  std::filesystem::path current_;
  BundleCursor const& bundle_;
  std::unique_ptr<File> file_;
};

}  // namespace QX::Store
