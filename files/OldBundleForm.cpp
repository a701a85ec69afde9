// The old bundle form: a run of records that name directories and files and
// carry their bytes, in which any stretch may be replaced by a compressed
// record (zstd or LZ4) that decompresses to it, nested as deep as it likes.
#define ZSTD_STATIC_LINKING_ONLY  // ZSTD_decompressBound
#include <zstd.h>

#include "files/BundleCursor.h"
#include "files/BundleForms.h"
#include "files/FileSystem.h"
#include "files/UnpackTarget.h"
#include "geometry/mesh/CompressedRecord.h"

namespace QX::Store {

namespace {

constexpr size_t kCompressedHead = 16;
// No LZ4 block expands its input more than this.
constexpr uint64_t kLz4MaxRatio = 255;

// Whether `size` decompressed bytes can come from `data`, judged from the
// data alone, so that a forged size never makes a large allocation.
bool PlausibleSize(uint32_t method, std::span<uint8_t const> data, uint32_t size) {
  if (method != kZstdMethod) return size <= data.size() * kLz4MaxRatio + kCompressedHead;
  unsigned long long const declared = ZSTD_getFrameContentSize(data.data(), data.size());
  if (declared != ZSTD_CONTENTSIZE_UNKNOWN && declared != size) return false;
  unsigned long long const bound = ZSTD_decompressBound(data.data(), data.size());
  return bound != ZSTD_CONTENTSIZE_ERROR && size <= bound;
}

// Puts the decompressed bytes of the record at the cursor in its place.
void Decompress(BundleCursor& in) {
  in.Require(kCompressedHead);
  uint32_t const method = in.Word(4);
  uint32_t const compressed = in.Word(8);
  uint32_t const size = in.Word(12);
  uint64_t const padded = (uint64_t(compressed) + 3) & ~uint64_t(3);
  in.Require(kCompressedHead + padded);
  if (!PlausibleSize(method, in.Bytes(kCompressedHead, compressed), size)) in.Corrupt();
  if (!DecompressRecord(in.Bytes(0, kCompressedHead + compressed), in.Spare())) in.Corrupt();
  in.ReplaceWithSpare(size_t(kCompressedHead + padded));
}

// A record of tag, n and n bytes: the n bytes as text.
std::string Named(BundleCursor& in) {
  in.Require(8);
  uint32_t const n = in.Word(4);
  in.Require(8 + uint64_t(n));
  auto const bytes = in.Bytes(8, n);
  in.Skip(8 + size_t(n));
  return std::string(bytes.begin(), bytes.end());
}

}  // namespace

void UnpackOldForm(BundleCursor& in, UnpackTarget& out) {
  // Without a version record the run may stop at the end of the file; with
  // one it must end with its end record.
  bool versioned = false;
  while (in.More()) {
    switch (in.Word(0)) {
      case kBundleVersionTag: {
        in.Require(8);
        uint32_t const version = in.Word(4);
        if (version != kOldBundleVersion)
          in.Fail("Version mismatched: " + PathToUtf8(in.Path()) + "; Expected " +
                  std::to_string(kOldBundleVersion) + "; Actual " + std::to_string(version));
        versioned = true;
        in.Skip(8);
        break;
      }
      case kBundleDirectoryTag: out.Directory(Named(in), true); break;
      case kBundleFileTag: out.BeginFile(Named(in)); break;
      case kBundleDataTag: {
        in.Require(8);
        uint32_t const n = in.Word(4);
        in.Skip(8);
        in.Stream(n, [&](std::span<uint8_t const> bytes) { out.Write(bytes); });
        break;
      }
      case kBundleCompressedTag: Decompress(in); break;
      case kBundleEndTag: out.EndFile(); return;
      default: in.Fail("Unexpected code: " + PathToUtf8(in.Path()));
    }
  }
  out.EndFile();
  if (versioned) in.Corrupt();
}

}  // namespace QX::Store
