#pragma once
// A file as the store sees it: opened for reading (shared with other readers)
// or for writing (exclusive), with 64-bit positions and results instead of
// exceptions. Whoever needs a file tests State() after opening it.
#include <cstdint>
#include <filesystem>

namespace QX::Store {

enum class FileState : uint32_t {
  Closed = 0,
  SharingFailure = 1,  // the last open failed because another open excludes it
  Failed = 2,          // the last open failed for any other reason
  OpenForReading = 3,
  OpenForWriting = 4,  // writing includes reading
};

// Seek origins.
inline constexpr uint32_t kSeekBegin = 0;
inline constexpr uint32_t kSeekCurrent = 1;
inline constexpr uint32_t kSeekEnd = 2;

class File {
 public:
  virtual ~File() = default;
  File(File const&) = delete;
  File& operator=(File const&) = delete;

  void OpenRead(bool create) { Open(true, create, false); }
  void OpenWrite(bool create, bool truncate) { Open(false, create, truncate); }

  // Opens in the given mode; a file already open in that mode stays as it is,
  // one open in the other mode is closed and reopened.
  virtual void Open(bool read, bool create, bool truncate) = 0;
  virtual void Close() = 0;
  // Returns the new position, or -1.
  virtual int64_t Seek(int64_t offset, uint32_t origin) = 0;
  // Cuts the file at the present position.
  virtual bool SetEnd() = 0;
  // -1 on failure.
  virtual int64_t Size() = 0;
  // Bytes read; 0 at the end or on failure.
  virtual uint64_t Read(void* out, uint64_t n) = 0;
  // Bytes written; 0 at once unless the file is open for writing.
  virtual uint64_t Write(void const* in, uint64_t n) = 0;
  virtual bool Flush() = 0;

  FileState State() const { return state_; }
  bool IsOpen() const {
    return state_ == FileState::OpenForReading || state_ == FileState::OpenForWriting;
  }
  std::filesystem::path const& Path() const { return path_; }
  void SetPath(std::filesystem::path path) { path_ = std::move(path); }

 protected:
  explicit File(std::filesystem::path path) : path_(std::move(path)) {}

  std::filesystem::path path_;
  FileState state_ = FileState::Closed;
};

}  // namespace QX::Store
