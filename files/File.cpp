#include "files/File.h"

#include "files/Bundle.h"

namespace QX::Store {

File::~File() { LeaveBundle(); }

void File::Open(bool read, bool create, bool truncate) {
  LeaveBundle();
  DoOpen(read, create, truncate);
}

void File::Close() {
  if (bundle_) return CloseInBundle();
  DoClose();
}

int64_t File::Seek(int64_t offset, uint32_t origin) {
  if (!bundle_) return DoSeek(offset, origin);
  if (state_ != FileState::OpenForReading) return -1;
  int64_t const size = int64_t(bundle_->Entries()[entry_].size);
  int64_t base = 0;
  switch (origin) {
    case kSeekBegin: break;
    case kSeekCurrent: base = member_position_; break;
    case kSeekEnd: base = size; break;
    default: return -1;
  }
  // A position of -1 stays out of range until a seek from the start.
  bool const in_range = base >= 0 && offset >= -base && offset <= size - base;
  member_position_ = in_range ? base + offset : -1;
  return member_position_;
}

bool File::SetEnd() { return bundle_ ? false : DoSetEnd(); }

int64_t File::Size() {
  if (!bundle_) return DoSize();
  return state_ == FileState::OpenForReading ? int64_t(bundle_->Entries()[entry_].size) : -1;
}

uint64_t File::Read(void* out, uint64_t n) {
  if (!bundle_) return DoRead(out, n);
  if (state_ != FileState::OpenForReading || member_position_ < 0) return 0;
  uint64_t const got = bundle_->ReadAt(entry_, uint64_t(member_position_), out, n);
  member_position_ += int64_t(got);
  return got;
}

uint64_t File::Write(void const* in, uint64_t n) {
  if (bundle_ || state_ != FileState::OpenForWriting) return 0;
  return DoWrite(in, n);
}

bool File::Flush() { return bundle_ ? false : DoFlush(); }

void File::OpenInBundle(Bundle& bundle, size_t entry) {
  if (IsOpen()) Close();
  LeaveBundle();
  state_ = FileState::Failed;
  if (entry == Bundle::npos || entry >= bundle.Entries().size()) return;
  bundle_ = &bundle;
  entry_ = entry;
  member_position_ = 0;
  state_ = FileState::OpenForReading;
  bundle.Enter();
}

bool File::ReopenInBundle(Bundle& bundle, std::filesystem::path const& path) {
  if (bundle_ != &bundle || path_ != path) return false;
  if (state_ != FileState::OpenForReading) {
    state_ = FileState::OpenForReading;
    bundle.Enter();
  }
  member_position_ = 0;
  return true;
}

void File::CloseInBundle() {
  if (state_ == FileState::OpenForReading) bundle_->Leave();
  member_position_ = -1;
  state_ = FileState::Closed;
}

void File::LeaveBundle() {
  if (!bundle_) return;
  CloseInBundle();
  bundle_ = nullptr;
}

}  // namespace QX::Store
