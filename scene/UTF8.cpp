#include "scene/UTF8.h"

namespace KZV {
namespace {

void AppendCodePoint(std::string& out, uint32_t c) {
  if (c < 0x80) {
    out += char(c);
  } else if (c < 0x800) {
    out += char(0xC0 | (c >> 6));
    out += char(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += char(0xE0 | (c >> 12));
    out += char(0x80 | ((c >> 6) & 0x3F));
    out += char(0x80 | (c & 0x3F));
  } else {
    out += char(0xF0 | (c >> 18));
    out += char(0x80 | ((c >> 12) & 0x3F));
    out += char(0x80 | ((c >> 6) & 0x3F));
    out += char(0x80 | (c & 0x3F));
  }
}

}  // namespace

UTF8::UTF8(char const* text) : bytes_(text ? text : "") {}

UTF8::UTF8(char const* begin, char const* end) : bytes_(begin, end) {}

UTF8::UTF8(wchar_t const* text) {
  if (!text) return;
  for (; *text; ++text) {
    uint32_t c = static_cast<uint32_t>(*text);
    // Wide strings of two-byte units carry surrogate pairs.
    if (sizeof(wchar_t) == 2 && c >= 0xD800 && c < 0xDC00 && text[1] >= 0xDC00 && text[1] < 0xE000) {
      c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<uint32_t>(text[1]) - 0xDC00);
      ++text;
    }
    AppendCodePoint(bytes_, c);
  }
}

// FNV-1a over the bytes.
uint64_t UTF8::GetHash() const {
  uint64_t h = 0xCBF29CE484222325ull;
  for (unsigned char c : bytes_) {
    h ^= c;
    h *= 0x100000001B3ull;
  }
  return h;
}

}  // namespace KZV
