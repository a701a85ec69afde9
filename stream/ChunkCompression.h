#pragma once
// Compression of a run of records into a Z block.
#include <cstdint>
#include <span>

#include "files/ByteOrder.h"

namespace QX::Store {

// Payloads outside this range are never compressed.
inline constexpr size_t kMinCompressedPayload = 512;
inline constexpr size_t kMaxCompressedPayload = 0x7E000000;
inline constexpr size_t kBlockHeadSize = 16;

// Appends to `out` a Z block holding `payload`, compressed with zstd
// (`zstd` true, level 15, default strategy) or LZ4 HC level 9, padded with
// 0xFF to a multiple of 4. The block is kept only if the compressed size plus
// its 16-byte head doesn't exceed the payload; otherwise, or if compression
// fails or the payload is out of range, `out` is left as it was and the
// result is false.
bool AppendCompressedBlock(std::span<uint8_t const> payload, bool zstd, Bytes& out);

// A cheap test, before any allocation, that `data` of `method` can expand to
// `expanded` bytes: LZ4 can't grow by more than 255 to 1, and a zstd frame
// that states its content size must state this one.
bool PlausibleExpansion(uint32_t method, std::span<uint8_t const> data, uint64_t expanded);

// Expands the data of a Z block into `out`, which must already have the
// block's uncompressed size. False if the data doesn't yield exactly that.
bool ExpandBlockData(uint32_t method, std::span<uint8_t const> data, std::span<uint8_t> out);

}  // namespace QX::Store
