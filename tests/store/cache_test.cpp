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
  {
    Model empty = cache.OpenModel("_empty", true);
    EXPECT_EQ(empty.Impl().simple_colors.at(empty.Impl().materials.Find(0)->index), (RGBAColor{1, 0, 1, 1}));
    EXPECT_EQ(ThrownText([&] { empty.InsertMaterial(RGBAColor{}); }), "Attempted to modify a read only model.");
    EXPECT_EQ(cache.OpenModel("_empty", true), empty);
  }
  cache = Cache();
  EXPECT_EQ(files.calls, 0);
  EXPECT_EQ(log.lines, std::vector<std::string>{"Closing cache: (0, 0)"});
}

using CacheTest = StoreTest;

// A model is closed with the release of its last handle, writing its digest
// only when changed; its id stays known to the cache.
TEST_F(CacheTest, ModelsAreClosedAndOpenedAgain) {
  fs::create_directory(dir.Path() / "plain");  // a directory without a digest is made a model too
  Model first = Open("plain");
  EXPECT_EQ(cache.OpenModel((PathOf("plain") + "/./").c_str(), false), first);  // by another spelling
  ModelId const id = first.Impl().id;
  Model second = first;
  first = Model();
  EXPECT_EQ(log.Count("Write digest: "), 0);
  second = Model();
  EXPECT_EQ(log.Count("Write digest: "), 1);
  EXPECT_EQ(Open("plain").Impl().id, id);
  EXPECT_EQ(log.Count("Write digest: "), 1);  // opened and closed without change
  Model found = cache.Impl().FindModel(id);  // known by its id: read-only and quiet
  EXPECT_TRUE(found.Impl().read_only && found.Impl().quiet);
  EXPECT_FALSE(cache.Impl().FindModel(77));
}

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
  EXPECT_TRUE(Open("bare").Impl().materials.Contains(0));
}

TEST_F(CacheTest, ResolvesNamesUnderSearchPaths) {
  Open("found") = Model();
  cache.SetSearchPaths({dir.Path().string()});
  CacheImpl& impl = cache.Impl();
  EXPECT_STREQ(impl.ResolveModelPath("found"), PathOf("found").c_str());
  // The bundle extension is cut off before the directory is looked for.
  EXPECT_STREQ(impl.ResolveModelPath("found.qxz"), PathOf("found").c_str());
  for (char const* name : {".qxz", "missing", ""}) EXPECT_EQ(impl.ResolveModelPath(name), nullptr) << name;
  EXPECT_STREQ(impl.ResolveModelPath("_empty"), "_empty");
  // A directory that lost its digest is forgotten.
  fs::remove(FileOf("found", kDigestName));
  EXPECT_EQ(impl.ResolveModelPath("found"), nullptr);
  EXPECT_EQ(impl.FindEntry(PathOf("found")), nullptr);
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
  EXPECT_FALSE(impl.bounding_valid);
  EXPECT_EQ(log.Count("Invalid bounding tree file found: "), 1);
  EXPECT_EQ(ThrownText([&] { impl.WriteDigest(); }), "Attempted to modify a read only model.");
  EXPECT_EQ(impl.EnsureOpen(*impl.data_file, kDataName, false), nullptr);
  EXPECT_EQ(ThrownText([&] { impl.EnsureOpen(*impl.data_file, kDataName, true); }),
            "Unable to open file: " + FileOf("m", kDataName).string());
  EXPECT_EQ(log.Count("Unable to open file: "), 1);
  uint64_t const opened = cache.Impl().files_opened;
  EXPECT_NE(impl.EnsureOpen(*impl.images_file, kImagesName, true), nullptr);
  EXPECT_EQ(cache.Impl().files_opened, opened + 1);
  // Changes made behind the handle's back are lost at close, with a line.
  impl.dirty = true;
  model = Model();
  EXPECT_EQ(log.Count("Unable to write digest model is read only."), 1);
  EXPECT_EQ(FileBytes("m", kDigestName), before);
}

}  // namespace
}  // namespace qx_store_test
