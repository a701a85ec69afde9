#include "store/PagedFile.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "files/File.h"

namespace QX::Store {

bool PagedFile::Prefetch(int64_t offset, uint64_t size) {
  if (offset < 0) return false;
  uint64_t const begin = static_cast<uint64_t>(offset);
  uint64_t const end = begin + size;
  if (end < begin) return false;
  if (end > static_cast<uint64_t>(size_)) {
    if (!RefreshSize() || end > static_cast<uint64_t>(size_)) return false;
  }
  ++access_counter_;
  if (size == 0) return true;

  uint64_t const first = begin >> kPageShift;
  uint64_t const last = (end - 1) >> kPageShift;
  File* file = nullptr;
  for (uint64_t index = first; index <= last; ++index) {
    Page& page = pages_[index];
    page.stamp = access_counter_;
    if (page.bytes) continue;
    if (!file && !(file = OpenFile())) return false;
    if (!LoadPage(*file, index)) return false;
  }
  if (resident_ > kMaxResident && resident_ > last - first + 1) Evict();
  return true;
}

void PagedFile::Read(int64_t offset, uint64_t size, uint8_t* out) const {
  uint64_t position = static_cast<uint64_t>(offset);
  while (size > 0) {
    uint64_t const index = position >> kPageShift;
    uint64_t const within = position & (kPageSize - 1);
    assert(index < pages_.size() && "read outside the file");
    Page const& page = pages_[index];
    assert(page.stamp == access_counter_ && "read of a range that the last Prefetch didn't cover");
    uint64_t const n = std::min<uint64_t>(size, kPageSize - within);
    assert(page.bytes && within + n <= page.length && "read past the resident bytes");
    std::memcpy(out, page.bytes.get() + within, n);
    out += n;
    position += n;
    size -= n;
  }
}

void PagedFile::DropPages() {
  if (resident_ == 0) return;
  for (Page& page : pages_) ReleasePage(page, true);
  spare_.clear();
}

// Takes the file's present size. The old last page may have been partial
// while the file grew, so it is read again on its next use.
bool PagedFile::RefreshSize() {
  if (!pages_.empty() && pages_.back().length < kPageSize) ReleasePage(pages_.back());
  File* file = OpenFile();
  if (!file) return false;
  int64_t const size = file->Size();
  if (size < 0) return false;
  size_ = size;
  uint64_t const count = (static_cast<uint64_t>(size) + kPageSize - 1) >> kPageShift;
  for (uint64_t index = count; index < pages_.size(); ++index) ReleasePage(pages_[index]);
  pages_.resize(count);
  return true;
}

bool PagedFile::LoadPage(File& file, uint64_t index) {
  Page& page = pages_[index];
  uint64_t const start = index << kPageShift;
  uint64_t const length = std::min<uint64_t>(kPageSize, static_cast<uint64_t>(size_) - start);
  if (file.Seek(static_cast<int64_t>(start), kSeekBegin) != static_cast<int64_t>(start)) {
    page.stamp = 0;
    return false;
  }
  if (spare_.empty()) {
    page.bytes.reset(new uint8_t[kPageSize]);
  } else {
    page.bytes = std::move(spare_.back());
    spare_.pop_back();
  }
  ++resident_;
  page.length = length;
  if (file.Read(page.bytes.get(), length) != length) {
    // A partial page must not pass for a resident one.
    ReleasePage(page);
    return false;
  }
  return true;
}

void PagedFile::ReleasePage(Page& page, bool free_buffer) {
  if (page.bytes) {
    --resident_;
    if (!free_buffer && spare_.size() < kMaxResident) spare_.push_back(std::move(page.bytes));
  }
  page.bytes.reset();
  page.length = 0;
  page.stamp = 0;
}

// Releases the least recently used pages outside the present request until
// no more than kMaxResident remain, or nothing outside the request is left.
void PagedFile::Evict() {
  candidates_.clear();
  for (uint64_t index = 0; index < pages_.size(); ++index) {
    Page const& page = pages_[index];
    if (page.bytes && page.stamp != access_counter_) candidates_.emplace_back(page.stamp, index);
  }
  std::sort(candidates_.begin(), candidates_.end());
  for (auto const& [stamp, index] : candidates_) {
    if (resident_ <= kMaxResident) break;
    ReleasePage(pages_[index]);
  }
}

}  // namespace QX::Store
