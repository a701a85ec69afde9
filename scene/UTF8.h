#pragma once
// A string of UTF-8 bytes.
#include <cstdint>
#include <string>
#include <vector>

namespace KZV {

class UTF8 {
 public:
  UTF8() = default;
  UTF8(char const* text);  // NOLINT: converts like a string literal
  UTF8(char const* begin, char const* end);
  explicit UTF8(wchar_t const* text);
  explicit UTF8(std::string text) : bytes_(std::move(text)) {}

  size_t GetLength() const { return bytes_.size(); }
  char const* GetBytes() const { return bytes_.c_str(); }
  operator char const*() const { return bytes_.c_str(); }  // NOLINT
  std::string const& str() const { return bytes_; }
  bool Empty() const { return bytes_.empty(); }
  uint64_t GetHash() const;
  UTF8& operator+=(UTF8 const& other) { bytes_ += other.bytes_; return *this; }
  bool operator==(UTF8 const& other) const { return bytes_ == other.bytes_; }
  bool operator!=(UTF8 const& other) const { return bytes_ != other.bytes_; }
  bool operator==(char const* other) const { return bytes_ == (other ? other : ""); }
  bool operator!=(char const* other) const { return !(*this == other); }

 private:
  std::string bytes_;
};

using UTF8Array = std::vector<UTF8>;

}  // namespace KZV
