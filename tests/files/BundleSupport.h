#pragma once
// Bundle bytes built record by record, and a logger that keeps its lines.
#include <stdexcept>
#include <string>
#include <vector>

#include "files/BundleForms.h"
#include "files/ByteOrder.h"
#include "geometry/mesh/CompressedRecord.h"
#include "store/Logger.h"

namespace qx_test {

class KeptLines final : public QX::Store::Logger {
 public:
  void Message(char const* text) override { lines.emplace_back(text); }
  std::vector<std::string> lines;
};

class BundleBytes {
 public:
  BundleBytes& Word(uint32_t v) { return QX::Store::PutU32(bytes, v), *this; }
  BundleBytes& Raw(std::string const& s) { return QX::Store::PutBytes(bytes, s.data(), s.size()), *this; }
  BundleBytes& Named(uint32_t tag, std::string const& s) { return Word(tag).Word(uint32_t(s.size())).Raw(s); }

  BundleBytes& Version(uint32_t v) { return Word(QX::Store::kBundleVersionTag).Word(v); }
  BundleBytes& Directory(std::string const& name) { return Named(QX::Store::kBundleDirectoryTag, name); }
  BundleBytes& File(std::string const& name) { return Named(QX::Store::kBundleFileTag, name); }
  BundleBytes& Data(std::string const& data) { return Named(QX::Store::kBundleDataTag, data); }
  BundleBytes& TableFile(std::string const& name, uint64_t size) {
    Word(QX::Store::kBundleTableFileTag).Word(uint32_t(name.size()));
    QX::Store::PutU64(bytes, size);
    return Raw(name);
  }
  BundleBytes& End() { return Word(QX::Store::kBundleEndTag); }
  // `inner` as one compressed record; it must be large enough to compress.
  BundleBytes& Compressed(BundleBytes const& inner, uint32_t method) {
    if (!QX::Store::CompressRecord(inner.bytes, bytes, method, 1)) throw std::runtime_error("no Z");
    return *this;
  }

  std::vector<uint8_t> bytes;
};

// Text that compresses well but isn't a repetition of one byte.
inline std::string Compressible(size_t n, char seed) {
  std::string s(n, ' ');
  for (size_t i = 0; i < n; ++i) s[i] = char(seed + (i * 7 / 13) % 5);
  return s;
}

}  // namespace qx_test
