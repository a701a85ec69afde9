#pragma once
// A File held in memory, for tests of code that reads and writes records.
// `fail_writes` makes every write report nothing written.
#include <algorithm>
#include <cstring>
#include <vector>

#include "files/File.h"

namespace qx_test {

class MemoryFile final : public QX::Store::File {
 public:
  MemoryFile() : File("memory") { state_ = QX::Store::FileState::OpenForWriting; }

  void DoOpen(bool, bool, bool) override {}
  void DoClose() override { state_ = QX::Store::FileState::Closed; }
  int64_t DoSeek(int64_t offset, uint32_t origin) override {
    int64_t const base = origin == QX::Store::kSeekBegin ? 0
                         : origin == QX::Store::kSeekEnd ? int64_t(bytes.size())
                                                         : position_;
    if (base + offset < 0) return -1;
    return position_ = base + offset;
  }
  bool DoSetEnd() override {
    bytes.resize(size_t(position_));
    return true;
  }
  int64_t DoSize() override { return int64_t(bytes.size()); }
  uint64_t DoRead(void* out, uint64_t n) override {
    if (position_ >= int64_t(bytes.size())) return 0;
    uint64_t const got = std::min<uint64_t>(n, bytes.size() - size_t(position_));
    std::memcpy(out, bytes.data() + position_, got);
    position_ += int64_t(got);
    return got;
  }
  uint64_t DoWrite(void const* in, uint64_t n) override {
    if (fail_writes) return 0;
    if (bytes.size() < size_t(position_) + n) bytes.resize(size_t(position_) + n);
    std::memcpy(bytes.data() + position_, in, n);
    position_ += int64_t(n);
    return n;
  }
  bool DoFlush() override { return true; }

  std::vector<uint8_t> bytes;
  bool fail_writes = false;

 private:
  int64_t position_ = 0;
};

}  // namespace qx_test
