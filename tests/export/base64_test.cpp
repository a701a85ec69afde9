#include "export/Base64.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tests/export/Base64Reference.h"

using namespace KZVI;

namespace {

// Encodes `data` fed in blocks of the given sizes (cycled).
std::string Encode(std::vector<uint8_t> const& data, std::vector<size_t> const& blocks) {
  std::string out(Base64BlockBound(data.size()) + 4, '\0');
  Base64State state;
  size_t written = 0, at = 0;
  for (size_t b = 0; at < data.size(); ++b) {
    size_t const n = std::min(blocks[b % blocks.size()], data.size() - at);
    written += Base64EncodeBlock(data.data() + at, n, out.data() + written, state);
    at += n;
  }
  written += Base64EncodeEnd(out.data() + written, state);
  out.resize(written);
  return out;
}

std::vector<uint8_t> Bytes(std::string const& s) { return {s.begin(), s.end()}; }

TEST(Base64, KnownVectors) {
  std::pair<char const*, char const*> const vectors[] = {
      {"", ""},          {"f", "Zg=="},         {"fo", "Zm8="},        {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"}};
  for (auto [plain, encoded] : vectors) {
    EXPECT_EQ(Encode(Bytes(plain), {4096}), encoded) << plain;
    EXPECT_EQ(Encode(Bytes(plain), {1}), encoded) << plain;
  }
  std::vector<uint8_t> const all_ones(3, 0xFF);
  EXPECT_EQ(Encode(all_ones, {2}), "////");
}

TEST(Base64, AnyLengthAnySplitDecodesBack) {
  std::mt19937 random(7);
  std::vector<uint8_t> data(10001);
  for (uint8_t& byte : data) byte = static_cast<uint8_t>(random());
  std::vector<std::vector<size_t>> const splits = {{4096}, {1}, {2}, {5, 7, 4093}, {4095, 4097}};
  // Every short length, and lengths around the block sizes of the encoder's callers.
  std::vector<size_t> lengths;
  for (size_t length = 0; length <= 300; ++length) lengths.push_back(length);
  for (size_t block : {4096u, 8192u})
    for (size_t length = block - 7; length <= block + 7; ++length) lengths.push_back(length);
  lengths.push_back(10000);
  for (size_t length : lengths) {
    std::vector<uint8_t> const part(data.begin(), data.begin() + length);
    auto const& split = splits[length % splits.size()];
    std::string const text = Encode(part, split);
    ASSERT_EQ(text.size(), (length + 2) / 3 * 4) << length;
    ASSERT_EQ(text.find_first_of("\r\n "), std::string::npos);
    auto const decoded = qx_test::DecodeBase64(text);
    ASSERT_TRUE(decoded.has_value()) << length;
    ASSERT_EQ(*decoded, part) << length;
  }
}

}  // namespace
