#pragma once
// The toolkit's exceptions as this module throws them.
#include <cstdint>
#include <stdexcept>
#include <string>

namespace KZV {

class Exception : public std::runtime_error {
 public:
  explicit Exception(std::string const& message) : std::runtime_error(message) {}
};

// A failure of file input or output, with a numeric result code beside its text.
class IOException : public Exception {
 public:
  IOException(std::string const& message, int32_t result_code)
      : Exception(message), result_code_(result_code) {}
  int32_t ResultCode() const { return result_code_; }

 private:
  int32_t result_code_;
};

// A handle or object that doesn't stand for anything usable.
class InvalidObjectException : public Exception {
 public:
  using Exception::Exception;
};

// An index or count beyond the end of what it addresses.
class IndexOutOfRangeException : public Exception {
 public:
  using Exception::Exception;
};

// Arguments that don't describe a valid setting or geometry.
class InvalidSpecificationException : public Exception {
 public:
  using Exception::Exception;
};

// An operation that isn't possible on the object in its present state.
class InvalidOperationException : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace KZV
