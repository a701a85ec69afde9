#pragma once
// A real file on disk. Readers share a file; a writer excludes every other
// open, in this process and in others (advisory locks on the descriptor).
#include "files/File.h"

namespace QX::Store {

class DiskFile final : public File {
 public:
  explicit DiskFile(std::filesystem::path path = {}) : File(std::move(path)) {}
  ~DiskFile() override { Close(); }

 private:
  void DoOpen(bool read, bool create, bool truncate) override;
  void DoClose() override;
  int64_t DoSeek(int64_t offset, uint32_t origin) override;
  bool DoSetEnd() override;
  int64_t DoSize() override;
  uint64_t DoRead(void* out, uint64_t n) override;
  uint64_t DoWrite(void const* in, uint64_t n) override;
  bool DoFlush() override;

  int handle_ = -1;
};

}  // namespace QX::Store
