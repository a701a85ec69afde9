#pragma once
// Where the store reports events: one line of text per call, without a line
// end. A null Logger* is allowed everywhere and means "say nothing".
#include <stdexcept>
#include <string>

namespace QX::Store {

class Logger {
 public:
  virtual ~Logger() = default;
  virtual void Message(char const* text) = 0;
};

// A logger that discards every line.
class NullLogger final : public Logger {
 public:
  void Message(char const*) override {}
};

// The store's own exception: its text is the message, fixed by the store.
class Exception : public std::runtime_error {
 public:
  explicit Exception(std::string const& text) : std::runtime_error(text) {}
};

}  // namespace QX::Store
