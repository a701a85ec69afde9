#pragma once
// A cache over a fresh temporary directory with a logger that keeps its lines,
// little-endian bytes built in code, and a fixture with one model open.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "files/File.h"
#include "files/FileSystem.h"
#include "files/ByteOrder.h"
#include "store/Cache.h"
#include "store/Logger.h"
#include "store/Model.h"
#include "store/ModelImpl.h"
#include "tests/support/TempDir.h"

namespace qx_store_test {

using namespace QX::Store;

class KeptLines final : public Logger {
 public:
  void Message(char const* text) override { lines.emplace_back(text); }
  int Count(std::string const& prefix) const {
    return int(std::ranges::count_if(lines, [&](std::string const& l) { return l.starts_with(prefix); }));
  }
  std::vector<std::string> lines;
};

// Little-endian bytes built in code, in lists of one width each.
struct Put {
  Put& U8(std::initializer_list<uint8_t> v) { return data.insert(data.end(), v), *this; }
  Put& U32(std::initializer_list<uint32_t> v) { return Each(v, PutU32); }
  Put& U64(std::initializer_list<uint64_t> v) { return Each(v, PutU64); }
  Put& I64(std::initializer_list<int64_t> v) { return Each(v, PutI64); }
  Put& F32(std::initializer_list<float> v) { return Each(v, PutF32); }
  Put& F64(std::initializer_list<double> v) { return Each(v, PutF64); }
  Put& Text(std::string const& s) { return PutBytes(data, s.data(), s.size()), *this; }
  Put& CText(std::string const& s) { return Text(s).U8({0}); }  // with its terminating zero
  Put& Add(std::vector<uint8_t> const& more) { return data.insert(data.end(), more.begin(), more.end()), *this; }
  template <class T>
  Put& Each(std::initializer_list<T> values, void (*put)(Bytes&, T)) {
    for (T v : values) put(data, v);
    return *this;
  }

  std::vector<uint8_t> data;
};

// Runs `call` and returns the text of the QX::Store::Exception it throws.
template <class Call>
std::string ThrownText(Call call) {
  try {
    call();
  } catch (Exception const& e) {
    return e.what();
  }
  return "<nothing thrown>";
}

// The default file system, counting every question asked of it, and able to
// hand out file objects that can't be opened.
class ForwardingFiles final : public FileSystem {
 public:
  std::unique_ptr<File> NewFile(Path const& p) override {
    ++calls;
    return DefaultFiles().NewFile(fail_new_files ? Path("/nonexistent/qx/file") : p);
  }
  std::unique_ptr<File> NewFile() override { return DefaultFiles().NewFile(); }
  Path Normalize(Path const& p) override { return DefaultFiles().Normalize(p); }
  bool Exists(Path const& p) override { return ++calls, DefaultFiles().Exists(p); }
  bool IsDirectory(Path const& p) override { return ++calls, DefaultFiles().IsDirectory(p); }
  bool IsRegularFile(Path const& p) override { return ++calls, DefaultFiles().IsRegularFile(p); }
  bool IsSymlink(Path const& p) override { return ++calls, DefaultFiles().IsSymlink(p); }
  bool IsEmptyDirectory(Path const& p) override { return ++calls, DefaultFiles().IsEmptyDirectory(p); }
  void ListDirectory(Path const& p, std::vector<Path>& out) override { ++calls, DefaultFiles().ListDirectory(p, out); }
  uint64_t RemoveAll(Path const& p) override { return ++calls, DefaultFiles().RemoveAll(p); }
  bool Remove(Path const& p) override { return ++calls, DefaultFiles().Remove(p); }
  bool Rename(Path const& a, Path const& b) override { return ++calls, DefaultFiles().Rename(a, b); }
  bool CreateDirectory(Path const& p) override { return ++calls, DefaultFiles().CreateDirectory(p); }
  bool CreateDirectories(Path const& p) override { return ++calls, DefaultFiles().CreateDirectories(p); }

  int calls = 0;
  bool fail_new_files = false;
};

class StoreTest : public ::testing::Test {
 protected:
  StoreTest() : cache(Cache::Open(&log, &files)) {}

  std::string PathOf(std::string const& name) const { return (dir.Path() / name).string(); }
  std::filesystem::path FileOf(std::string const& model, char const* file) const { return dir.Path() / model / file; }
  Model Open(std::string const& name, bool read_only = false) {
    return cache.OpenModel(PathOf(name).c_str(), read_only);
  }
  std::vector<uint8_t> FileBytes(std::string const& model, char const* file) const {
    std::string const text = qx_test::ReadText(FileOf(model, file));
    return {text.begin(), text.end()};
  }
  // Writes a model directory whose digest holds exactly `bytes`.
  void WriteDigest(std::string const& model, std::vector<uint8_t> const& bytes) {
    std::filesystem::create_directories(dir.Path() / model);
    qx_test::WriteText(FileOf(model, kDigestName), std::string(bytes.begin(), bytes.end()));
  }

  qx_test::TempDir dir;
  KeptLines log;
  ForwardingFiles files;
  Cache cache;
};

// One model, "model", open for writing from the start.
class ModelTest : public StoreTest {
 protected:
  ModelTest() { Reopen(); }

  // Closes the model (writing its digest) and opens it again.
  void Reopen(bool read_only = false) {
    model = Model();
    model = Open("model", read_only);
  }
  ModelImpl& impl() { return model.Impl(); }
  std::filesystem::path FilePath(char const* name) const { return FileOf("model", name); }
  uintmax_t FileSize(char const* name) const { return std::filesystem::file_size(FilePath(name)); }

  Model model;
};

}  // namespace qx_store_test
