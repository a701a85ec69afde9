#pragma once
// An independent base64 decoder to check the encoder against: strict, with
// padding only at the end.
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace qx_test {

inline std::optional<std::vector<uint8_t>> DecodeBase64(std::string_view text) {
  std::string_view const alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  if (text.size() % 4 != 0) return std::nullopt;
  size_t const pad = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  std::vector<uint8_t> out;
  uint32_t group = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    size_t const value = i < text.size() - pad ? alphabet.find(text[i]) : 0;
    if (value == std::string_view::npos) return std::nullopt;
    group = group << 6 | uint32_t(value);
    if (i % 4 == 3)
      for (int shift : {16, 8, 0}) out.push_back(uint8_t(group >> shift));
  }
  out.resize(out.size() - pad);
  return out;
}

}  // namespace qx_test
