#include "files/FileSystem.h"

#include <gtest/gtest.h>

#include "files/File.h"
#include "tests/support/TempDir.h"

using namespace QX::Store;
namespace fs = std::filesystem;

namespace {

TEST(FileSystem, NormalizeByText) {
  FileSystem& files = DefaultFiles();
  EXPECT_EQ(files.Normalize("a/b/../c/./d"), fs::path("a/c/d"));
  EXPECT_EQ(files.Normalize("../../x"), fs::path("../../x"));
  EXPECT_EQ(files.Normalize("a/../../x"), fs::path("../x"));
  EXPECT_EQ(files.Normalize("/a/b/../../.."), fs::path("/"));
  EXPECT_EQ(files.Normalize("./a/."), fs::path("a"));
  EXPECT_TRUE(files.Normalize("x/y/..").is_relative());
}

TEST(FileSystem, NormalizeKeepsParentOfSymlinkedDirectory) {
  qx_test::TempDir dir;
  fs::create_directories(dir / "real/sub");
  fs::create_directory_symlink(dir / "real/sub", dir / "link");
  fs::path const through = DefaultFiles().Normalize(dir / "link/../x");
  EXPECT_EQ(through, dir / "link/../x");
  fs::path const plain = DefaultFiles().Normalize(dir / "real/sub/../x");
  EXPECT_EQ(plain, dir / "real/x");
}

TEST(FileSystem, BackslashIsASeparator) {
  EXPECT_EQ(PathFromUtf8("C:\\work\\tmp"), fs::path("C:/work/tmp"));
  EXPECT_EQ(PathFromUtf8("/tmp/qx\\tmp").filename(), fs::path("tmp"));
  EXPECT_EQ(PathToUtf8(PathFromUtf8("/d\xC3\xA9j\xC3\xA0")), "/d\xC3\xA9j\xC3\xA0");
}

TEST(FileSystem, DirectoryOperations) {
  qx_test::TempDir dir;
  FileSystem& files = DefaultFiles();
  EXPECT_TRUE(files.IsEmptyDirectory(dir.Path()));
  EXPECT_TRUE(files.CreateDirectory(dir / "m"));
  EXPECT_FALSE(files.CreateDirectory(dir / "m"));
  EXPECT_TRUE(files.CreateDirectories(dir / "a/b/c"));
  qx_test::WriteText(dir / "m/f", "x");
  EXPECT_TRUE(files.IsRegularFile(dir / "m/f"));
  EXPECT_TRUE(files.IsDirectory(dir / "m"));
  EXPECT_FALSE(files.IsEmptyDirectory(dir / "m"));
  EXPECT_FALSE(files.IsEmptyDirectory(dir / "m/f"));

  std::vector<fs::path> entries;
  files.ListDirectory(dir.Path(), entries);
  EXPECT_EQ(entries.size(), 2u);

  EXPECT_TRUE(files.Rename(dir / "m/f", dir / "m/g"));
  EXPECT_FALSE(files.Rename(dir / "m/f", dir / "m/h"));
  EXPECT_TRUE(files.Remove(dir / "m/g"));
  EXPECT_FALSE(files.Remove(dir / "m/g"));
  EXPECT_EQ(files.RemoveAll(dir / "a"), 3u);
  EXPECT_FALSE(files.Exists(dir / "a"));

  std::unique_ptr<File> file = files.NewFile(dir / "n");
  EXPECT_EQ(file->State(), FileState::Closed);
  EXPECT_EQ(file->Path(), dir / "n");
}

}  // namespace
