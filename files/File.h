#pragma once
// A file as the store sees it: opened for reading (shared with other readers)
// or for writing (exclusive), with 64-bit positions and results instead of
// exceptions. Whoever needs a file tests State() after opening it.
//
// A file is either a real file, served by the subclass, or a member of a
// bundle read in place (see Bundle.h), served here: a model's file set turns
// any file object into a bundle member, so callers never tell the two apart.
#include <cstddef>
#include <cstdint>
#include <filesystem>

namespace QX::Store {

class Bundle;

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
  virtual ~File();
  File(File const&) = delete;
  File& operator=(File const&) = delete;

  void OpenRead(bool create) { Open(true, create, false); }
  void OpenWrite(bool create, bool truncate) { Open(false, create, truncate); }

  // Opens the real file at Path() in the given mode, leaving any bundle; a
  // file already open in that mode stays as it is, one open in the other
  // mode is closed and reopened.
  void Open(bool read, bool create, bool truncate);
  void Close();
  // Returns the new position, or -1.
  int64_t Seek(int64_t offset, uint32_t origin);
  // Cuts the file at the present position.
  bool SetEnd();
  // -1 on failure.
  int64_t Size();
  // Bytes read; 0 at the end or on failure.
  uint64_t Read(void* out, uint64_t n);
  // Bytes written; 0 at once unless the file is open for writing, which a
  // bundle member never is.
  uint64_t Write(void const* in, uint64_t n);
  bool Flush();

  FileState State() const { return state_; }
  bool IsOpen() const {
    return state_ == FileState::OpenForReading || state_ == FileState::OpenForWriting;
  }
  std::filesystem::path const& Path() const { return path_; }
  void SetPath(std::filesystem::path path) { path_ = std::move(path); }

  // Bundle membership, set by the file set that opens the file in a bundle.
  Bundle const* InBundle() const { return bundle_; }
  // Opens entry `entry` of `bundle` for reading; an unknown entry (npos)
  // leaves the file failed.
  void OpenInBundle(Bundle& bundle, size_t entry);
  // Reopens the entry this file had in `bundle`, if it had one and its path
  // is still `path`. False if there is nothing to reopen.
  bool ReopenInBundle(Bundle& bundle, std::filesystem::path const& path);

 protected:
  explicit File(std::filesystem::path path) : path_(std::move(path)) {}

  // The real file.
  virtual void DoOpen(bool read, bool create, bool truncate) = 0;
  virtual void DoClose() = 0;
  virtual int64_t DoSeek(int64_t offset, uint32_t origin) = 0;
  virtual bool DoSetEnd() = 0;
  virtual int64_t DoSize() = 0;
  virtual uint64_t DoRead(void* out, uint64_t n) = 0;
  virtual uint64_t DoWrite(void const* in, uint64_t n) = 0;
  virtual bool DoFlush() = 0;

  std::filesystem::path path_;
  FileState state_ = FileState::Closed;

 private:
  void LeaveBundle();
  void CloseInBundle();

  Bundle* bundle_ = nullptr;
  size_t entry_ = 0;
  int64_t member_position_ = -1;  // -1 when closed or after a seek out of range
};

}  // namespace QX::Store
