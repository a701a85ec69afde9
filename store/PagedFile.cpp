#include "store/PagedFile.h"

#include <algorithm>
#include <cstring>

#include "files/File.h"

namespace QX::Store {

bool PagedFile::Prefetch(int64_t offset, uint64_t size) {
  fetched_begin_ = fetched_end_ = 0;
  direct_ = nullptr;
  if (offset < 0) return false;
  uint64_t const begin = static_cast<uint64_t>(offset);
  uint64_t const end = begin + size;
  if (end < begin) return false;
  if (end > static_cast<uint64_t>(size_)) {
    if (!RefreshSize() || end > static_cast<uint64_t>(size_)) return false;
  }
  ++access_counter_;
  if (size > 0 && !FetchRange(begin, end)) return false;
  fetched_begin_ = begin, fetched_end_ = end;
  return true;
}

// A small range within one page loads the page, which serves its
// neighbours too. A range across pages, or one that fills a good part of a
// page that isn't resident, is left to Read, which takes it from the file
// straight into the caller's buffer: loading its pages would read up to
// 2 MiB more than the range and evict pages that nearby records still need.
bool PagedFile::FetchRange(uint64_t begin, uint64_t end) {
  uint64_t const index = begin >> kPageShift;
  if (index != (end - 1) >> kPageShift) return (direct_ = OpenFile()) != nullptr;
  Page& page = pages_[index];
  page.stamp = access_counter_;
  if (page.bytes) return true;
  if (end - begin >= kDirectSize) return (direct_ = OpenFile()) != nullptr;
  File* file = OpenFile();
  if (!file || !LoadPage(*file, index)) return false;
  if (resident_ > kMaxResident) Evict();
  return true;
}

bool PagedFile::Read(int64_t offset, uint64_t size, uint8_t* out) {
  if (offset < 0) return false;
  uint64_t const begin = static_cast<uint64_t>(offset);
  uint64_t const end = begin + size;
  if (end < begin || begin < fetched_begin_ || end > fetched_end_) return false;
  if (size == 0) return true;
  if (direct_) {
    return direct_->Seek(offset, kSeekBegin) == offset && direct_->Read(out, size) == size;
  }
  Page const& page = pages_[begin >> kPageShift];
  uint64_t const within = begin & (kPageSize - 1);
  if (!page.bytes || within + size > page.length) return false;
  std::memcpy(out, page.bytes.get() + within, size);
  return true;
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

// Releases the least recently used pages other than the present one until
// no more than kMaxResident remain.
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
