// Models read from bundles: a new-form bundle opened in place, an old-form
// bundle unpacked once, and includes that reach into bundles. A model read
// from a bundle streams the same bytes as from its directory.
#include <gtest/gtest.h>

#include "files/BundleWriter.h"
#include "geometry/bounding/BoundingTree.h"
#include "tests/files/BundleSupport.h"
#include "tests/geometry/mesh/TestMesh.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> const kFiles = {
    kDigestName,       kMeshesName,          kImagesName,          kDataName,
    kStreamMeshesName, kStreamMeshesTocName, kStreamImagesName,    kStreamImagesTocName,
    kStreamBoundingName};

// The files of a model directory that exist.
std::vector<std::string> FilesOf(fs::path const& model) {
  std::vector<std::string> present;
  for (std::string const& name : kFiles)
    if (fs::exists(model / name)) present.push_back(name);
  return present;
}

// The old form of a model directory: each file's data compressed where it pays.
std::vector<uint8_t> OldFormOf(fs::path const& model) {
  qx_test::BundleBytes bundle;
  bundle.Version(2).Directory(".");
  for (std::string const& name : FilesOf(model)) {
    qx_test::BundleBytes record;
    record.File(name).Data(qx_test::ReadText(model / name));
    if (record.bytes.size() >= 512) bundle.Compressed(record, 1);
    else bundle.Raw(std::string(record.bytes.begin(), record.bytes.end()));
  }
  return bundle.End().bytes;
}

class BundleModel : public StoreTest {
 protected:
  // A prepared model that includes itself, with `count` grids in a row.
  void MakeModel(std::string const& name, int count, float shift = 0) {
    Model model = Open(name);
    model.Include(model, 0);
    qx_test::TestMesh grid = qx_test::GridMesh(6, shift);
    MeshKey const mesh = model.InsertMesh(grid.Data());
    for (int i = 0; i < count; ++i) {
      double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, 8.0 * i, 0, 0};
      model.InsertInstance(mesh, model.InsertMatrix(matrix), 0, kNoKey, kNoKey, 0, 0, 0, 7, 0, 0,
                           {});
    }
    model.PrepareStream(1);
  }
  void Pack(std::string const& model, std::string const& bundle) {
    WriteBundle(dir / model, FilesOf(dir / model), dir / bundle, DefaultFiles(), nullptr);
  }
  // The stream of the model at `path` in a cache of its own.
  std::string StreamOf(std::string const& path, bool read_only, char const* workspace = nullptr) {
    Cache own = Cache::Open(&log);
    if (workspace) own.SetWorkspace(workspace);
    Model model = own.OpenModel(PathOf(path).c_str(), read_only);
    std::string const out = PathOf("stream-" + std::to_string(++streams_) + ".qxs");
    model.GenerateStreamFile(out.c_str());
    return qx_test::ReadText(out);
  }

  int streams_ = 0;
};

TEST_F(BundleModel, NewFormStreamsAsItsDirectory) {
  MakeModel("m", 5);
  Pack("m", "b.qxz");
  std::string const from_directory = StreamOf("m", false);
  EXPECT_EQ(StreamOf("b.qxz", true), from_directory);
  EXPECT_EQ(StreamOf("b", true), from_directory);  // known without the extension as well

  Model model = cache.OpenModel(PathOf("b.qxz").c_str(), true);
  EXPECT_EQ(std::string(model.GenerateStreamFile(nullptr)), PathOf("b.qxs"));  // beside it
  EXPECT_EQ(qx_test::ReadText(dir / "b.qxs"), from_directory);
  ModelImpl const& impl = model.Impl();
  EXPECT_TRUE(impl.bundle);
  EXPECT_EQ(impl.path, dir / "b.qxz");
  EXPECT_EQ(impl.logical_path, dir / "b");
  EXPECT_EQ(impl.instances.size(), 5u);
  EXPECT_TRUE(impl.bounding_valid);
  EXPECT_FALSE(fs::exists(dir / "b"));  // nothing unpacked
}

TEST_F(BundleModel, BundleOpensOnlyForReading) {
  MakeModel("m", 1);
  Pack("m", "b.qxz");
  std::string const location = PathOf("b.qxz");
  EXPECT_EQ(ThrownText([&] { cache.OpenModel(location.c_str(), false); }),
            "Opening a .qxz bundle requires read only: " + location);
  Model model = cache.OpenModel(location.c_str(), true);
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(RGBAColor{1, 1, 1, 1}); }),
            "Attempted to modify a read only model.");
}

