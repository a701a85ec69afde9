#include "stream/ChunkCompression.h"

#include <lz4.h>
#include <zstd.h>

#include "geometry/mesh/CompressedRecord.h"
#include "stream/WireTags.h"

namespace QX::Store {

bool AppendCompressedBlock(std::span<uint8_t const> payload, bool zstd, Bytes& out) {
  // Chunks go through the process's one compressor, with the level's default
  // strategy.
  return CompressRecord(payload, out, zstd ? kZstdMethod : kLz4Method, 1);
}

bool PlausibleExpansion(uint32_t method, std::span<uint8_t const> data, uint64_t expanded) {
  if (method == kMethodLz4) return expanded <= 255 * uint64_t(data.size()) + 16;
  if (method != kMethodZstd) return false;
  unsigned long long const stated = ZSTD_getFrameContentSize(data.data(), data.size());
  if (stated == ZSTD_CONTENTSIZE_ERROR) return false;
  return stated == ZSTD_CONTENTSIZE_UNKNOWN || stated == expanded;
}

bool ExpandBlockData(uint32_t method, std::span<uint8_t const> data, std::span<uint8_t> out) {
  if (method == kMethodZstd) {
    size_t const r = ZSTD_decompress(out.data(), out.size(), data.data(), data.size());
    return !ZSTD_isError(r) && r == out.size();
  }
  if (method == kMethodLz4) {
    if (data.size() > 0x7FFFFFFF || out.size() > 0x7FFFFFFF) return false;
    int const r = LZ4_decompress_safe(reinterpret_cast<char const*>(data.data()),
                                      reinterpret_cast<char*>(out.data()), int(data.size()),
                                      int(out.size()));
    return r >= 0 && size_t(r) == out.size();
  }
  return false;
}

}  // namespace QX::Store
