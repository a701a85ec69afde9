// The new bundle form as written by WriteBundle and read in place: the table,
// the files in it as File objects, and the one bundle file they share.
#include <gtest/gtest.h>

#include <random>

#include "files/Bundle.h"
#include "files/BundleReader.h"
#include "files/BundleWriter.h"
#include "files/File.h"
#include "files/FileSystem.h"
#include "files/ModelFileSet.h"
#include "files/OpenFiles.h"
#include "store/Logger.h"
#include "tests/files/BundleSupport.h"
#include "tests/support/TempDir.h"

namespace {

using namespace QX::Store;
namespace fs = std::filesystem;

std::string RandomText(size_t n, unsigned seed) {
  std::mt19937 random(seed);
  std::string s(n, '\0');
  for (char& c : s) c = char(random());
  return s;
}

std::string ReadAll(File& file) {
  std::string s(size_t(file.Size()), '\0');
  file.Seek(0, kSeekBegin);
  s.resize(size_t(file.Read(s.data(), s.size())));
  return s;
}

class BundleFileTest : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(dir / "model");
    for (auto const& [name, text] : contents) qx_test::WriteText(dir / "model" / name, text);
    WriteBundle(dir / "model", {"_a.qxi", "_empty.qxi", "_c.qxd"}, bundle, DefaultFiles(), nullptr);
    ASSERT_TRUE(set.Load());
  }
  // A file of the bundle, opened through the model's file set.
  std::unique_ptr<File> Open(std::string const& name) {
    std::unique_ptr<File> file = DefaultFiles().NewFile();
    set.OpenFile(*file, name);
    return file;
  }

  qx_test::TempDir dir;
  fs::path const bundle = dir / "model.qxz";
  std::vector<std::pair<std::string, std::string>> const contents = {
      {"_a.qxi", RandomText(5000, 1)}, {"_empty.qxi", ""}, {"_c.qxd", "abc"}};
  ModelFileSet set{&DefaultFiles(), bundle, true, true};
};

TEST_F(BundleFileTest, TableGivesEachFileItsSizeAndPlace) {
  EXPECT_EQ(QueryBundleForm(bundle, DefaultFiles(), nullptr), kNewBundleForm);
  std::unique_ptr<Bundle> loaded = LoadBundleTable(bundle, DefaultFiles());
  ASSERT_TRUE(loaded);
  auto const& entries = loaded->Entries();
  ASSERT_EQ(entries.size(), 3u);
  EXPECT_EQ(entries[0].name, "_a.qxi");
  EXPECT_EQ(entries[0].size, 5000u);
  EXPECT_EQ(entries[1].size, 0u);
  EXPECT_EQ(entries[1].offset, entries[0].offset + 5000);
  EXPECT_EQ(entries[2].offset, entries[1].offset);  // behind a file of size 0
  EXPECT_EQ(entries[2].offset + 3, fs::file_size(bundle));
}

TEST_F(BundleFileTest, FilesReadInPlaceAsWritten) {
  for (auto const& [name, text] : contents) {
    std::unique_ptr<File> file = Open(name);
    ASSERT_EQ(file->State(), FileState::OpenForReading) << name;
    EXPECT_EQ(ReadAll(*file), text) << name;
    EXPECT_EQ(file->Write("x", 1), 0u);
  }
}

TEST_F(BundleFileTest, SeeksStayWithinTheFile) {
  std::unique_ptr<File> file = Open("_c.qxd");
  char byte = 0;
  EXPECT_EQ(file->Seek(-1, kSeekEnd), 2);
  EXPECT_EQ(file->Read(&byte, 5), 1u);
  EXPECT_EQ(byte, 'c');
  EXPECT_EQ(file->Seek(3, kSeekBegin), 3);
  EXPECT_EQ(file->Read(&byte, 1), 0u);
  EXPECT_EQ(file->Seek(1, kSeekCurrent), -1);
  EXPECT_EQ(file->Read(&byte, 1), 0u);
  EXPECT_EQ(file->Seek(-1, kSeekBegin), -1);
  EXPECT_EQ(file->Seek(1, kSeekBegin), 1);
  EXPECT_EQ(file->Read(&byte, 1), 1u);
  EXPECT_EQ(byte, 'b');
}

