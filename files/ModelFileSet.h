#pragma once
// How a model reaches its files by name: the files of a model directory, or
// the entries of a bundle file read in place.
#include <filesystem>
#include <string_view>

namespace QX::Store {

class File;
class FileSystem;

class ModelFileSet {
 public:
  ModelFileSet(FileSystem* file_system, std::filesystem::path path, bool read_only,
               bool bundle);

  // A plain directory needs no loading; a bundle reads its table of entries.
  // False leaves the set unloaded.
  bool Load();
  // Opens `file` as the model file `name` (reading only for a read-only set),
  // creating a missing file. Does nothing if `file` is open already.
  void OpenFile(File& file, std::string_view name);

  std::filesystem::path const& Path() const { return path_; }
  FileSystem& Files() const { return *file_system_; }
  bool ReadOnly() const { return read_only_; }
  bool IsBundle() const { return bundle_; }
  bool Loaded() const { return loaded_; }

 private:
  bool LoadBundle();

  std::filesystem::path path_;
  FileSystem* file_system_;
  bool read_only_;
  bool bundle_;
  bool loaded_ = false;
};

}  // namespace QX::Store
