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
#include "tests/files/BundleSupport.h"
#include "tests/support/TempDir.h"

namespace {

using namespace QX::Store;
namespace fs = std::filesystem;

std::string ReadAll(File& file) {
  std::string s(size_t(file.Size()), '\0');
  file.Seek(0, kSeekBegin);
  s.resize(size_t(file.Read(s.data(), s.size())));
  return s;
}

class BundleFileTest : public testing::Test {
 protected:
  void SetUp() override {
    std::mt19937 random(1);
    for (char& c : contents[0].second) c = char(random());
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
  std::vector<std::pair<std::string, std::string>> contents = {
      {"_a.qxi", std::string(5000, '\0')}, {"_empty.qxi", ""}, {"_c.qxd", "abc"}};
  ModelFileSet set{&DefaultFiles(), bundle, true, true};
};

// The table gives each file its size and place; files read in place as
// written, and never write.
TEST_F(BundleFileTest, FilesReadInPlaceAsWritten) {
  EXPECT_EQ(QueryBundleForm(bundle, DefaultFiles(), nullptr), kNewBundleForm);
  std::unique_ptr<Bundle> loaded = LoadBundleTable(bundle, DefaultFiles());
  ASSERT_TRUE(loaded);
  auto const& entries = loaded->Entries();
  ASSERT_EQ(entries.size(), 3u);
  EXPECT_EQ(entries[0].name, "_a.qxi");
  EXPECT_EQ(entries[1].offset, entries[0].offset + 5000);
  EXPECT_EQ(entries[2].offset, entries[1].offset);  // behind a file of size 0
  EXPECT_EQ(entries[2].offset + 3, fs::file_size(bundle));
  for (auto const& [name, text] : contents) {
    std::unique_ptr<File> file = Open(name);
    ASSERT_EQ(file->State(), FileState::OpenForReading) << name;
    EXPECT_EQ(ReadAll(*file), text) << name;
    EXPECT_EQ(file->Write("x", 1), 0u);
  }
  char byte = 0;
  std::unique_ptr<File> missing = Open("_missing.qxi");
  EXPECT_EQ(missing->State(), FileState::Failed);
  EXPECT_EQ(missing->Read(&byte, 1), 0u);
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

// The bundle file is opened at the first read and closed with the last
// file; it counts as an open file while open.
TEST_F(BundleFileTest, FilesShareOneBundleFile) {
  Bundle const& shared = *set.LoadedBundle();
  int64_t const before = OpenFileCount();
  std::unique_ptr<File> a = Open("_a.qxi");
  std::unique_ptr<File> c = Open("_c.qxd");
  EXPECT_EQ(shared.OpenCount(), 2u);
  EXPECT_FALSE(shared.FileOpen());
  ReadAll(*a);
  ReadAll(*c);
  EXPECT_EQ(OpenFileCount(), before + 2);
  a->Close();
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
  qx_test::WriteText(dir / "old.qxz", std::string("Z\0\0\0\1\0\0\0", 8));
  EXPECT_EQ(QueryBundleForm(dir / "old.qxz", DefaultFiles(), nullptr), kOldBundleForm);
  EXPECT_FALSE(LoadBundleTable(dir / "old.qxz", DefaultFiles()));
  EXPECT_FALSE(ModelFileSet(&DefaultFiles(), dir / "old.qxz", true, true).Load());
}

// Unpacking goes into a new directory only; a failed write keeps the old bundle.
TEST_F(BundleFileTest, UnpackAndRewrite) {
  UnpackBundle(bundle.string(), (dir / "out").string(), DefaultFiles(), nullptr);
  for (auto const& [name, text] : contents) EXPECT_EQ(qx_test::ReadText(dir / "out" / name), text);
  fs::create_directories(dir / "taken");
  qx_test::KeptLines log;
  std::string const message = "Given .qxz output path invalid: " + (dir / "taken").string();
  EXPECT_THROW(UnpackBundle(bundle.string(), (dir / "taken").string(), DefaultFiles(), &log), Exception);
  EXPECT_EQ(log.lines, std::vector<std::string>{message});
  EXPECT_TRUE(fs::is_empty(dir / "taken"));

  std::string const before = qx_test::ReadText(bundle);
  EXPECT_THROW(WriteBundle(dir / "model", {"_a.qxi", "_gone.qxi"}, bundle, DefaultFiles(), nullptr), Exception);
  EXPECT_EQ(qx_test::ReadText(bundle), before);
  EXPECT_FALSE(fs::exists(dir / "model.qxz.partial"));
}

}  // namespace
