#pragma once
// Appends to files for the mesh records, with their failures.
// Arrays of f32 and bytes are copied as they lie in memory; the
// static_assert keeps that equal to their little-endian form.
#include <bit>
#include <cstdint>
#include <span>

#include "files/ByteOrder.h"

namespace QX::Store {
class File;
class Logger;
}  // namespace QX::Store

namespace QX::Store::detail {

static_assert(std::endian::native == std::endian::little,
              "record arrays are copied as they lie in memory");

// Logs and throws "Unable to write data: " + path.
[[noreturn]] void ThrowWriteFailure(File& file, Logger* logger);

// Writes all of `bytes` at the present position, or logs and throws.
void WriteAll(File& file, std::span<uint8_t const> bytes, Logger* logger);

// Seeks to the end of the file and returns that position, or logs and
// throws if the file can't tell it.
int64_t SeekToEnd(File& file, Logger* logger);

}  // namespace QX::Store::detail
