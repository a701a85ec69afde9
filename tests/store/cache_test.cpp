// Handles, the cache's registry and model ids, and the model lifecycle.
#include <filesystem>

#include "store/CacheImpl.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

namespace fs = std::filesystem;

TEST(StoreHandles, EmptyHandlesThrowAndTheEmptyModelNeedsNoFiles) {
  Model model;
  EXPECT_EQ(ThrownText([&] { model.Name(); }), "Used an invalid Model");
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(RGBAColor{}); }), "Used an invalid Model");
  EXPECT_THROW(model.Impl(), std::runtime_error);  // the store's exception is a runtime_error too
  Cache cache;
  EXPECT_EQ(ThrownText([&] { cache.OpenModel("x", true); }), "Used an invalid Cache");
  ForwardingFiles files;
  KeptLines log;
  cache = Cache::Open(&log, &files);  // an assigned handle works
  Model empty = cache.OpenModel("_empty", true);
  EXPECT_EQ(ThrownText([&] { empty.InsertMaterial(RGBAColor{}); }), "Attempted to modify a read only model.");
  EXPECT_EQ(cache.OpenModel("_empty", true), empty);
  empty = Model();
  cache = Cache();
  EXPECT_EQ(files.calls, 0);
  EXPECT_EQ(log.lines, std::vector<std::string>{"Closing cache: (0, 0)"});
}

using CacheTest = StoreTest;

TEST_F(CacheTest, FailuresOfOpening) {
  std::string const missing_parent = PathOf("no/such/model");
  EXPECT_EQ(ThrownText([&] { cache.OpenModel(missing_parent.c_str(), false); }),
            "Creating model requires parent path exist: " + PathOf("no/such"));
  EXPECT_EQ(ThrownText([&] { Open("new", true); }), "Creating model attempted with read only: " + PathOf("new"));
  qx_test::WriteText(dir.Path() / "file", "x");
  EXPECT_EQ(ThrownText([&] { Open("file"); }), "Could not create: " + PathOf("file"));
  CacheImpl& impl = cache.Impl();
  EXPECT_EQ(ThrownText([&] { impl.OpenWithMode(PathOf("gone"), kOpenReadOnly); }),
            "Creating model attempted with read only cache: " + PathOf("gone"));
  fs::create_directory(dir.Path() / "nodigest");
  EXPECT_EQ(ThrownText([&] { impl.OpenWithMode(PathOf("nodigest"), kOpenReadOnly); }),
            "Model missing digest: " + PathOf("nodigest"));
  // A digest without a default object can only be opened for writing.
  WriteDigest("bare", Put().U32({86, 72}).data);
  EXPECT_EQ(ThrownText([&] { Open("bare", true); }), "Attempted to modify a read only model.");
  EXPECT_NO_THROW(Open("bare"));
}

// A read-only model keeps its digest; a directory in place of the tree file
// is no tree, and one in place of the data file can't be opened.
TEST_F(CacheTest, ReadOnlyModelAndFilesThatCantBeOpened) {
  Open("m") = Model();
  auto const before = FileBytes("m", kDigestName);
  fs::create_directory(FileOf("m", kStreamBoundingName));
  fs::create_directory(FileOf("m", kDataName));
  Model model = Open("m", true);
  ModelImpl& impl = model.Impl();
  EXPECT_EQ(log.Count("Invalid bounding tree file found: "), 1);
  EXPECT_EQ(ThrownText([&] { impl.WriteDigest(); }), "Attempted to modify a read only model.");
  EXPECT_EQ(impl.EnsureOpen(*impl.data_file, kDataName, false), nullptr);
  EXPECT_EQ(ThrownText([&] { impl.EnsureOpen(*impl.data_file, kDataName, true); }),
            "Unable to open file: " + FileOf("m", kDataName).string());
  EXPECT_EQ(log.Count("Unable to open file: "), 1);
  // Changes made behind the handle's back are lost at close, with a line.
  impl.dirty = true;
  model = Model();
  EXPECT_EQ(log.Count("Unable to write digest model is read only."), 1);
  EXPECT_EQ(FileBytes("m", kDigestName), before);
}

}  // namespace
}  // namespace qx_store_test
