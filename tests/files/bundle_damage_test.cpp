// Damaged bundles of both forms: every truncation and random corruptions end
// in a clean error or read, never in a crash or a forged size's allocation.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <random>

#include "files/BundleReader.h"
#include "files/FileSystem.h"
#include "store/Logger.h"
#include "tests/files/BundleSupport.h"
#include "tests/geometry/mesh/MemoryFile.h"
#include "tests/support/TempDir.h"

// Every allocation of this test program goes through here, so the largest
// one can be checked.
static std::atomic<size_t> largest_allocation{0};

void* operator new(size_t n) {
  size_t seen = largest_allocation.load();
  while (n > seen && !largest_allocation.compare_exchange_weak(seen, n)) {
  }
  if (void* p = std::malloc(n ? n : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }

namespace {

using namespace QX::Store;
using qx_test::BundleBytes;
namespace fs = std::filesystem;

// The reader's own two work buffers.
constexpr size_t kWorkBuffers = size_t(2) << 20;
// Decompression may rightly give more bytes than the bundle holds, up to
// the limit of the compressor; a forged size asks for far more.
constexpr size_t kMostExpansion = 300;

std::vector<uint8_t> OldForm() {
  std::string const a = qx_test::Compressible(1500, 'a');
  BundleBytes inner;
  inner.Directory(".").File("_a.qxi").Word(kBundleDataTag).Word(uint32_t(a.size())).Raw(a.substr(0, 900));
  BundleBytes lz4;
  lz4.File("_c.qxi").Data(qx_test::Compressible(600, 'c'));
  BundleBytes bundle;
  bundle.Version(2).Compressed(inner, 1).Raw(a.substr(900)).Directory("sub").Compressed(lz4, 0);
  return bundle.File("_d.qxi").Data("plain").End().bytes;
}

std::vector<uint8_t> NewForm() {
  BundleBytes bundle;
  bundle.Version(3).Directory(".").TableFile("_a.qxi", 700).TableFile("_e.qxi", 0);
  bundle.TableFile("_c.qxd", 5).End().Raw(qx_test::Compressible(700, 'x')).Raw("abcde");
  return bundle.bytes;
}

enum class Outcome { Read, Refused, Broken };

// Unpacks `bytes` as a bundle into a fresh directory and reads its table.
Outcome Read(std::vector<uint8_t> const& bytes, fs::path const& out) {
  qx_test::MemoryFile file;
  file.bytes = bytes;
  try {
    UnpackBundleFile(file, "damaged.qxz", DefaultFiles(), out, nullptr);
    if (BundleFormOf(file, "damaged.qxz", nullptr) == kNewBundleForm)
      ReadBundleTable(file, "damaged.qxz", nullptr);
    return Outcome::Read;
  } catch (Exception const&) {
    return Outcome::Refused;
  } catch (...) {
    return Outcome::Broken;
  }
}

class BundleDamage : public testing::TestWithParam<bool> {
 protected:
  std::vector<uint8_t> Bundle() const { return GetParam() ? NewForm() : OldForm(); }
  size_t AllowedAllocation(size_t size) const {
    return kWorkBuffers + size * (GetParam() ? 1 : kMostExpansion);
  }
  Outcome Check(std::vector<uint8_t> const& bytes, int i) {
    fs::path const out = dir / ("out" + std::to_string(i));
    largest_allocation = 0;
    Outcome const outcome = Read(bytes, out);
    EXPECT_LE(largest_allocation.load(), AllowedAllocation(bytes.size())) << "case " << i;
    EXPECT_NE(outcome, Outcome::Broken) << "case " << i;
    fs::remove_all(out);
    return outcome;
  }

  qx_test::TempDir dir;
};

// The whole bundle reads; every truncation of it is refused.
TEST_P(BundleDamage, EveryTruncationIsRefused) {
  std::vector<uint8_t> const whole = Bundle();
  for (size_t n = 0; n <= whole.size(); ++n) {
    std::vector<uint8_t> const cut(whole.begin(), whole.begin() + std::ptrdiff_t(n));
    EXPECT_EQ(Check(cut, int(n)), n == whole.size() ? Outcome::Read : Outcome::Refused) << "cut at " << n;
  }
}

// Flipped bytes anywhere, and words overwritten with sizes and tags that
// are just wrong or far too large.
TEST_P(BundleDamage, RandomCorruptionsFailCleanly) {
  std::vector<uint8_t> const whole = Bundle();
  std::mt19937 random(GetParam() ? 2024 : 1999);
  uint32_t const nasty[] = {0xFFFFFFFFu, 0x7FFFFFFFu, 0x7E000000u, 0x80000000u, 0x10000u, 90, 84, 0};
  int refused = 0;
  for (int i = 0; i < 1500; ++i) {
    std::vector<uint8_t> bytes = whole;
    int const changes = 1 + int(random() % 3);
    for (int c = 0; c < changes; ++c) {
      size_t const at = random() % bytes.size();
      if (random() % 2 == 0 || at + 4 > bytes.size())
        bytes[at] ^= uint8_t(1 + random() % 255);
      else
        SetU32(bytes.data() + (at & ~size_t(3)), random() % 2 ? nasty[random() % 8] : uint32_t(random()));
    }
    refused += Check(bytes, i) == Outcome::Refused;
  }
  EXPECT_GT(refused, 100);  // the corruptions did reach the records
}

INSTANTIATE_TEST_SUITE_P(Forms, BundleDamage, testing::Values(false, true),
                         [](auto const& info) { return info.param ? "NewForm" : "OldForm"; });

}  // namespace
