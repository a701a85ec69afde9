#pragma once
// A read cache of one stream file in pages of 1 MiB. The stream engine reads
// records in priority order, not file order; pages keep nearby records cheap.
// A record that spans pages, or a large one on a page that isn't resident,
// is read from the file straight into the caller's buffer. At most 256
// pages stay resident.
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace QX::Store {

class File;
class ModelImpl;

class PagedFile {
 public:
  static constexpr int kPageShift = 20;
  static constexpr uint64_t kPageSize = uint64_t{1} << kPageShift;
  static constexpr uint64_t kMaxResident = 256;
  // Ranges of this size or more are read from the file, not through a page.
  static constexpr uint64_t kDirectSize = kPageSize / 4;

  explicit PagedFile(ModelImpl* model) : model_(model) {}
  PagedFile(PagedFile const&) = delete;
  PagedFile& operator=(PagedFile const&) = delete;

  // The file, opened if needed; null if it can't be opened.
  virtual File* OpenFile() = 0;
  virtual ~PagedFile() = default;
  // The model's file object that this reader serves.
  virtual File& FileSlot() = 0;
  // The model file name, such as "_stream_meshes.qxd".
  virtual char const* FileName() const = 0;

  // Makes the range ready to be read: resident if it lies within one page.
  // False if the range lies outside the file or a page can't be read whole;
  // the caller then gives up on that record.
  bool Prefetch(int64_t offset, uint64_t size);
  // Copies a part of the range of the last successful Prefetch. False for
  // anything outside it, or if the file can't give the bytes any more.
  bool Read(int64_t offset, uint64_t size, uint8_t* out);
  // Releases every page; the page table and the known size stay.
  void DropPages();

  uint64_t ResidentPages() const { return resident_; }
  int64_t KnownSize() const { return size_; }

 protected:
  ModelImpl* model_;

 private:
  struct Page {
    uint64_t stamp = 0;  // access count of the last request that used it; 0 if empty
    std::unique_ptr<uint8_t[]> bytes;  // kPageSize bytes, or null while empty
    uint64_t length = 0;               // bytes of the file in this page
  };

  bool RefreshSize();
  bool FetchRange(uint64_t begin, uint64_t end);
  bool LoadPage(File& file, uint64_t index);
  // Empties the page; its buffer is kept for reuse unless `free_buffer`.
  void ReleasePage(Page& page, bool free_buffer = false);
  void Evict();

  int64_t size_ = 0;
  std::vector<Page> pages_;
  uint64_t resident_ = 0;
  uint64_t access_counter_ = 0;
  // The range of the last successful Prefetch, and the file that serves it
  // when it spans pages (null when a page serves it).
  uint64_t fetched_begin_ = 0;
  uint64_t fetched_end_ = 0;
  File* direct_ = nullptr;
  // Eviction candidates as (stamp, page index); kept to avoid reallocating.
  std::vector<std::pair<uint64_t, uint64_t>> candidates_;
  // Buffers of evicted pages, reused by the next loads instead of fresh
  // allocations (which cost page faults on every load).
  std::vector<std::unique_ptr<uint8_t[]>> spare_;
};

}  // namespace QX::Store
