#pragma once
// A bundle read in place: the table of the files in one .qxz file, and the
// one shared open file through which all of them are read. The shared file
// opens at the first read of a member and closes when the last member
// closes; while open it counts twice in the process's open file count.
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace QX::Store {

class File;
class FileSystem;

struct BundleEntry {
  std::string name;
  uint64_t size = 0;
  uint64_t offset = 0;  // of its first byte in the bundle
};

class Bundle {
 public:
  static constexpr size_t npos = size_t(-1);

  Bundle(FileSystem& file_system, std::filesystem::path path, std::vector<BundleEntry> entries);
  ~Bundle();
  Bundle(Bundle const&) = delete;
  Bundle& operator=(Bundle const&) = delete;

  // The first entry of that exact name, in table order, or npos.
  size_t Find(std::string_view name) const;
  std::vector<BundleEntry> const& Entries() const { return entries_; }
  std::filesystem::path const& Path() const { return path_; }
  uint64_t OpenCount() const { return open_count_; }
  // Whether the shared bundle file is open now.
  bool FileOpen() const;

  // A member opens or closes; the last close closes the shared file.
  void Enter() { ++open_count_; }
  void Leave();
  // Reads up to `n` bytes of entry `entry` from `position` on, clipped to
  // the entry; 0 if the shared file can't be opened.
  uint64_t ReadAt(size_t entry, uint64_t position, void* out, uint64_t n);

 private:
  std::vector<BundleEntry> entries_;
  std::filesystem::path path_;
  std::unique_ptr<File> file_;
  uint64_t open_count_ = 0;
};

}  // namespace QX::Store