TEST_F(BundleModel, DamagedBundleIsNoModel) {
  MakeModel("m", 1);
  Pack("m", "b.qxz");
  fs::resize_file(dir / "b.qxz", fs::file_size(dir / "b.qxz") - 10);
  std::string const location = PathOf("b.qxz");
  EXPECT_EQ(ThrownText([&] { cache.OpenModel(location.c_str(), true); }),
            "Unable to open model (.qxz bundle): " + location);
}

// An old-form bundle is unpacked once, beside it or in the workspace (which
// goes with its cache), and streams as its directory did.
TEST_F(BundleModel, OldFormIsUnpackedOnce) {
  MakeModel("m", 3);
  std::string const from_directory = StreamOf("m", false);
  std::vector<uint8_t> const old = OldFormOf(dir / "m");
  qx_test::WriteText(dir / "old.qxz", std::string(old.begin(), old.end()));
  fs::path const workspace = dir / "workspace";
  {
    Cache own = Cache::Open(&log);
    own.SetWorkspace(workspace.string().c_str());
    for (int i = 0; i < 2; ++i) {
      Model model = own.OpenModel(PathOf("old.qxz").c_str(), true);
      EXPECT_EQ(model.Impl().logical_path, dir / "old");
      EXPECT_EQ(model.Impl().path, workspace / (dir / "old").relative_path());
    }
    EXPECT_EQ(log.Count("Decompressed "), 1);
    EXPECT_FALSE(fs::exists(dir / "old"));
  }
  EXPECT_FALSE(fs::exists(workspace));

  EXPECT_EQ(StreamOf("old.qxz", true), from_directory);
  EXPECT_EQ(log.Count("Decompressed "), 2);
  EXPECT_TRUE(fs::exists(dir / "old" / kDigestName));
  EXPECT_EQ(StreamOf("old.qxz", true), from_directory);
  EXPECT_EQ(log.Count("Decompressed "), 2);  // found as a directory the second time
}

TEST_F(BundleModel, FailedUnpackLeavesNothingBehind) {
  MakeModel("m", 1);
  std::vector<uint8_t> old = OldFormOf(dir / "m");
  old.resize(old.size() - 20);
  qx_test::WriteText(dir / "old.qxz", std::string(old.begin(), old.end()));
  std::string const path = PathOf("old.qxz");
  EXPECT_EQ(ThrownText([&] { cache.OpenModel(path.c_str(), true); }),
            "Creating model attempted with read only: " + path);
  EXPECT_FALSE(fs::exists(dir / "old"));
  EXPECT_FALSE(fs::exists(dir / "old.unpacking"));
}

// A includes B; both lie as bundles beside each other, without directories.
TEST_F(BundleModel, IncludedBundleStreamsWithItsIncluder) {
  fs::create_directories(dir / "src");
  fs::create_directories(dir / "pack");
  MakeModel("src/b", 4, 100);
  {
    Model a = Open("src/a");
    Model b = Open("src/b", true);
    a.Include(a, 0);
    a.Include(b, 0);
    qx_test::TestMesh grid = qx_test::GridMesh(3);
    a.InsertInstance(a.InsertMesh(grid.Data()), 0, 0, kNoKey, kNoKey, 0, 0, 0, 7, 0, 0, {});
    a.PrepareStream(1);
  }
  std::string const from_directories = StreamOf("src/a", false);
  Pack("src/a", "pack/a.qxz");
  Pack("src/b", "pack/b.qxz");
  log.lines.clear();
  EXPECT_EQ(StreamOf("pack/a.qxz", true), from_directories);
  EXPECT_EQ(log.Count("Failed to find attached model"), 0);
}

TEST_F(BundleModel, IncludeOfABundleRecordsItsTreeBox) {
  MakeModel("m", 2);
  Pack("m", "b.qxz");
  Model b = cache.OpenModel(PathOf("b.qxz").c_str(), true);
  Model a = Open("a");
  a.Include(b, 0);
  BoundingBox const box = a.Impl().attached_models.Find(b.Impl().id)->bounds;
  ASSERT_TRUE(box.Valid());
  Model directory = Open("m");
  directory.PrepareStream(1);  // reads the tree that the bundle holds
  EXPECT_EQ(box, directory.Impl().bounding_tree->root->bounds);
}

}  // namespace
}  // namespace qx_store_test
