#pragma once
// A real file on disk. Readers share a file; a writer excludes every other
// open, in this process and in others (advisory locks on the descriptor).
#include "files/File.h"

namespace QX::Store {

class DiskFile final : public File {
 public:
  explicit DiskFile(std::filesystem::path path = {}) : File(std::move(path)) {}
  ~DiskFile() override { Close(); }

  void Open(bool read, bool create, bool truncate) override;
  void Close() override;
  int64_t Seek(int64_t offset, uint32_t origin) override;
  bool SetEnd() override;
  int64_t Size() override;
  uint64_t Read(void* out, uint64_t n) override;
  uint64_t Write(void const* in, uint64_t n) override;
  bool Flush() override;

 private:
  int handle_ = -1;
};

}  // namespace QX::Store
