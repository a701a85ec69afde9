#include "files/ModelFileSet.h"

#include "files/Bundle.h"
#include "files/BundleReader.h"
#include "files/File.h"
#include "files/FileSystem.h"

namespace QX::Store {

namespace fs = std::filesystem;

ModelFileSet::ModelFileSet(FileSystem* file_system, fs::path path, bool read_only, bool bundle)
    : path_(std::move(path)),
      file_system_(file_system ? file_system : &DefaultFiles()),
      read_only_(read_only),
      is_bundle_(bundle) {}

ModelFileSet::~ModelFileSet() = default;
ModelFileSet::ModelFileSet(ModelFileSet&&) noexcept = default;
ModelFileSet& ModelFileSet::operator=(ModelFileSet&&) noexcept = default;

bool ModelFileSet::Load() {
  if (loaded_) return true;
  if (is_bundle_) bundle_ = LoadBundleTable(path_, *file_system_);
  loaded_ = !is_bundle_ || bundle_ != nullptr;
  return loaded_;
}

bool ModelFileSet::BundleHas(std::string_view name) const {
  return bundle_ && bundle_->Find(name) != Bundle::npos;
}

void ModelFileSet::OpenFile(File& file, std::string_view name) {
  if (file.IsOpen()) return;
  if (is_bundle_) return OpenInBundle(file, name);
  fs::path const directory = path_.is_relative() ? fs::absolute(path_) : path_;
  file.SetPath(directory / PathFromUtf8(name));
  file.Open(read_only_, true, false);
}

// A file that was in this bundle under the same name goes back to its entry
// at once; any other looks its name up in the table. An unloaded bundle
// has no files.
void ModelFileSet::OpenInBundle(File& file, std::string_view name) {
  if (!bundle_) return;  // not loaded: the file stays closed
  fs::path const path = path_ / PathFromUtf8(name);
  if (file.ReopenInBundle(*bundle_, path)) return;
  file.SetPath(path);
  file.OpenInBundle(*bundle_, bundle_->Find(name));
}

}  // namespace QX::Store
