#include "files/UnpackTarget.h"

#include "files/BundleCursor.h"
#include "files/File.h"
#include "files/FileSystem.h"

namespace QX::Store {

namespace fs = std::filesystem;

UnpackTarget::UnpackTarget(FileSystem& file_system, fs::path root, BundleCursor const& bundle)
    : files_(file_system), root_(std::move(root)), current_(root_), bundle_(bundle) {}

UnpackTarget::~UnpackTarget() = default;

// The relative path that `name` gives; anything that could leave the root,
// or that the file system can't take, is corrupt.
fs::path UnpackTarget::Inside(std::string_view name) const {
  if (name.empty() || name.find('\0') != std::string_view::npos) bundle_.Corrupt();
  fs::path const relative = PathFromUtf8(name);
  if (relative.has_root_path()) bundle_.Corrupt();
  for (fs::path const& part : relative)
    if (part == "..") bundle_.Corrupt();
  return relative;
}

void UnpackTarget::Directory(std::string_view name, bool enter) {
  fs::path const directory = name == "." ? root_ : root_ / Inside(name);
  if (!files_.IsDirectory(directory)) {
    try {
      files_.CreateDirectories(directory);
    } catch (fs::filesystem_error const&) {
    }
    if (!files_.IsDirectory(directory))
      bundle_.Fail("Unable to create directory: " + PathToUtf8(directory));
  }
  if (enter) current_ = directory;
}

void UnpackTarget::BeginFile(std::string_view name) {
  EndFile();
  fs::path const relative = Inside(name);
  if (!relative.has_filename() || relative.filename() == ".") bundle_.Corrupt();
  file_ = files_.NewFile(current_ / relative);
  file_->OpenWrite(true, true);
  if (!file_->IsOpen()) bundle_.Fail("Unable to open file: " + PathToUtf8(file_->Path()));
}

void UnpackTarget::Write(std::span<uint8_t const> bytes) {
  if (!file_) bundle_.Corrupt();  // data before any file
  if (file_->Write(bytes.data(), bytes.size()) != bytes.size())
    bundle_.Fail("Unable to write data: " + PathToUtf8(file_->Path()));
}

void UnpackTarget::EndFile() {
  if (file_) file_->Close();
  file_.reset();
}

}  // namespace QX::Store
