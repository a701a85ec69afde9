#include "files/DiskFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "files/OpenFiles.h"

namespace QX::Store {
namespace {

// Retries a system call interrupted by a signal.
template <typename Call>
auto Retry(Call call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

}  // namespace

void DiskFile::DoOpen(bool read, bool create, bool truncate) {
  FileState const target = read ? FileState::OpenForReading : FileState::OpenForWriting;
  if (state_ == target) return;
  DoClose();
  if (path_.empty()) {
    state_ = FileState::Failed;
    return;
  }
  int flags = (read ? O_RDONLY : O_RDWR) | O_CLOEXEC;
  if (create) flags |= O_CREAT;
  int const fd = Retry([&] { return ::open(path_.c_str(), flags, 0644); });
  if (fd < 0) {
    state_ = FileState::Failed;
    return;
  }
  // Readers share, a writer excludes everyone. The lock is taken before any
  // truncation so that a refused writer never damages a file in use.
  if (Retry([&] { return ::flock(fd, (read ? LOCK_SH : LOCK_EX) | LOCK_NB); }) != 0) {
    state_ = errno == EWOULDBLOCK ? FileState::SharingFailure : FileState::Failed;
    ::close(fd);
    return;
  }
  if (!read && create && truncate && ::ftruncate(fd, 0) != 0) {
    ::close(fd);
    state_ = FileState::Failed;
    return;
  }
  handle_ = fd;
  state_ = target;
  CountFileOpened();
}

void DiskFile::DoClose() {
  if (handle_ >= 0) {
    CountFileClosed();
    ::close(handle_);  // also releases the lock
  }
  handle_ = -1;
  state_ = FileState::Closed;
}

int64_t DiskFile::DoSeek(int64_t offset, uint32_t origin) {
  if (handle_ < 0 || origin > kSeekEnd) return -1;
  int const whence = origin == kSeekBegin ? SEEK_SET : origin == kSeekCurrent ? SEEK_CUR : SEEK_END;
  off_t const position = ::lseek(handle_, static_cast<off_t>(offset), whence);
  return position < 0 ? -1 : static_cast<int64_t>(position);
}

bool DiskFile::DoSetEnd() {
  if (state_ != FileState::OpenForWriting) return false;
  off_t const position = ::lseek(handle_, 0, SEEK_CUR);
  return position >= 0 && ::ftruncate(handle_, position) == 0;
}

int64_t DiskFile::DoSize() {
  struct stat info {};
  if (handle_ < 0 || ::fstat(handle_, &info) != 0) return -1;
  return static_cast<int64_t>(info.st_size);
}

uint64_t DiskFile::DoRead(void* out, uint64_t n) {
  if (handle_ < 0) return 0;
  auto* bytes = static_cast<unsigned char*>(out);
  uint64_t done = 0;
  while (done < n) {
    ssize_t const got = Retry([&] { return ::read(handle_, bytes + done, n - done); });
    if (got <= 0) break;
    done += static_cast<uint64_t>(got);
  }
  return done;
}

uint64_t DiskFile::DoWrite(void const* in, uint64_t n) {
  if (state_ != FileState::OpenForWriting) return 0;
  auto const* bytes = static_cast<unsigned char const*>(in);
  uint64_t done = 0;
  while (done < n) {
    ssize_t const put = Retry([&] { return ::write(handle_, bytes + done, n - done); });
    if (put <= 0) break;
    done += static_cast<uint64_t>(put);
  }
  return done;
}

bool DiskFile::DoFlush() { return handle_ >= 0 && ::fsync(handle_) == 0; }

}  // namespace QX::Store
