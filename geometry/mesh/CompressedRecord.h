#pragma once
// The compressed record Z that may stand in place of any stream record:
// u32 90, u32 method (1 zstd, anything else LZ4 block), u32 compressed
// size C, u32 uncompressed size U, C bytes, 0xFF padding to a multiple of 4.
#include <cstdint>
#include <span>
#include <vector>

namespace QX::Store {

inline constexpr uint32_t kCompressedTag = 90;
inline constexpr uint32_t kZstdMethod = 1;
inline constexpr uint32_t kLz4Method = 0;

// Effort chooses the zstd strategy: 0 fast, 1 the level's default, 2
// btultra2; any other value leaves the strategy as the last call set it.
// Callers that have no effort of their own pass 1.
inline constexpr uint32_t kKeepStrategy = 0xFFFFFFFFu;

// Appends the compressed form of `record` to `out`. Records below 512 bytes
// or above 0x7E000000 bytes, and records that don't shrink by at least 16
// bytes, aren't compressed: false, and `out` stays as it was. All zstd
// compression of the process shares one context at level 15, so two threads
// must not call this at once.
bool CompressRecord(std::span<uint8_t const> record, std::vector<uint8_t>& out, uint32_t method,
                    uint32_t effort);

// A zstd context of its own, for a thread that compresses beside others:
// the same bytes as CompressRecord, which shares one context per process.
class RecordCompressor {
 public:
  RecordCompressor();
  ~RecordCompressor();
  RecordCompressor(RecordCompressor const&) = delete;
  RecordCompressor& operator=(RecordCompressor const&) = delete;

  bool Compress(std::span<uint8_t const> record, std::vector<uint8_t>& out, uint32_t method, uint32_t effort);

 private:
  void* context_;  // ZSTD_CCtx, kept out of this header
};

// Appends the record that the compressed record `wrapper` holds to `out`.
// False for a malformed wrapper or data that doesn't decompress to exactly
// U bytes; `out` stays as it was then.
bool DecompressRecord(std::span<uint8_t const> wrapper, std::vector<uint8_t>& out);

}  // namespace QX::Store
