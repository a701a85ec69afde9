#include "files/BundleReader.h"

#include <chrono>

#include "files/BundleCursor.h"
#include "files/BundleForms.h"
#include "files/ByteOrder.h"
#include "files/File.h"
#include "files/FileSystem.h"
#include "files/UnpackTarget.h"
#include "store/Logger.h"

namespace QX::Store {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void Fail(Logger* logger, std::string const& text) {
  if (logger) logger->Message(text.c_str());
  throw Exception(text);
}

std::string VersionMismatch(BundleCursor const& in, uint32_t expected, uint32_t actual) {
  return "Version mismatched: " + PathToUtf8(in.Path()) + "; Expected " +
         std::to_string(expected) + "; Actual " + std::to_string(actual);
}

// A name record: tag, n, then n bytes of name behind a head of `head` bytes.
std::string TakeName(BundleCursor& in, size_t head) {
  in.Require(8);
  uint32_t const n = in.Word(4);
  in.Require(uint64_t(head) + n);
  auto const bytes = in.Bytes(head, n);
  return std::string(bytes.begin(), bytes.end());
}

// Reads the table of a new-form bundle through its end record. Directories
// go to `out` when unpacking. The files lie behind the end record, one after
// the other; each must lie within the bundle.
std::vector<BundleEntry> ReadNewTable(BundleCursor& in, UnpackTarget* out) {
  std::vector<BundleEntry> entries;
  while (in.More()) {
    uint32_t const tag = in.Word(0);
    if (tag == kBundleEndTag) {
      in.Skip(4);
      uint64_t offset = in.Position();
      for (BundleEntry& entry : entries) {
        if (entry.size > in.FileSize() - offset) in.Corrupt();
        entry.offset = offset;
        offset += entry.size;
      }
      return entries;
    }
    if (tag == kBundleVersionTag) {
      in.Require(8);
      if (in.Word(4) != kNewBundleVersion)
        in.Fail(VersionMismatch(in, kNewBundleVersion, in.Word(4)));
      in.Skip(8);
    } else if (tag == kBundleDirectoryTag) {
      std::string const name = TakeName(in, 8);
      if (out) out->Directory(name, false);
      in.Skip(8 + name.size());
    } else if (tag == kBundleTableFileTag) {
      in.Require(16);
      uint64_t const size = in.Long(8);
      std::string name = TakeName(in, 16);
      in.Skip(16 + name.size());
      entries.push_back(BundleEntry{std::move(name), size, 0});
    } else {
      in.Fail("Unexpected code: " + PathToUtf8(in.Path()));
    }
  }
  in.Corrupt();  // no end of the table
}

void UnpackNewForm(BundleCursor& in, UnpackTarget& out) {
  for (BundleEntry const& entry : ReadNewTable(in, &out)) {
    out.BeginFile(entry.name);
    in.Stream(entry.size, [&](std::span<uint8_t const> bytes) { out.Write(bytes); });
    out.EndFile();
  }
}

std::unique_ptr<File> OpenBundle(fs::path const& path, FileSystem& file_system) {
  std::unique_ptr<File> file = file_system.NewFile(path);
  file->OpenRead(false);
  return file;
}

unsigned MillisecondsSince(std::chrono::steady_clock::time_point start) {
  return unsigned(std::chrono::duration_cast<std::chrono::milliseconds>(
                      std::chrono::steady_clock::now() - start)
                      .count());
}

}  // namespace

uint32_t BundleFormOf(File& bundle, fs::path const& path, Logger* logger) {
  uint8_t head[8];
  if (bundle.Seek(0, kSeekBegin) != 0 || bundle.Read(head, 8) != 8)
    Fail(logger, "File corrupt: " + PathToUtf8(path));
  uint32_t const first = GetU32(head);
  if (first == kBundleCompressedTag) return kOldBundleForm;
  if (first != kBundleVersionTag) Fail(logger, "File corrupt: " + PathToUtf8(path));
  uint32_t const version = GetU32(head + 4);
  if (version == kOldBundleVersion) return kOldBundleForm;
  if (version == kNewBundleVersion) return kNewBundleForm;
  Fail(logger, "Invalid qxz version: " + PathToUtf8(path));
}

uint32_t QueryBundleForm(fs::path const& path, FileSystem& file_system, Logger* logger) {
  fs::path const normal = file_system.Normalize(path);
  if (!file_system.IsRegularFile(normal))
    Fail(logger, "Given .qxz input path invalid: " + PathToUtf8(normal));
  std::unique_ptr<File> file = OpenBundle(normal, file_system);
  if (!file->IsOpen()) Fail(logger, "Unable to open file: " + PathToUtf8(normal));
  return BundleFormOf(*file, normal, logger);
}

std::vector<BundleEntry> ReadBundleTable(File& bundle, fs::path const& path, Logger* logger) {
  BundleCursor in(bundle, path, logger);
  return ReadNewTable(in, nullptr);
}

void UnpackBundleFile(File& bundle, fs::path const& path, FileSystem& file_system,
                      fs::path const& output, Logger* logger) {
  uint32_t const form = BundleFormOf(bundle, path, logger);
  BundleCursor in(bundle, path, logger);
  UnpackTarget out(file_system, output, in);
  if (form == kOldBundleForm)
    UnpackOldForm(in, out);
  else
    UnpackNewForm(in, out);
}

void UnpackBundle(std::string const& input, std::string const& output, FileSystem& file_system,
                  Logger* logger) {
  auto const start = std::chrono::steady_clock::now();
  fs::path const from = file_system.Normalize(PathFromUtf8(input));
  fs::path const to = file_system.Normalize(PathFromUtf8(output));
  if (!file_system.IsRegularFile(from))
    Fail(logger, "Given .qxz input path invalid: " + PathToUtf8(from));
  if (file_system.Exists(to)) Fail(logger, "Given .qxz output path invalid: " + PathToUtf8(to));
  std::unique_ptr<File> file = OpenBundle(from, file_system);
  if (!file->IsOpen()) Fail(logger, "Unable to open file: " + PathToUtf8(from));
  UnpackBundleFile(*file, from, file_system, to, logger);
  if (logger) {
    std::string const line = "Decompressed " + PathToUtf8(from) + " to " + PathToUtf8(to) +
                             " in " + std::to_string(MillisecondsSince(start)) + " ms.";
    logger->Message(line.c_str());
  }
}

std::unique_ptr<Bundle> LoadBundleTable(fs::path const& path, FileSystem& file_system) {
  fs::path const normal = file_system.Normalize(path);
  if (!file_system.IsRegularFile(normal)) return nullptr;
  std::unique_ptr<File> file = OpenBundle(normal, file_system);
  if (!file->IsOpen()) return nullptr;
  try {
    if (BundleFormOf(*file, normal, nullptr) != kNewBundleForm) return nullptr;
    std::vector<BundleEntry> entries = ReadBundleTable(*file, normal, nullptr);
    file->Close();
    return std::make_unique<Bundle>(file_system, normal, std::move(entries));
  } catch (std::exception const&) {
    return nullptr;
  }
}

}  // namespace QX::Store
