// Paths, directories and disk files, and the files of a model directory.
#include <gtest/gtest.h>

#include <string>

#include "files/DiskFile.h"
#include "files/FileSystem.h"
#include "files/ModelFileSet.h"
#include "files/OpenFiles.h"
#include "tests/support/TempDir.h"

using namespace QX::Store;
namespace fs = std::filesystem;

namespace {

TEST(FileSystem, NormalizeAndSeparators) {
  FileSystem& files = DefaultFiles();
  EXPECT_EQ(files.Normalize("a/b/../c/./d"), fs::path("a/c/d"));
  EXPECT_EQ(files.Normalize("../../x"), fs::path("../../x"));
  EXPECT_EQ(files.Normalize("a/../../x"), fs::path("../x"));
  EXPECT_EQ(files.Normalize("/a/b/../../.."), fs::path("/"));
  EXPECT_EQ(files.Normalize("./a/."), fs::path("a"));
  EXPECT_TRUE(files.Normalize("x/y/..").is_relative());
  // The parent of a symlinked directory is kept: it isn't the link's parent.
  qx_test::TempDir dir;
  fs::create_directories(dir / "real/sub");
  fs::create_directory_symlink(dir / "real/sub", dir / "link");
  EXPECT_EQ(files.Normalize(dir / "link/../x"), dir / "link/../x");
  EXPECT_EQ(files.Normalize(dir / "real/sub/../x"), dir / "real/x");
  // A backslash is a separator.
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

// Open and close, with and without create, and the count of open files.
TEST(DiskFile, OpeningReopeningAndOpenFileCount) {
  qx_test::TempDir dir;
  int64_t const before = OpenFileCount();
  DiskFile file(dir / "f");
  file.OpenRead(false);
  EXPECT_EQ(file.State(), FileState::Failed);
  EXPECT_FALSE(std::filesystem::exists(dir / "f"));
  EXPECT_EQ(OpenFileCount(), before);
  file.Close();
  file.OpenRead(true);  // create brings the file into being even for reading
  EXPECT_EQ(file.State(), FileState::OpenForReading);
  EXPECT_EQ(file.Size(), 0);
  file.OpenRead(true);  // already open for reading: nothing happens
  EXPECT_EQ(OpenFileCount(), before + 1);
  file.OpenWrite(false, false);  // the other mode: closed and reopened
  EXPECT_EQ(file.State(), FileState::OpenForWriting);
  EXPECT_EQ(OpenFileCount(), before + 1);
  file.Close();
  EXPECT_EQ(OpenFileCount(), before);
  DiskFile unnamed;
  unnamed.OpenRead(true);
  EXPECT_EQ(unnamed.State(), FileState::Failed);
  int64_t const limit = RaiseOpenFileLimit(2048);
  EXPECT_GE(limit, std::min<int64_t>(OpenFileLimit(), 2048));
  EXPECT_EQ(RaiseOpenFileLimit(4096), limit);  // raised once only
}

TEST(DiskFile, ReadWriteSeekAndTruncate) {
  qx_test::TempDir dir;
  DiskFile file(dir / "data");
  file.OpenWrite(true, true);
  ASSERT_EQ(file.State(), FileState::OpenForWriting);
  EXPECT_EQ(file.Write("hello world", 11), 11u);
  EXPECT_EQ(file.Seek(6, kSeekBegin), 6);
  char word[5] = {};
  EXPECT_EQ(file.Read(word, 5), 5u);
  EXPECT_EQ(std::string(word, 5), "world");
  EXPECT_EQ(file.Read(word, 5), 0u);
  EXPECT_EQ(file.Seek(-5, kSeekEnd), 6);
  EXPECT_EQ(file.Seek(-1, kSeekCurrent), 5);
  EXPECT_TRUE(file.SetEnd());
  EXPECT_EQ(file.Size(), 5);
  EXPECT_EQ(file.Seek(-1, kSeekBegin), -1);
  // Positions beyond 4 GiB work (the file stays sparse).
  int64_t const far = (int64_t{5} << 30) + 3;
  EXPECT_EQ(file.Seek(far, kSeekBegin), far);
  EXPECT_EQ(file.Write("x", 1), 1u);
  EXPECT_EQ(file.Size(), far + 1);
  file.Close();
  // Reading doesn't write; truncating on open replaces the old content.
  file.OpenRead(false);
  EXPECT_EQ(file.Write("y", 1), 0u);
  file.OpenWrite(true, true);
  EXPECT_EQ(file.Size(), 0);
}

TEST(DiskFile, WriterExcludesEveryoneReadersShare) {
  qx_test::TempDir dir;
  DiskFile writer(dir / "f"), reader(dir / "f"), second_reader(dir / "f"), other_writer(dir / "f");
  writer.OpenWrite(true, false);
  writer.Write("abc", 3);
  reader.OpenRead(false);
  EXPECT_EQ(reader.State(), FileState::SharingFailure);
  other_writer.OpenWrite(true, true);
  EXPECT_EQ(other_writer.State(), FileState::SharingFailure);
  EXPECT_EQ(writer.Size(), 3);  // the refused truncating writer left the content alone
  writer.Close();
  reader.OpenRead(false);
  second_reader.OpenRead(false);
  EXPECT_EQ(reader.State(), FileState::OpenForReading);
  EXPECT_EQ(second_reader.State(), FileState::OpenForReading);
  writer.OpenWrite(false, false);
  EXPECT_EQ(writer.State(), FileState::SharingFailure);
}

TEST(ModelFileSet, OpensModelFilesByName) {
  qx_test::TempDir dir;
  ModelFileSet writable(nullptr, dir.Path(), false, false);
  EXPECT_TRUE(writable.Load());
  DiskFile file;
  writable.OpenFile(file, "_digest.qxi");
  EXPECT_EQ(file.State(), FileState::OpenForWriting);
  EXPECT_EQ(file.Path(), dir / "_digest.qxi");
  // A read-only set still creates a missing file, but opens it for reading.
  ModelFileSet read_only(nullptr, dir.Path(), true, false);
  DiskFile data;
  read_only.OpenFile(data, "_data.qxi");
  EXPECT_EQ(data.State(), FileState::OpenForReading);
  EXPECT_TRUE(std::filesystem::exists(dir / "_data.qxi"));
  EXPECT_FALSE(ModelFileSet(nullptr, dir / "m.qxz", true, true).Load());
}

}  // namespace
