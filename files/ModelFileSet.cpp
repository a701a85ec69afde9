#include "files/ModelFileSet.h"

#include "files/File.h"
#include "files/FileSystem.h"

namespace QX::Store {

namespace fs = std::filesystem;

ModelFileSet::ModelFileSet(FileSystem* file_system, fs::path path, bool read_only, bool bundle)
    : path_(std::move(path)),
      file_system_(file_system ? file_system : &DefaultFiles()),
      read_only_(read_only),
      bundle_(bundle) {}

bool ModelFileSet::Load() {
  if (loaded_) return true;
  loaded_ = !bundle_ || LoadBundle();
  return loaded_;
}

// Bundles are not readable yet: a bundle never loads.
bool ModelFileSet::LoadBundle() { return false; }

void ModelFileSet::OpenFile(File& file, std::string_view name) {
  if (file.IsOpen() || bundle_) return;
  fs::path const directory = path_.is_relative() ? fs::absolute(path_) : path_;
  file.SetPath(directory / PathFromUtf8(name));
  file.Open(read_only_, true, false);
}

}  // namespace QX::Store
