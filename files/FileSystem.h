#pragma once
// The file system as the store sees it. A caller may hand the store one of
// its own; DefaultFileSystem serves otherwise.
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace QX::Store {

class File;

class FileSystem {
 public:
  using Path = std::filesystem::path;

  virtual ~FileSystem() = default;
  // A closed file object for `path`.
  virtual std::unique_ptr<File> NewFile(Path const& path) = 0;
  virtual std::unique_ptr<File> NewFile() = 0;
  virtual Path Normalize(Path const& path) = 0;
  virtual bool Exists(Path const& path) = 0;
  virtual bool IsDirectory(Path const& path) = 0;
  virtual bool IsRegularFile(Path const& path) = 0;
  virtual bool IsSymlink(Path const& path) = 0;
  virtual bool IsEmptyDirectory(Path const& path) = 0;
  // Appends each entry of the directory; not recursive.
  virtual void ListDirectory(Path const& path, std::vector<Path>& out) = 0;
  // Removes a tree; failures throw.
  virtual uint64_t RemoveAll(Path const& path) = 0;
  virtual bool Remove(Path const& path) = 0;
  // False on any failure; never throws.
  virtual bool Rename(Path const& from, Path const& to) = 0;
  // True if made now, false if it exists.
  virtual bool CreateDirectory(Path const& path) = 0;
  virtual bool CreateDirectories(Path const& path) = 0;
};

class DefaultFileSystem final : public FileSystem {
 public:
  std::unique_ptr<File> NewFile(Path const& path) override;
  std::unique_ptr<File> NewFile() override;
  Path Normalize(Path const& path) override;
  bool Exists(Path const& path) override;
  bool IsDirectory(Path const& path) override;
  bool IsRegularFile(Path const& path) override;
  bool IsSymlink(Path const& path) override;
  bool IsEmptyDirectory(Path const& path) override;
  void ListDirectory(Path const& path, std::vector<Path>& out) override;
  uint64_t RemoveAll(Path const& path) override;
  bool Remove(Path const& path) override;
  bool Rename(Path const& from, Path const& to) override;
  bool CreateDirectory(Path const& path) override;
  bool CreateDirectories(Path const& path) override;
};

// The process-wide default file system.
FileSystem& DefaultFiles();

// Paths travel as UTF-8 text outside the file layer. Both '/' and '\' count
// as separators in that text.
std::filesystem::path PathFromUtf8(std::string_view utf8);
std::string PathToUtf8(std::filesystem::path const& path);

}  // namespace QX::Store
