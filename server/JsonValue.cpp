#include "server/JsonValue.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace QX::Server {

namespace {

class Parser {
 public:
  Parser(std::string_view text, JsonLimits const& limits) : text_(text), limits_(limits) {}

  JsonValue Document() {
    if (text_.size() > limits_.max_bytes)
      throw JsonError("message of " + std::to_string(text_.size()) + " bytes is longer than " +
                      std::to_string(limits_.max_bytes));
    JsonValue value = Value(0);
    SkipSpace();
    if (pos_ != text_.size()) Fail("unexpected text after the value");
    return value;
  }

 private:
  [[noreturn]] void Fail(std::string const& what) const {
    throw JsonError("bad JSON at byte " + std::to_string(pos_) + ": " + what);
  }

  void SkipSpace() {
    while (pos_ < text_.size() &&
           (text_[pos_] == ' ' || text_[pos_] == '\t' || text_[pos_] == '\n' || text_[pos_] == '\r'))
      ++pos_;
  }

  char Peek() const { return pos_ < text_.size() ? text_[pos_] : '\0'; }

  void Expect(std::string_view word) {
    if (text_.substr(pos_, word.size()) != word) Fail("expected " + std::string(word));
    pos_ += word.size();
  }

  JsonValue Value(size_t depth) {
    if (++values_ > limits_.max_values) Fail("too many values");
    SkipSpace();
    JsonValue value;
    switch (Peek()) {
      case '{': Object(value, depth + 1); break;
      case '[': Array(value, depth + 1); break;
      case '"': value.kind = JsonValue::Kind::String; value.text = String(); break;
      case 't': Expect("true"); value.kind = JsonValue::Kind::Bool; value.boolean = true; break;
      case 'f': Expect("false"); value.kind = JsonValue::Kind::Bool; break;
      case 'n': Expect("null"); break;
      case '\0': Fail("unexpected end of text");
      default: value.kind = JsonValue::Kind::Number; value.number = Number();
    }
    return value;
  }

  void Enter(size_t depth) {
    if (depth > limits_.max_depth) Fail("nested deeper than " + std::to_string(limits_.max_depth));
    ++pos_;
    SkipSpace();
  }

  void Object(JsonValue& value, size_t depth) {
    value.kind = JsonValue::Kind::Object;
    Enter(depth);
    if (Peek() == '}') return void(++pos_);
    for (;;) {
      SkipSpace();
      if (Peek() != '"') Fail("expected a member name");
      std::string name = String();
      SkipSpace();
      if (Peek() != ':') Fail("expected ':'");
      ++pos_;
      JsonValue member = Value(depth);
      if (!value.members.emplace(std::move(name), std::move(member)).second) Fail("repeated member name");
      SkipSpace();
      if (Peek() == '}') return void(++pos_);
      if (Peek() != ',') Fail("expected ',' or '}'");
      ++pos_;
    }
  }

  void Array(JsonValue& value, size_t depth) {
    value.kind = JsonValue::Kind::Array;
    Enter(depth);
    if (Peek() == ']') return void(++pos_);
    for (;;) {
      value.items.push_back(Value(depth));
      SkipSpace();
      if (Peek() == ']') return void(++pos_);
      if (Peek() != ',') Fail("expected ',' or ']'");
      ++pos_;
    }
  }

  double Number() {
    size_t const start = pos_;
    auto digits = [&] {
      size_t const from = pos_;
      while (pos_ < text_.size() && text_[pos_] >= '0' && text_[pos_] <= '9') ++pos_;
      if (pos_ == from) Fail("expected a digit");
    };
    if (Peek() == '-') ++pos_;
    if (Peek() == '0') ++pos_;
    else digits();
    if (Peek() == '.') ++pos_, digits();
    if (Peek() == 'e' || Peek() == 'E') {
      ++pos_;
      if (Peek() == '+' || Peek() == '-') ++pos_;
      digits();
    }
    std::string const number(text_.substr(start, pos_ - start));
    double const value = std::strtod(number.c_str(), nullptr);
    if (!std::isfinite(value)) Fail("number out of range");
    return value;
  }

  unsigned Hex4() {
    if (text_.size() - pos_ < 4) Fail("short \\u escape");
    unsigned code = 0;
    for (int i = 0; i < 4; ++i) {
      char const c = text_[pos_++];
      code <<= 4;
      if (c >= '0' && c <= '9') code |= unsigned(c - '0');
      else if (c >= 'a' && c <= 'f') code |= unsigned(c - 'a' + 10);
      else if (c >= 'A' && c <= 'F') code |= unsigned(c - 'A' + 10);
      else Fail("bad \\u escape");
    }
    return code;
  }

  static void AppendUtf8(std::string& out, unsigned code) {
    if (code < 0x80) {
      out += char(code);
    } else if (code < 0x800) {
      out += char(0xC0 | code >> 6);
      out += char(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
      out += char(0xE0 | code >> 12);
      out += char(0x80 | ((code >> 6) & 0x3F));
      out += char(0x80 | (code & 0x3F));
    } else {
      out += char(0xF0 | code >> 18);
      out += char(0x80 | ((code >> 12) & 0x3F));
      out += char(0x80 | ((code >> 6) & 0x3F));
      out += char(0x80 | (code & 0x3F));
    }
  }

  unsigned Escape() {
    char const c = text_[pos_++];
    switch (c) {
      case '"': case '\\': case '/': return unsigned(c);
      case 'b': return '\b';
      case 'f': return '\f';
      case 'n': return '\n';
      case 'r': return '\r';
      case 't': return '\t';
      case 'u': break;
      default: --pos_; Fail("bad escape");
    }
    unsigned code = Hex4();
    if (code >= 0xDC00 && code <= 0xDFFF) Fail("lone low surrogate");
    if (code >= 0xD800 && code <= 0xDBFF) {
      Expect("\\u");
      unsigned const low = Hex4();
      if (low < 0xDC00 || low > 0xDFFF) Fail("high surrogate without its low half");
      code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
    }
    return code;
  }

  // The text between quotes; the network's bytes must be UTF-8, which the
  // WebSocket layer has checked for text frames already.
  std::string String() {
    ++pos_;
    std::string out;
    for (;;) {
      if (pos_ >= text_.size()) Fail("unterminated string");
      char const c = text_[pos_++];
      if (c == '"') return out;
      if (static_cast<unsigned char>(c) < 0x20) Fail("control character in a string");
      if (c != '\\') {
        out += c;
        continue;
      }
      if (pos_ >= text_.size()) Fail("unterminated string");
      AppendUtf8(out, Escape());
    }
  }

  std::string_view text_;
  JsonLimits const& limits_;
  size_t pos_ = 0;
  size_t values_ = 0;
};

}  // namespace

JsonValue const* JsonValue::Find(std::string_view name) const {
  auto const it = members.find(name);
  return it == members.end() ? nullptr : &it->second;
}

std::string JsonQuote(std::string_view text) {
  std::string out = "\"";
  for (char const c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char code[8];
      std::snprintf(code, sizeof code, "\\u%04x", unsigned(c));
      out += code;
    } else {
      out += c;
    }
  }
  return out + '"';
}

JsonValue ParseJson(std::string_view text, JsonLimits const& limits) {
  return Parser(text, limits).Document();
}

}  // namespace QX::Server
