// The new bundle form written by WriteBundle and read in place, its files as
// File objects sharing one bundle file; unpacking bundles built record by
// record: the old form's compressed stretches, and the errors of both forms.
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
using qx_test::BundleBytes;
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
  EXPECT_THROW(UnpackBundle(bundle.string(), (dir / "taken").string(), DefaultFiles(), &log), Exception);
  EXPECT_EQ(log.lines, std::vector<std::string>{"Given .qxz output path invalid: " + (dir / "taken").string()});
  EXPECT_TRUE(fs::is_empty(dir / "taken"));
  std::string const before = qx_test::ReadText(bundle);
  EXPECT_THROW(WriteBundle(dir / "model", {"_a.qxi", "_gone.qxi"}, bundle, DefaultFiles(), nullptr), Exception);
  EXPECT_EQ(qx_test::ReadText(bundle), before);
  EXPECT_FALSE(fs::exists(dir / "model.qxz.partial"));
}

class BundleForms : public testing::Test {
 protected:
  fs::path Write(BundleBytes const& b, std::string const& name = "b.qxz") {
    qx_test::WriteText(dir / name, std::string(b.bytes.begin(), b.bytes.end()));
    return dir / name;
  }
  // The text of the failure of unpacking `b` into out/, checked to be logged.
  std::string UnpackFailure(BundleBytes const& b) {
    qx_test::KeptLines log;
    try {
      UnpackBundle(Write(b).string(), (dir / "out").string(), DefaultFiles(), &log);
    } catch (Exception const& e) {
      EXPECT_EQ(log.lines.back(), e.what());
      return e.what();
    }
    return "<unpacked>";
  }

  qx_test::TempDir dir;
};

class OldFormMethods : public BundleForms, public testing::WithParamInterface<uint32_t> {};

TEST_P(OldFormMethods, CompressedStretchesContinueTheRun) {
  std::string const a = qx_test::Compressible(3000, 'a');
  std::string const b = qx_test::Compressible(700, 'k');
  std::string const c = qx_test::Compressible(800, 'p');
  // The inner stretch ends in the middle of the data record of a, whose
  // last bytes follow the outer stretch uncompressed.
  BundleBytes inner;
  inner.File("_a.qxi").Word(kBundleDataTag).Word(uint32_t(a.size())).Raw(a.substr(0, 2000));
  BundleBytes outer;
  outer.Directory(".").File("_c.qxi").Data(c).Compressed(inner, GetParam());
  BundleBytes bundle;
  bundle.Version(2).Compressed(outer, GetParam()).Raw(a.substr(2000));
  bundle.Directory("sub/deep").File("_b.qxi").Data(b).Directory("x").Directory("y").End();
  UnpackBundle(Write(bundle).string(), (dir / "out").string(), DefaultFiles(), nullptr);
  EXPECT_EQ(qx_test::ReadText(dir / "out" / "_a.qxi"), a);
  EXPECT_EQ(qx_test::ReadText(dir / "out" / "_c.qxi"), c);
  EXPECT_EQ(qx_test::ReadText(dir / "out" / "sub" / "deep" / "_b.qxi"), b);
  EXPECT_TRUE(fs::is_directory(dir / "out" / "y"));  // named from the root, not from x
  EXPECT_FALSE(fs::exists(dir / "out" / "x" / "y"));
}

INSTANTIATE_TEST_SUITE_P(ZstdAndLz4, OldFormMethods, testing::Values(1u, 0u));

TEST_F(BundleForms, RunMayStartCompressedAndEndWithTheFile) {
  std::string const a = qx_test::Compressible(1000, 'a');
  BundleBytes inner;
  inner.Directory(".").File("_a.qxi").Data(a);
  BundleBytes bundle;
  bundle.Compressed(inner, 1);
  EXPECT_EQ(QueryBundleForm(Write(bundle), DefaultFiles(), nullptr), kOldBundleForm);
  qx_test::KeptLines log;
  UnpackBundle(Write(bundle).string(), (dir / "out").string(), DefaultFiles(), &log);
  EXPECT_EQ(qx_test::ReadText(dir / "out" / "_a.qxi"), a);
  ASSERT_EQ(log.lines.size(), 1u);
  EXPECT_TRUE(log.lines[0].starts_with("Decompressed " + (dir / "b.qxz").string() + " to " +
                                       (dir / "out").string() + " in "));
}

