#include "files/Bundle.h"

#include <algorithm>

#include "files/File.h"
#include "files/FileSystem.h"
#include "files/OpenFiles.h"

namespace QX::Store {

Bundle::Bundle(FileSystem& file_system, std::filesystem::path path,
               std::vector<BundleEntry> entries)
    : entries_(std::move(entries)), path_(std::move(path)), file_(file_system.NewFile(path_)) {}

Bundle::~Bundle() {
  if (file_->IsOpen()) CountFileClosed();
}

size_t Bundle::Find(std::string_view name) const {
  auto const it = std::find_if(entries_.begin(), entries_.end(),
                               [name](BundleEntry const& entry) { return entry.name == name; });
  return it == entries_.end() ? npos : size_t(it - entries_.begin());
}

bool Bundle::FileOpen() const { return file_->IsOpen(); }

void Bundle::Leave() {
  if (open_count_ == 0 || --open_count_ != 0) return;
  if (file_->IsOpen()) CountFileClosed();
  file_->Close();
}

uint64_t Bundle::ReadAt(size_t entry, uint64_t position, void* out, uint64_t n) {
  BundleEntry const& member = entries_[entry];
  if (position >= member.size) return 0;
  n = std::min(n, member.size - position);
  if (!file_->IsOpen()) {
    file_->OpenRead(false);
    if (!file_->IsOpen()) return 0;
    CountFileOpened();  // a bundle's shared file counts twice
  }
  if (file_->Seek(int64_t(member.offset + position), kSeekBegin) < 0) return 0;
  return file_->Read(out, n);
}

}  // namespace QX::Store
