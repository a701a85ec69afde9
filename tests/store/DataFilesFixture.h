#pragma once
// A cache over a fresh directory, a logger that keeps its lines, and a way to
// close and reopen the model, for the tests of a model's data files.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "store/Cache.h"
#include "store/Logger.h"
#include "store/Model.h"
#include "store/ModelImpl.h"
#include "tests/support/TempDir.h"

namespace QX::Store::testing {

class LineLogger final : public Logger {
 public:
  void Message(char const* text) override { lines.emplace_back(text); }
  bool Saw(std::string const& line) const {
    for (auto const& l : lines) {
      if (l == line) return true;
    }
    return false;
  }
  std::vector<std::string> lines;
};

class DataFilesTest : public ::testing::Test {
 protected:
  DataFilesTest() : cache_(Cache::Open(&logger)) { Reopen(); }
  ~DataFilesTest() override { model = Model(); }

  // Closes the model (writing its digest) and opens it again.
  void Reopen(bool read_only = false) {
    model = Model();
    model = cache_.OpenModel(ModelPath().c_str(), read_only);
  }
  void Close() { model = Model(); }

  ModelImpl& impl() { return model.Impl(); }
  std::string ModelPath() const { return (dir_.Path() / "model").string(); }
  std::filesystem::path FilePath(char const* name) const { return dir_.Path() / "model" / name; }
  uintmax_t FileSize(char const* name) const { return std::filesystem::file_size(FilePath(name)); }

  LineLogger logger;
  Model model;

 private:
  qx_test::TempDir dir_;
  Cache cache_;
};

}  // namespace QX::Store::testing
