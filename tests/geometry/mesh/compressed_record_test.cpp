#include "geometry/mesh/CompressedRecord.h"

#include <gtest/gtest.h>

#include <random>

using namespace QX::Store;

namespace {

std::vector<uint8_t> Compressible(size_t n) {
  std::vector<uint8_t> bytes(n);
  for (size_t i = 0; i < n; ++i) bytes[i] = uint8_t((i / 7) % 13);
  return bytes;
}

std::vector<uint8_t> Noise(size_t n) {
  std::mt19937 random(7);
  std::vector<uint8_t> bytes(n);
  for (auto& b : bytes) b = uint8_t(random());
  return bytes;
}

uint32_t U32(std::vector<uint8_t> const& b, size_t at) {
  return b[at] | b[at + 1] << 8 | b[at + 2] << 16 | uint32_t(b[at + 3]) << 24;
}

}  // namespace

TEST(CompressedRecord, RoundTripsWithBothMethodsAndEveryEffort) {
  std::vector<uint8_t> const record = Compressible(100000);
  for (uint32_t method : {kZstdMethod, kLz4Method, 5u}) {
    for (uint32_t effort : {0u, 1u, 2u, kKeepStrategy}) {
      std::vector<uint8_t> wrapped = {1, 2, 3};  // appended behind what is there
      ASSERT_TRUE(CompressRecord(record, wrapped, method, effort));
      EXPECT_EQ(kCompressedTag, U32(wrapped, 3));
      EXPECT_EQ(method == kZstdMethod ? 1u : 0u, U32(wrapped, 7));
      uint32_t const c = U32(wrapped, 11);
      EXPECT_EQ(record.size(), U32(wrapped, 15));
      size_t const padded = (c + 3) / 4 * 4;
      ASSERT_EQ(3 + 16 + padded, wrapped.size());
      for (size_t i = 3 + 16 + c; i < wrapped.size(); ++i) EXPECT_EQ(0xFF, wrapped[i]);

      std::vector<uint8_t> out = {9};
      ASSERT_TRUE(DecompressRecord({wrapped.data() + 3, wrapped.size() - 3}, out));
      EXPECT_EQ(9, out[0]);
      EXPECT_TRUE(std::equal(record.begin(), record.end(), out.begin() + 1));
    }
  }
}

TEST(CompressedRecord, RefusesWhatDoesNotPayAndLeavesTheBufferAlone) {
  std::vector<uint8_t> out = {1, 2};
  EXPECT_FALSE(CompressRecord(Compressible(511), out, kZstdMethod, 1));
  EXPECT_FALSE(CompressRecord(Noise(5000), out, kZstdMethod, 1));
  EXPECT_FALSE(CompressRecord(Noise(5000), out, kLz4Method, 1));
  EXPECT_EQ((std::vector<uint8_t>{1, 2}), out);
  EXPECT_TRUE(CompressRecord(Compressible(512), out, kZstdMethod, 1));
}

TEST(CompressedRecord, CorruptWrappersFailWithoutTouchingTheOutput) {
  std::vector<uint8_t> wrapped;
  ASSERT_TRUE(CompressRecord(Compressible(4000), wrapped, kZstdMethod, 1));
  std::vector<uint8_t> lz4;
  ASSERT_TRUE(CompressRecord(Compressible(4000), lz4, kLz4Method, 1));

  auto fails = [](std::vector<uint8_t> bytes) {
    std::vector<uint8_t> out = {5};
    bool const ok = DecompressRecord(bytes, out);
    return !ok && out == std::vector<uint8_t>{5};
  };
  EXPECT_TRUE(fails({wrapped.begin(), wrapped.begin() + 15}));  // cut head
  EXPECT_TRUE(fails({wrapped.begin(), wrapped.end() - 8}));     // cut data
  for (auto* w : {&wrapped, &lz4}) {
    auto wrong_size = *w;
    wrong_size[12] ^= 1;  // U no longer what the data gives
    EXPECT_TRUE(fails(wrong_size));
    auto huge = *w;
    huge[15] = 0xFF;  // U of almost 4 GiB
    EXPECT_TRUE(fails(huge));
    auto garbled = *w;
    for (size_t i = 16; i < garbled.size(); i += 3) garbled[i] ^= 0x5A;
    EXPECT_TRUE(fails(garbled));
  }
  auto wrong_tag = wrapped;
  wrong_tag[0] = 81;
  EXPECT_TRUE(fails(wrong_tag));
}

// A head that declares far more than its data can give allocates nothing:
// the output's capacity would otherwise show the declared size.
TEST(CompressedRecord, DeclaredSizeBeyondWhatTheDataCanGiveAllocatesNothing) {
  constexpr uint32_t kDeclared = 200u << 20;
  auto head = [](uint32_t method, std::vector<uint8_t> data) {
    std::vector<uint8_t> bytes = {90, 0, 0, 0, uint8_t(method), 0, 0, 0};
    for (uint32_t v : {uint32_t(data.size()), kDeclared})
      for (int i = 0; i < 4; ++i) bytes.push_back(uint8_t(v >> (8 * i)));
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
  };
  // A zstd frame head that states 200 MiB of content over one empty block.
  std::vector<uint8_t> const frame = {0x28, 0xB5, 0x2F, 0xFD, 0xA0, 0x00, 0x00, 0x80,
                                      0x0C, 0x01, 0x00, 0x00};
  std::vector<uint8_t> wrapped;
  ASSERT_TRUE(CompressRecord(Compressible(4000), wrapped, kLz4Method, 1));
  std::vector<uint8_t> const lz4(wrapped.begin() + 16, wrapped.end());
  for (auto const& bytes : {head(kZstdMethod, {}), head(kLz4Method, {1, 2, 3, 4}),
                            head(kZstdMethod, frame), head(kLz4Method, lz4)}) {
    std::vector<uint8_t> out;
    EXPECT_FALSE(DecompressRecord(bytes, out));
    EXPECT_LT(out.capacity(), size_t{1} << 20);
  }
}
