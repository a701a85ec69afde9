#pragma once
// How a model reaches its files by name: the files of a model directory, or
// the entries of a bundle file read in place.
#include <filesystem>
#include <memory>
#include <string_view>

namespace QX::Store {

class Bundle;
class File;
class FileSystem;

class ModelFileSet {
 public:
  ModelFileSet(FileSystem* file_system, std::filesystem::path path, bool read_only,
               bool bundle);
  ~ModelFileSet();
  ModelFileSet(ModelFileSet&&) noexcept;
  ModelFileSet& operator=(ModelFileSet&&) noexcept;

  // A plain directory needs no loading; a bundle reads its table of entries.
  // False leaves the set unloaded.
  bool Load();
  // Opens `file` as the model file `name` (reading only for a read-only set),
  // creating a missing file of a directory. In a bundle, a name that isn't
  // in its table leaves the file failed. Does nothing if `file` is open.
  void OpenFile(File& file, std::string_view name);
  // Whether a loaded bundle holds the file `name`.
  bool BundleHas(std::string_view name) const;

  std::filesystem::path const& Path() const { return path_; }
  FileSystem& Files() const { return *file_system_; }
  // The loaded bundle, or null.
  Bundle const* LoadedBundle() const { return bundle_.get(); }
  bool ReadOnly() const { return read_only_; }
  bool IsBundle() const { return is_bundle_; }
  bool Loaded() const { return loaded_; }

 private:
  void OpenInBundle(File& file, std::string_view name);

  std::filesystem::path path_;
  std::unique_ptr<Bundle> bundle_;
  FileSystem* file_system_;
  bool read_only_;
  bool is_bundle_;
  bool loaded_ = false;
};

}  // namespace QX::Store
