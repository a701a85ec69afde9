#pragma once
// Table-of-contents files of the stream files: runs of records, each a head
// (tag, key, entry count, and for meshes the index classes) and its entries.
// The files have no head of their own and are read whole at a model's open.
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace QX::Store {

class File;
struct ImageTocEntry;
struct MeshTocEntry;

struct TocLayout {
  uint32_t tag;
  uint32_t head_size;
  uint32_t entry_size;
};
inline constexpr TocLayout kMeshTocLayout{77, 16, 16};   // 'M'
inline constexpr TocLayout kImageTocLayout{69, 12, 24};  // 'E'

enum class TocReadResult { Ok, UnexpectedCode, Corrupt };

// One record as it lies in the read buffer; valid during the visit only.
struct TocRecord {
  uint32_t key;
  uint8_t const* head;
  uint8_t const* entries;
  uint32_t count;
};

// Reads the file from its start in units of 1 MiB through `buffer`, and
// visits each record in file order. Stops at a record whose tag isn't the
// layout's (UnexpectedCode), or one cut short or longer than the file (Corrupt).
TocReadResult ReadTocFile(File& file, std::vector<uint8_t>& buffer, TocLayout layout,
                          std::function<void(TocRecord const&)> const& visit);

std::vector<uint8_t> EncodeImageTocHead(uint32_t key, uint32_t count);
std::vector<uint8_t> EncodeImageTocEntries(std::span<ImageTocEntry const> entries);
ImageTocEntry DecodeImageTocEntry(uint8_t const* bytes);

std::vector<uint8_t> EncodeMeshTocHead(uint32_t key, uint32_t count, uint32_t classes);
MeshTocEntry DecodeMeshTocEntry(uint8_t const* bytes);

}  // namespace QX::Store
