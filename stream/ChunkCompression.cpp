#include "stream/ChunkCompression.h"

#include <lz4.h>
#include <lz4hc.h>
#include <zstd.h>

#include <memory>

#include "stream/WireTags.h"

namespace QX::Store {

namespace {

struct ContextDeleter {
  void operator()(ZSTD_CCtx* ctx) const { ZSTD_freeCCtx(ctx); }
};

// The one compression context of the process, made on first use.
ZSTD_CCtx* StreamZstdContext() {
  static std::unique_ptr<ZSTD_CCtx, ContextDeleter> const ctx = [] {
    std::unique_ptr<ZSTD_CCtx, ContextDeleter> made(ZSTD_createCCtx());
    if (made) ZSTD_CCtx_setParameter(made.get(), ZSTD_c_compressionLevel, 15);
    return made;
  }();
  return ctx.get();
}

// Compresses into `dst`; returns the compressed size, 0 on failure.
size_t CompressZstd(std::span<uint8_t const> src, uint8_t* dst, size_t capacity) {
  ZSTD_CCtx* ctx = StreamZstdContext();
  if (ctx == nullptr) return 0;
  // Mesh encoding tunes the strategy on the same context; chunks use the default.
  ZSTD_CCtx_setParameter(ctx, ZSTD_c_strategy, 0);
  size_t const c = ZSTD_compress2(ctx, dst, capacity, src.data(), src.size());
  return ZSTD_isError(c) ? 0 : c;
}

size_t CompressLz4(std::span<uint8_t const> src, uint8_t* dst, size_t capacity) {
  int const c = LZ4_compress_HC(reinterpret_cast<char const*>(src.data()),
                                reinterpret_cast<char*>(dst), int(src.size()), int(capacity), 9);
  return c > 0 ? size_t(c) : 0;
}

}  // namespace

bool AppendCompressedBlock(std::span<uint8_t const> payload, bool zstd, Bytes& out) {
  size_t const length = payload.size();
  if (length < kMinCompressedPayload || length > kMaxCompressedPayload) return false;
  size_t const bound = zstd ? ZSTD_compressBound(length) : size_t(LZ4_compressBound(int(length)));
  size_t const base = out.size();
  out.resize(base + kBlockHeadSize + bound);
  uint8_t* dst = out.data() + base + kBlockHeadSize;
  size_t const c = zstd ? CompressZstd(payload, dst, bound) : CompressLz4(payload, dst, bound);
  if (c == 0 || c + kBlockHeadSize > length) {
    out.resize(base);
    return false;
  }
  out.resize(base + kBlockHeadSize + c);
  SetU32(out, base, Tag::Compressed);
  SetU32(out, base + 4, zstd ? kMethodZstd : kMethodLz4);
  SetU32(out, base + 8, uint32_t(c));
  SetU32(out, base + 12, uint32_t(length));
  PadTo4(out, 0xFF);
  return true;
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
