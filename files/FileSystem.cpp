#include "files/FileSystem.h"

#include <algorithm>
#include <system_error>

#include "files/DiskFile.h"

namespace QX::Store {

namespace fs = std::filesystem;

std::unique_ptr<File> DefaultFileSystem::NewFile(Path const& path) {
  return std::make_unique<DiskFile>(path);
}

std::unique_ptr<File> DefaultFileSystem::NewFile() { return std::make_unique<DiskFile>(); }

// Simplifies a path by its text, without making it absolute. A ".." after a
// directory that is a symbolic link is kept, since the link's parent is not
// the text's parent.
fs::path DefaultFileSystem::Normalize(Path const& path) {
  fs::path result;
  for (fs::path const& part : path) {
    if (part == "..") {
      std::error_code ec;
      bool const through_link =
          !result.empty() && fs::is_symlink(result, ec) && fs::is_directory(result, ec);
      if (through_link || !result.has_relative_path() || result.filename() == "..") {
        if (result.has_relative_path() || !result.has_root_path()) result /= part;
      } else {
        result = result.parent_path();
      }
    } else if (part != ".") {
      result /= part;
    }
  }
  return result;
}

bool DefaultFileSystem::Exists(Path const& path) {
  std::error_code ec;
  return fs::exists(path, ec);
}

bool DefaultFileSystem::IsDirectory(Path const& path) {
  std::error_code ec;
  return fs::is_directory(path, ec);
}

bool DefaultFileSystem::IsRegularFile(Path const& path) {
  std::error_code ec;
  return fs::is_regular_file(path, ec);
}

bool DefaultFileSystem::IsSymlink(Path const& path) {
  std::error_code ec;
  return fs::is_symlink(path, ec);
}

bool DefaultFileSystem::IsEmptyDirectory(Path const& path) {
  std::error_code ec;
  fs::directory_iterator it(path, ec);
  return !ec && it == fs::directory_iterator();
}

void DefaultFileSystem::ListDirectory(Path const& path, std::vector<Path>& out) {
  for (fs::directory_entry const& entry : fs::directory_iterator(path)) out.push_back(entry.path());
}

uint64_t DefaultFileSystem::RemoveAll(Path const& path) { return fs::remove_all(path); }

bool DefaultFileSystem::Remove(Path const& path) {
  std::error_code ec;
  return fs::remove(path, ec);
}

bool DefaultFileSystem::Rename(Path const& from, Path const& to) {
  std::error_code ec;
  fs::rename(from, to, ec);
  return !ec;
}

bool DefaultFileSystem::CreateDirectory(Path const& path) { return fs::create_directory(path); }

bool DefaultFileSystem::CreateDirectories(Path const& path) { return fs::create_directories(path); }

FileSystem& DefaultFiles() {
  static DefaultFileSystem instance;
  return instance;
}

fs::path PathFromUtf8(std::string_view utf8) {
  std::u8string text(utf8.begin(), utf8.end());
  std::replace(text.begin(), text.end(), u8'\\', u8'/');
  return fs::path(text);
}

std::string PathToUtf8(fs::path const& path) {
  std::u8string const text = path.u8string();
  return std::string(text.begin(), text.end());
}

}  // namespace QX::Store
