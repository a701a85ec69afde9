#pragma once
// A small strict JSON reader for the viewer's messages. The text comes from
// the network: its length, nesting depth and number of values are limited,
// and anything that isn't exactly JSON is refused with a message that says
// where.
#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace QX::Server {

class JsonError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct JsonLimits {
  size_t max_bytes = 64 * 1024;
  size_t max_depth = 8;
  size_t max_values = 20000;
};

class JsonValue {
 public:
  enum class Kind { Null, Bool, Number, String, Array, Object };

  Kind kind = Kind::Null;
  bool boolean = false;
  double number = 0;
  std::string text;
  std::vector<JsonValue> items;
  std::map<std::string, JsonValue, std::less<>> members;

  // The member of an object, or null if it has none of that name.
  JsonValue const* Find(std::string_view name) const;
};

// `text` as a JSON string, quotes included.
std::string JsonQuote(std::string_view text);

// Parses one JSON text; throws JsonError.
JsonValue ParseJson(std::string_view text, JsonLimits const& limits = {});

}  // namespace QX::Server
