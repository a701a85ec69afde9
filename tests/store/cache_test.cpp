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

TEST_F(CacheTest, ReleaseOfTheLastHandleClosesAndReopenReadsTheDigest) {
  Model first = Open("m");
  MatrixKey const key = first.InsertMatrix(std::array<double, 12>{2, 0, 0, 0, 2, 0, 0, 0, 2, 1, 2, 3}.data());
  ModelId const id = first.Impl().id;
  Model second = first;
  first = Model();
  EXPECT_EQ(log.Count("Closing model directory: "), 0);
  second = Model();
  EXPECT_EQ(log.Count("Closing model directory: "), 1);
  EXPECT_EQ(log.Count("Write digest: "), 1);
  EXPECT_FALSE(fs::exists(FileOf("m", "_digest.qxi_old")));

  Model again = Open("m");
  EXPECT_EQ(log.Count("Opened model: "), 2);
  EXPECT_EQ(again.Impl().id, id);  // the path stays known to the cache
  double m[12];
  again.Impl().GetMatrix(key, m);
  EXPECT_EQ(m[9], 1);
  EXPECT_EQ(m[11], 3);
  EXPECT_EQ(again.Impl().next.matrix, key + 1);
  again = Model();
  // Opened and closed without change: the digest isn't written again.
  EXPECT_EQ(log.Count("Write digest: "), 1);
}

TEST_F(CacheTest, ResolvesNamesUnderSearchPaths) {
  Open("found") = Model();
  cache.SetSearchPaths({dir.Path().string()});
  CacheImpl& impl = cache.Impl();
  EXPECT_STREQ(impl.ResolveModelPath("found"), PathOf("found").c_str());
  // The bundle extension is cut off before the directory is looked for.
  EXPECT_STREQ(impl.ResolveModelPath("found.qxz"), PathOf("found").c_str());
  EXPECT_EQ(impl.ResolveModelPath(".qxz"), nullptr);
  EXPECT_EQ(impl.ResolveModelPath("missing"), nullptr);
  EXPECT_EQ(impl.ResolveModelPath(""), nullptr);
  EXPECT_STREQ(impl.ResolveModelPath("_empty"), "_empty");
  // A directory that lost its digest is forgotten.
  fs::remove(FileOf("found", kDigestName));
  EXPECT_EQ(impl.ResolveModelPath("found"), nullptr);
  EXPECT_EQ(impl.FindEntry(PathOf("found")), nullptr);
}

TEST_F(CacheTest, RelativeNamesAreTakenFromTheCurrentDirectory) {
  fs::path const cwd = fs::current_path();
  fs::current_path(dir.Path());
  EXPECT_EQ(ThrownText([&] { cache.OpenModel("rel", true); }),
            "Creating model attempted with read only: rel");
  Model made = cache.OpenModel("rel", false);
  EXPECT_EQ(made.Impl().Path(), dir.Path() / "rel");
  EXPECT_EQ(cache.OpenModel("rel", true), made);
  fs::current_path(cwd);
}

TEST_F(CacheTest, FindModelReopensAKnownModelReadOnly) {
  Model model = Open("m");
  ModelId const id = model.Impl().id;
  model = Model();
  Model found = cache.Impl().FindModel(id);
  ASSERT_TRUE(found);
  EXPECT_TRUE(found.Impl().read_only);
  EXPECT_TRUE(found.Impl().quiet);
  EXPECT_FALSE(cache.Impl().FindModel(77));
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
