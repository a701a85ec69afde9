#include "store/StreamToc.h"

#include <algorithm>
#include <cstring>

#include "files/File.h"
#include "geometry/mesh/MeshRecord.h"
#include "store/ImageRecord.h"
#include "files/ByteOrder.h"

namespace QX::Store {

namespace {

constexpr uint64_t kReadUnit = 0x100000;

// The unread part of a toc file, kept in the caller's buffer from `begin`.
class TocBuffer {
 public:
  TocBuffer(File& file, std::vector<uint8_t>& bytes) : file_(file), bytes_(bytes) { bytes_.clear(); }

  uint64_t Available() const { return bytes_.size() - begin_; }
  uint8_t const* Data() const { return bytes_.data() + begin_; }
  void Consume(uint64_t n) { begin_ += n; }

  // Makes at least `n` bytes available; false if the file ends first.
  bool Ensure(uint64_t n) {
    if (Available() >= n) return true;
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(begin_));
    begin_ = 0;
    while (bytes_.size() < n) {
      uint64_t const want = std::max(kReadUnit, n - bytes_.size());
      size_t const old = bytes_.size();
      bytes_.resize(old + want);
      uint64_t const got = file_.Read(bytes_.data() + old, want);
      bytes_.resize(old + got);
      if (got == 0) return false;
    }
    return true;
  }

 private:
  File& file_;
  std::vector<uint8_t>& bytes_;
  uint64_t begin_ = 0;
};

}  // namespace

TocReadResult ReadTocFile(File& file, std::vector<uint8_t>& buffer, TocLayout layout,
                          std::function<void(TocRecord const&)> const& visit) {
  int64_t const file_size = file.Size();
  if (file_size < 0 || file.Seek(0, kSeekBegin) != 0) return TocReadResult::Corrupt;
  TocBuffer in(file, buffer);
  uint64_t position = 0;
  while (in.Ensure(1)) {
    if (!in.Ensure(4)) return TocReadResult::Corrupt;
    if (GetU32(in.Data()) != layout.tag) return TocReadResult::UnexpectedCode;
    if (!in.Ensure(layout.head_size)) return TocReadResult::Corrupt;
    uint32_t const count = GetU32(in.Data() + 8);
    uint64_t const size = layout.head_size + uint64_t{count} * layout.entry_size;
    // A count beyond the file's end is damage, not a reason to allocate.
    if (size > static_cast<uint64_t>(file_size) - position || !in.Ensure(size)) {
      return TocReadResult::Corrupt;
    }
    uint8_t const* head = in.Data();
    visit(TocRecord{GetU32(head + 4), head, head + layout.head_size, count});
    in.Consume(size);
    position += size;
  }
  return TocReadResult::Ok;
}

std::vector<uint8_t> EncodeImageTocHead(uint32_t key, uint32_t count) {
  std::vector<uint8_t> head;
  ByteWriter out(head);
  out.U32(kImageTocLayout.tag);
  out.U32(key);
  out.U32(count);
  return head;
}

std::vector<uint8_t> EncodeImageTocEntries(std::span<ImageTocEntry const> entries) {
  std::vector<uint8_t> bytes;
  bytes.reserve(entries.size() * kImageTocLayout.entry_size);
  ByteWriter out(bytes);
  for (ImageTocEntry const& entry : entries) {
    out.U64(entry.offset);
    out.U32(entry.size);
    out.U32(entry.kind);
    out.U32(entry.format);
    out.U32(entry.reserved);
  }
  return bytes;
}

ImageTocEntry DecodeImageTocEntry(uint8_t const* bytes) {
  return ImageTocEntry{GetU64(bytes), GetU32(bytes + 8), GetU32(bytes + 12),
                       GetU32(bytes + 16), GetU32(bytes + 20)};
}

std::vector<uint8_t> EncodeMeshTocHead(uint32_t key, uint32_t count, uint32_t classes) {
  std::vector<uint8_t> head;
  ByteWriter out(head);
  out.U32(kMeshTocLayout.tag);
  out.U32(key);
  out.U32(count);
  out.U32(classes);
  return head;
}

MeshTocEntry DecodeMeshTocEntry(uint8_t const* bytes) {
  return MeshTocEntry{GetU64(bytes), GetU32(bytes + 8), GetU32(bytes + 12)};
}

}  // namespace QX::Store
