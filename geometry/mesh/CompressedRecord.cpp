#include "geometry/mesh/CompressedRecord.h"

#include <lz4.h>
#include <lz4hc.h>
#define ZSTD_STATIC_LINKING_ONLY  // ZSTD_getFrameHeader
#include <zstd.h>

#include <memory>

#include "geometry/mesh/ByteIO.h"

namespace QX::Store {
namespace {

constexpr size_t kHeadSize = 16;
constexpr size_t kMinCompressed = 512;
constexpr size_t kMaxCompressed = 0x7E000000;
constexpr int kZstdLevel = 15;
constexpr int kLz4Level = 9;
// An LZ4 block never expands its data more than 255 times.
constexpr uint64_t kLz4MaxRatio = 255;

struct ContextDeleter {
  void operator()(ZSTD_CCtx* context) const { ZSTD_freeCCtx(context); }
};

ZSTD_CCtx* NewContext() {
  ZSTD_CCtx* const context = ZSTD_createCCtx();
  if (context) ZSTD_CCtx_setParameter(context, ZSTD_c_compressionLevel, kZstdLevel);
  return context;
}

// The process-wide compression context, made at first use.
ZSTD_CCtx* Context() {
  static std::unique_ptr<ZSTD_CCtx, ContextDeleter> const context(NewContext());
  return context.get();
}

void SetStrategy(ZSTD_CCtx* context, uint32_t effort) {
  int strategy = 0;
  switch (effort) {
    case 0: strategy = ZSTD_fast; break;
    case 1: strategy = 0; break;
    case 2: strategy = ZSTD_btultra2; break;
    default: return;
  }
  ZSTD_CCtx_setParameter(context, ZSTD_c_strategy, strategy);
}

// Compresses into `to` with room for `capacity` bytes; 0 on failure.
size_t Compress(ZSTD_CCtx* context, std::span<uint8_t const> record, uint8_t* to, size_t capacity,
                uint32_t method) {
  if (method == kZstdMethod) {
    if (!context) return 0;
    size_t const n = ZSTD_compress2(context, to, capacity, record.data(), record.size());
    return ZSTD_isError(n) ? 0 : n;
  }
  int const n = LZ4_compress_HC(reinterpret_cast<char const*>(record.data()),
                                reinterpret_cast<char*>(to), int(record.size()), int(capacity),
                                kLz4Level);
  return n > 0 ? size_t(n) : 0;
}

// The most bytes that one zstd frame of exactly `n` bytes can give, from its
// block heads: raw and RLE blocks state their size, a compressed block gives
// at most the frame's block size. 0 if the bytes aren't one whole frame.
uint64_t ZstdFrameBound(uint8_t const* frame, size_t n) {
  ZSTD_frameHeader head;
  if (ZSTD_findFrameCompressedSize(frame, n) != n || ZSTD_getFrameHeader(&head, frame, n) != 0 ||
      head.frameType != ZSTD_frame)
    return 0;
  uint64_t bound = 0;
  for (size_t at = head.headerSize, last = 0; !last;) {
    if (at > n || n - at < 3) return 0;
    uint32_t const block = frame[at] | frame[at + 1] << 8 | uint32_t(frame[at + 2]) << 16;
    uint32_t const type = (block >> 1) & 3, size = block >> 3;
    last = block & 1;
    bound += type == 2 ? head.blockSizeMax : size;
    at += 3 + (type == 1 ? 1 : size);
  }
  return bound;
}

// Whether `compressed` bytes of `method` can give `size` bytes: a zstd frame
// states its content size, which its blocks must be able to give; LZ4 is
// bounded by its ratio. Checked before the output is allocated, so that a
// head that declares gigabytes over a few bytes allocates nothing.
bool CanExpandTo(uint8_t const* from, uint32_t compressed, uint32_t method, uint32_t size) {
  if (method != kZstdMethod) return size <= compressed * kLz4MaxRatio;
  return ZSTD_getFrameContentSize(from, compressed) == size &&
         size <= ZstdFrameBound(from, compressed);
}

bool CompressWith(ZSTD_CCtx* context, std::span<uint8_t const> record, std::vector<uint8_t>& out,
                  uint32_t method, uint32_t effort) {
  // The strategy is the context's state: it is set on every call, whatever
  // the method and size, and stays for calls that keep it.
  if (context) SetStrategy(context, effort);
  if (record.size() < kMinCompressed || record.size() > kMaxCompressed) return false;
  size_t const capacity = method == kZstdMethod ? ZSTD_compressBound(record.size())
                                                : size_t(LZ4_compressBound(int(record.size())));
  size_t const start = out.size();
  out.resize(start + kHeadSize + capacity);
  size_t const n = Compress(context, record, out.data() + start + kHeadSize, capacity, method);
  if (n == 0 || n + kHeadSize > record.size()) {
    out.resize(start);
    return false;
  }
  uint8_t* const head = out.data() + start;
  SetU32(head, kCompressedTag);
  SetU32(head + 4, method == kZstdMethod ? kZstdMethod : kLz4Method);
  SetU32(head + 8, uint32_t(n));
  SetU32(head + 12, uint32_t(record.size()));
  size_t const padded = (n + 3) & ~size_t(3);
  out.resize(start + kHeadSize + n);
  out.resize(start + kHeadSize + padded, 0xFF);
  return true;
}

}  // namespace

bool CompressRecord(std::span<uint8_t const> record, std::vector<uint8_t>& out, uint32_t method,
                    uint32_t effort) {
  return CompressWith(Context(), record, out, method, effort);
}

RecordCompressor::RecordCompressor() : context_(NewContext()) {}

RecordCompressor::~RecordCompressor() { ZSTD_freeCCtx(static_cast<ZSTD_CCtx*>(context_)); }

bool RecordCompressor::Compress(std::span<uint8_t const> record, std::vector<uint8_t>& out, uint32_t method,
                                uint32_t effort) {
  return CompressWith(static_cast<ZSTD_CCtx*>(context_), record, out, method, effort);
}

bool DecompressRecord(std::span<uint8_t const> wrapper, std::vector<uint8_t>& out) {
  if (wrapper.size() < kHeadSize || GetU32(wrapper.data()) != kCompressedTag)
    return false;
  uint32_t const method = GetU32(wrapper.data() + 4);
  uint32_t const compressed = GetU32(wrapper.data() + 8);
  uint32_t const size = GetU32(wrapper.data() + 12);
  if (compressed > wrapper.size() - kHeadSize || size > kMaxCompressed) return false;
  uint8_t const* const from = wrapper.data() + kHeadSize;
  if (!CanExpandTo(from, compressed, method, size)) return false;
  size_t const start = out.size();
  out.resize(start + size);
  bool ok = false;
  if (method == kZstdMethod) {
    size_t const n = ZSTD_decompress(out.data() + start, size, from, compressed);
    ok = !ZSTD_isError(n) && n == size;
  } else {
    int const n = LZ4_decompress_safe(reinterpret_cast<char const*>(from),
                                      reinterpret_cast<char*>(out.data() + start),
                                      int(compressed), int(size));
    ok = n >= 0 && uint32_t(n) == size;
  }
  if (!ok) out.resize(start);
  return ok;
}

}  // namespace QX::Store
