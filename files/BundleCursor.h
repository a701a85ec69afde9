#pragma once
// The record stream of a bundle as a cursor over the bytes still to parse.
// Bytes come from the bundle file in blocks; a compressed record can put
// its decompressed bytes in its own place, ahead of what the file still
// holds. Every size taken from the bundle is checked against the bytes that
// really remain before anything is allocated for it.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace QX::Store {

class File;
class Logger;

class BundleCursor {
 public:
  // Reads `file` from its start; `path` names the bundle in messages.
  BundleCursor(File& file, std::filesystem::path path, Logger* logger);

  // Whether a record head (4 bytes) is at the cursor, reading on if needed.
  // False at the end of the bundle; 1 to 3 stray bytes there are corrupt.
  bool More();
  // Makes `n` bytes available at the cursor, or throws "File corrupt".
  void Require(uint64_t n);
  uint32_t Word(size_t offset) const;
  uint64_t Long(size_t offset) const;
  std::span<uint8_t const> Bytes(size_t offset, size_t n) const;
  void Skip(size_t n) { cursor_ += n; }
  // Hands the next `n` bytes to `sink` in pieces and moves past them.
  template <class Sink>
  void Stream(uint64_t n, Sink&& sink);
  // The empty second buffer, to decompress a record into; then
  // ReplaceWithSpare puts its bytes in place of the `n` bytes at the cursor
  // (which must be at hand), copying only what follows them.
  std::vector<uint8_t>& Spare();
  void ReplaceWithSpare(size_t n);
  // The file position of the cursor; meaningful while nothing was replaced.
  uint64_t Position() const { return consumed_ - (buffer_.size() - cursor_); }
  uint64_t FileSize() const { return size_; }

  std::filesystem::path const& Path() const { return path_; }
  Logger* Log() const { return logger_; }
  [[noreturn]] void Corrupt() const;
  [[noreturn]] void Fail(std::string const& text) const;

 private:
  size_t AtHand() const { return buffer_.size() - cursor_; }
  // Drops the parsed bytes and appends up to `n` bytes of the file; throws
  // unless exactly `n` arrive.
  void ReadExactly(uint64_t n);

  File& file_;
  std::filesystem::path path_;
  Logger* logger_;
  uint64_t size_ = 0;      // of the bundle file
  uint64_t consumed_ = 0;  // bytes read from the file so far
  std::vector<uint8_t> buffer_;
  std::vector<uint8_t> spare_;  // the other buffer, for decompressed bytes
  size_t cursor_ = 0;
};

template <class Sink>
void BundleCursor::Stream(uint64_t n, Sink&& sink) {
  if (n > AtHand() + (size_ - consumed_)) Corrupt();
  while (n > 0) {
    if (AtHand() == 0) ReadExactly(std::min<uint64_t>(n, uint64_t(1) << 20));
    size_t const piece = size_t(std::min<uint64_t>(n, AtHand()));
    sink(std::span<uint8_t const>(buffer_.data() + cursor_, piece));
    cursor_ += piece;
    n -= piece;
  }
}

}  // namespace QX::Store
