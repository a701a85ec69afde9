#include "files/BundleWriter.h"

#include <memory>

#include "files/BundleForms.h"
#include "files/ByteOrder.h"
#include "files/File.h"
#include "files/FileSystem.h"
#include "store/Logger.h"

namespace QX::Store {

namespace fs = std::filesystem;

namespace {

constexpr uint64_t kBlock = uint64_t(1) << 20;

[[noreturn]] void Fail(Logger* logger, std::string const& what, fs::path const& path) {
  std::string const text = what + PathToUtf8(path);
  if (logger) logger->Message(text.c_str());
  throw Exception(text);
}

struct Source {
  std::string name;
  std::unique_ptr<File> file;
  uint64_t size = 0;
};

void OpenSource(Source& s, Logger* logger) {
  s.file->OpenRead(false);
  if (s.file->State() == FileState::SharingFailure)
    Fail(logger, "Unable to share file: ", s.file->Path());
  if (!s.file->IsOpen() || s.file->Size() < 0) Fail(logger, "Unable to open file: ", s.file->Path());
}

// The sources with their sizes, for the table; each is opened again to be
// copied, and must still have that size then.
std::vector<Source> Sources(fs::path const& source, std::vector<std::string> const& names,
                            FileSystem& file_system, Logger* logger) {
  std::vector<Source> sources;
  for (std::string const& name : names) {
    Source s{name, file_system.NewFile(source / PathFromUtf8(name)), 0};
    OpenSource(s, logger);
    s.size = uint64_t(s.file->Size());
    s.file->Close();
    sources.push_back(std::move(s));
  }
  return sources;
}

Bytes Table(std::vector<Source> const& sources) {
  Bytes table;
  PutU32(table, kBundleVersionTag);
  PutU32(table, kNewBundleVersion);
  PutU32(table, kBundleDirectoryTag);  // the root, made on unpacking
  PutU32(table, 1);
  PutBytes(table, ".", 1);
  for (Source const& s : sources) {
    PutU32(table, kBundleTableFileTag);
    PutU32(table, uint32_t(s.name.size()));
    PutU64(table, s.size);
    PutBytes(table, s.name.data(), s.name.size());
  }
  PutU32(table, kBundleEndTag);
  return table;
}

void Put(File& out, void const* bytes, uint64_t n, Logger* logger) {
  if (out.Write(bytes, n) != n) Fail(logger, "Unable to write data: ", out.Path());
}

void Copy(Source& s, File& out, Bytes& block, Logger* logger) {
  OpenSource(s, logger);
  if (s.file->Size() != int64_t(s.size)) Fail(logger, "File corrupt: ", s.file->Path());
  for (uint64_t left = s.size; left > 0;) {
    uint64_t const n = std::min(left, kBlock);
    if (s.file->Read(block.data(), n) != n) Fail(logger, "File corrupt: ", s.file->Path());
    Put(out, block.data(), n, logger);
    left -= n;
  }
  if (s.file->Size() != int64_t(s.size)) Fail(logger, "File corrupt: ", s.file->Path());
  s.file->Close();
}

void WriteAll(std::vector<Source>& sources, File& out, Logger* logger) {
  Bytes const table = Table(sources);
  Put(out, table.data(), table.size(), logger);
  Bytes block(kBlock);
  for (Source& s : sources) Copy(s, out, block, logger);
  if (!out.Flush()) Fail(logger, "Unable to write data: ", out.Path());
}

}  // namespace

void WriteBundle(fs::path const& source, std::vector<std::string> const& names,
                 fs::path const& output, FileSystem& file_system, Logger* logger) {
  std::vector<Source> sources = Sources(source, names, file_system, logger);
  fs::path const partial = PathFromUtf8(PathToUtf8(output) + ".partial");
  std::unique_ptr<File> out = file_system.NewFile(partial);
  out->OpenWrite(true, true);
  if (out->State() == FileState::SharingFailure) Fail(logger, "Unable to share file: ", partial);
  if (!out->IsOpen()) Fail(logger, "Unable to open file: ", partial);
  try {
    WriteAll(sources, *out, logger);
    out->Close();
    if (!file_system.Rename(partial, output)) Fail(logger, "Unable to rename: ", output);
  } catch (...) {
    out->Close();
    file_system.Remove(partial);
    throw;
  }
}

}  // namespace QX::Store
