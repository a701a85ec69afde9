#include "geometry/mesh/ByteIO.h"

#include <string>

#include "files/File.h"
#include "files/FileSystem.h"
#include "store/Logger.h"

namespace QX::Store::detail {

void ThrowWriteFailure(File& file, Logger* logger) {
  std::string const text = "Unable to write data: " + PathToUtf8(file.Path());
  if (logger) logger->Message(text.c_str());
  throw Exception(text);
}

void WriteAll(File& file, std::span<uint8_t const> bytes, Logger* logger) {
  if (bytes.empty()) return;
  if (file.Write(bytes.data(), bytes.size()) != bytes.size()) ThrowWriteFailure(file, logger);
}

int64_t SeekToEnd(File& file, Logger* logger) {
  int64_t const end = file.Seek(0, kSeekEnd);
  if (end < 0) ThrowWriteFailure(file, logger);
  return end;
}

}  // namespace QX::Store::detail
