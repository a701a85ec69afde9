#pragma once
// An independent base64 decoder to check the encoder against.
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace qx_test {

inline std::optional<std::vector<uint8_t>> DecodeBase64(std::string_view text) {
  auto value = [](char c) -> int {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
  };
  if (text.size() % 4 != 0) return std::nullopt;
  std::vector<uint8_t> out;
  for (size_t i = 0; i < text.size(); i += 4) {
    int v[4];
    int pad = 0;
    for (int j = 0; j < 4; ++j) {
      char const c = text[i + j];
      if (c == '=' && i + 4 == text.size() && j >= 2) {
        v[j] = 0;
        ++pad;
      } else if ((v[j] = value(c)) < 0 || pad > 0) {
        return std::nullopt;
      }
    }
    uint32_t const group = uint32_t(v[0]) << 18 | uint32_t(v[1]) << 12 | uint32_t(v[2]) << 6 | v[3];
    out.push_back(uint8_t(group >> 16));
    if (pad < 2) out.push_back(uint8_t(group >> 8));
    if (pad < 1) out.push_back(uint8_t(group));
  }
  return out;
}

}  // namespace qx_test
