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

}  // namespace KZV
