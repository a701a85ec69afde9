#include "files/BundleCursor.h"

#include <algorithm>

#include "files/ByteOrder.h"
#include "files/File.h"
#include "files/FileSystem.h"
#include "store/Logger.h"

namespace QX::Store {

namespace {
constexpr uint64_t kBlock = uint64_t(1) << 20;
}

BundleCursor::BundleCursor(File& file, std::filesystem::path path, Logger* logger)
    : file_(file), path_(std::move(path)), logger_(logger) {
  int64_t const size = file_.Size();
  if (size < 0 || file_.Seek(0, kSeekBegin) != 0) Corrupt();
  size_ = uint64_t(size);
  buffer_.reserve(2 * kBlock);
  spare_.reserve(2 * kBlock);
}

void BundleCursor::Fail(std::string const& text) const {
  if (logger_) logger_->Message(text.c_str());
  throw Exception(text);
}

void BundleCursor::Corrupt() const { Fail("File corrupt: " + PathToUtf8(path_)); }

void BundleCursor::ReadExactly(uint64_t n) {
  if (n > size_ - consumed_) Corrupt();
  buffer_.erase(buffer_.begin(), buffer_.begin() + std::ptrdiff_t(cursor_));
  cursor_ = 0;
  size_t const at = buffer_.size();
  buffer_.resize(at + size_t(n));
  uint64_t const got = file_.Read(buffer_.data() + at, n);
  consumed_ += got;
  if (got != n) Corrupt();
}

bool BundleCursor::More() {
  if (AtHand() >= 4) return true;
  uint64_t const left = size_ - consumed_;
  if (left == 0) {
    if (AtHand() != 0) Corrupt();
    return false;
  }
  ReadExactly(std::min(left, kBlock));
  if (AtHand() < 4) Corrupt();
  return true;
}

void BundleCursor::Require(uint64_t n) {
  if (n > AtHand()) ReadExactly(n - AtHand());
}

uint32_t BundleCursor::Word(size_t offset) const { return GetU32(buffer_.data() + cursor_ + offset); }

uint64_t BundleCursor::Long(size_t offset) const { return GetU64(buffer_.data() + cursor_ + offset); }

std::span<uint8_t const> BundleCursor::Bytes(size_t offset, size_t n) const {
  return {buffer_.data() + cursor_ + offset, n};
}

std::vector<uint8_t>& BundleCursor::Spare() {
  spare_.clear();
  return spare_;
}

void BundleCursor::ReplaceWithSpare(size_t n) {
  spare_.insert(spare_.end(), buffer_.begin() + std::ptrdiff_t(cursor_ + n), buffer_.end());
  buffer_.swap(spare_);
  cursor_ = 0;
}

}  // namespace QX::Store