TEST_F(BundleFileTest, UnknownFileStaysFailed) {
  std::unique_ptr<File> file = Open("_missing.qxi");
  char byte = 0;
  EXPECT_EQ(file->State(), FileState::Failed);
  EXPECT_EQ(file->Read(&byte, 1), 0u);
  EXPECT_FALSE(fs::exists(dir / "model.qxz" / "_missing.qxi"));
}

TEST_F(BundleFileTest, FilesShareOneBundleFileThatCountsTwice) {
  Bundle const& shared = *set.LoadedBundle();
  std::unique_ptr<File> a = DefaultFiles().NewFile();
  std::unique_ptr<File> c = DefaultFiles().NewFile();
  int64_t const before = OpenFileCount();
  set.OpenFile(*a, "_a.qxi");
  set.OpenFile(*c, "_c.qxd");
  EXPECT_EQ(shared.OpenCount(), 2u);
  EXPECT_FALSE(shared.FileOpen());  // nothing read yet
  ReadAll(*a);
  ReadAll(*c);
  EXPECT_TRUE(shared.FileOpen());
  EXPECT_EQ(OpenFileCount(), before + 2);
  a->Close();
  EXPECT_TRUE(shared.FileOpen());
  EXPECT_EQ(ReadAll(*c), "abc");
  c->Close();
  EXPECT_FALSE(shared.FileOpen());
  EXPECT_EQ(OpenFileCount(), before);
  // A closed file goes back to its entry, from the start.
  set.OpenFile(*c, "_c.qxd");
  EXPECT_EQ(ReadAll(*c), "abc");
  EXPECT_EQ(shared.OpenCount(), 1u);
}

TEST_F(BundleFileTest, OldBundleIsNotReadInPlace) {
  std::vector<uint8_t> old = {90, 0, 0, 0, 1, 0, 0, 0};
  qx_test::WriteText(dir / "old.qxz", std::string(old.begin(), old.end()));
  EXPECT_EQ(QueryBundleForm(dir / "old.qxz", DefaultFiles(), nullptr), kOldBundleForm);
  EXPECT_FALSE(LoadBundleTable(dir / "old.qxz", DefaultFiles()));
  ModelFileSet old_set(&DefaultFiles(), dir / "old.qxz", true, true);
  EXPECT_FALSE(old_set.Load());
}

TEST_F(BundleFileTest, UnpacksIntoANewDirectoryOnly) {
  UnpackBundle(bundle.string(), (dir / "out").string(), DefaultFiles(), nullptr);
  for (auto const& [name, text] : contents) EXPECT_EQ(qx_test::ReadText(dir / "out" / name), text);

  fs::create_directories(dir / "taken");
  qx_test::KeptLines log;
  std::string const message = "Given .qxz output path invalid: " + (dir / "taken").string();
  try {
    UnpackBundle(bundle.string(), (dir / "taken").string(), DefaultFiles(), &log);
    ADD_FAILURE() << "unpacked into an existing directory";
  } catch (Exception const& e) {
    EXPECT_EQ(e.what(), message);
  }
  EXPECT_EQ(log.lines, std::vector<std::string>{message});
  EXPECT_TRUE(fs::is_empty(dir / "taken"));
}

TEST_F(BundleFileTest, FailedWriteKeepsTheOldBundle) {
  std::string const before = qx_test::ReadText(bundle);
  EXPECT_THROW(WriteBundle(dir / "model", {"_a.qxi", "_gone.qxi"}, bundle, DefaultFiles(), nullptr),
               Exception);
  EXPECT_EQ(qx_test::ReadText(bundle), before);
  EXPECT_FALSE(fs::exists(dir / "model.qxz.partial"));
}

}  // namespace