// A table without files is empty; one longer than a read loads whole.
TEST_F(BundleForms, NewFormTables) {
  std::unique_ptr<Bundle> empty = LoadBundleTable(Write(BundleBytes().Version(3).Directory(".").End()), DefaultFiles());
  ASSERT_TRUE(empty);
  EXPECT_TRUE(empty->Entries().empty());
  EXPECT_EQ(empty->Find("_digest.qxi"), Bundle::npos);
  BundleBytes bundle;
  bundle.Version(3).Directory(".");
  for (int i = 0; i < 300; ++i) bundle.TableFile(std::string(4000, 'n') + std::to_string(i), 0);
  bundle.TableFile("_last", 4).End().Raw("last");
  ASSERT_GT(bundle.bytes.size(), 1u << 20);
  std::unique_ptr<Bundle> loaded = LoadBundleTable(Write(bundle), DefaultFiles());
  ASSERT_TRUE(loaded);
  ASSERT_EQ(loaded->Entries().size(), 301u);
  EXPECT_EQ(loaded->Entries().back().offset, bundle.bytes.size() - 4);
}

TEST_F(BundleForms, FailuresNameTheirCause) {
  std::string const path = (dir / "b.qxz").string();
  struct Case {
    char const* what;
    BundleBytes bundle;
    std::string expected;
  };
  std::vector<Case> const cases = {
      {"unknown version", BundleBytes().Version(7), "Invalid qxz version: " + path},
      {"not a bundle", BundleBytes().Word(0x12345678).Word(2), "File corrupt: " + path},
      {"short head", BundleBytes().Word(kBundleVersionTag), "File corrupt: " + path},
      {"second version", BundleBytes().Version(2).Version(3), "Version mismatched: " + path + "; Expected 2; Actual 3"},
      {"3 then 2", BundleBytes().Version(3).Version(2), "Version mismatched: " + path + "; Expected 3; Actual 2"},
      {"unknown tag", BundleBytes().Version(2).Directory(".").Word(77), "Unexpected code: " + path},
      {"file record in the new form", BundleBytes().Version(3).File("_a"), "Unexpected code: " + path},
      {"no end", BundleBytes().Version(2).Directory(".").File("_a").Data("x"), "File corrupt: " + path},
      {"name leaves the root", BundleBytes().Version(2).Directory("../escape"), "File corrupt: " + path},
      {"absolute name", BundleBytes().Version(2).Directory(".").File("/tmp/x"), "File corrupt: " + path},
      {"data without a file", BundleBytes().Version(2).Data("abc").End(), "File corrupt: " + path},
      {"size beyond the file", BundleBytes().Version(2).Word(kBundleDataTag).Word(1u << 31), "File corrupt: " + path},
      {"new form file beyond the bundle", BundleBytes().Version(3).Directory(".").TableFile("_a", 1u << 30).End(),
       "File corrupt: " + path},
      {"empty", BundleBytes(), "File corrupt: " + path},
  };
  for (Case const& c : cases) {
    EXPECT_EQ(UnpackFailure(c.bundle), c.expected) << c.what;
    fs::remove_all(dir / "out");
  }
  EXPECT_FALSE(fs::exists(dir.Path().parent_path() / "escape"));
}

TEST_F(BundleForms, MissingInputIsNamed) {
  std::string const missing = (dir / "none.qxz").string();
  qx_test::KeptLines log;
  EXPECT_THROW(QueryBundleForm(missing, DefaultFiles(), &log), Exception);
  EXPECT_EQ(log.lines, std::vector<std::string>{"Given .qxz input path invalid: " + missing});
  EXPECT_FALSE(LoadBundleTable(missing, DefaultFiles()));
}

}  // namespace
