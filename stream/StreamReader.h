#pragma once
// Walks a run of stream records, as found in a .qxs file or in the chunks of
// a live stream laid end to end, expanding Z and D blocks on the way. The
// input may be hostile: every size is checked against what remains, and the
// first malformed record stops the walk with an error and its offset.
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "files/ByteOrder.h"

namespace QX::Store {

struct StreamRecord {
  uint32_t tag = 0;
  std::span<uint8_t const> bytes;  // the whole record, tag included
  // Offset in the input of the record, or of the outermost block that holds it.
  uint64_t offset = 0;
  // 0 at top level; 1 inside a Z or D block; 2 inside a Z inside a D block.
  uint32_t depth = 0;
  // True for Z and D blocks: their contents follow as records of their own.
  bool is_block = false;
};

struct StreamReaderLimits {
  // Largest uncompressed size that one Z block may claim.
  uint64_t max_expanded = uint64_t(256) << 20;
};

class StreamReader {
 public:
  explicit StreamReader(std::span<uint8_t const> input, StreamReaderLimits limits = {});

  // The next record; false at the end of the input or at the first error.
  // The record's bytes stay valid until the next call.
  bool Next(StreamRecord& record);

  bool Failed() const { return !error_.empty(); }
  std::string const& Error() const { return error_; }
  // Offset in the input of the first malformed byte, or of the block whose
  // expanded bytes are malformed.
  uint64_t ErrorOffset() const { return error_offset_; }

  // Bytes of Z blocks in the stream, and the bytes they expanded to.
  uint64_t CompressedBytes() const { return compressed_bytes_; }
  uint64_t ExpandedBytes() const { return expanded_bytes_; }

 private:
  enum class Container { Input, Compressed, Keyed };
  struct Level {
    std::span<uint8_t const> data;
    size_t pos = 0;
    Container container = Container::Input;
    uint64_t origin = 0;    // input offset of data[0], or of the block if expanded
    bool expanded = false;  // data is a decompressed copy
    Bytes owned;
  };

  bool Fail(Level const& level, std::string const& what);
  bool Enter(Level& level, StreamRecord const& record);
  bool EnterCompressed(Level& level, StreamRecord const& record);
  bool InsideCompressed() const;
  bool InsideKeyed() const;

  StreamReaderLimits limits_;
  std::vector<Level> levels_;
  std::string error_;
  uint64_t error_offset_ = 0;
  uint64_t compressed_bytes_ = 0;
  uint64_t expanded_bytes_ = 0;
};

}  // namespace QX::Store
