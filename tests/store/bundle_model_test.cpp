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

// The files of a model directory that exist.
std::vector<std::string> FilesOf(fs::path const& model) {
  std::vector<std::string> present;
  for (std::string name : {kDigestName, kMeshesName, kImagesName, kDataName, kStreamMeshesName, kStreamMeshesTocName,
                           kStreamImagesName, kStreamImagesTocName, kStreamBoundingName})
    if (fs::exists(model / name)) present.push_back(name);
  return present;
}

// The old form of a model directory, written to `bundle`: each file's data
// compressed where it pays. `cut` bytes are left off its end.
void WriteOldForm(fs::path const& model, fs::path const& bundle, size_t cut = 0) {
  qx_test::BundleBytes out;
  out.Version(2).Directory(".");
  for (std::string const& name : FilesOf(model)) {
    qx_test::BundleBytes record;
    record.File(name).Data(qx_test::ReadText(model / name));
    if (record.bytes.size() >= 512) out.Compressed(record, 1);
    else out.Raw(std::string(record.bytes.begin(), record.bytes.end()));
  }
  out.End();
  qx_test::WriteText(bundle, std::string(out.bytes.begin(), out.bytes.end() - std::ptrdiff_t(cut)));
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
      model.InsertInstance(mesh, model.InsertMatrix(matrix), 0, kNoKey, kNoKey, 0, 0, 0, 7, 0, 0, {});
    }
    model.PrepareStream(1);
  }
  void Pack(std::string const& model, std::string const& bundle) {
    WriteBundle(dir / model, FilesOf(dir / model), dir / bundle, DefaultFiles(), nullptr);
  }
  // The stream of the model at `path` in a cache of its own.
  std::string StreamOf(std::string const& path, bool read_only) {
    Cache own = Cache::Open(&log);
    Model model = own.OpenModel(PathOf(path).c_str(), read_only);
    std::string const out = PathOf("stream-" + std::to_string(++streams_) + ".qxs");
    model.GenerateStreamFile(out.c_str());
    return qx_test::ReadText(out);
  }

  int streams_ = 0;
};

TEST_F(BundleModel, NewFormStreamsAsItsDirectoryAndOpensOnlyForReading) {
  MakeModel("m", 5);
  Pack("m", "b.qxz");
  std::string const from_directory = StreamOf("m", false);
  EXPECT_EQ(StreamOf("b.qxz", true), from_directory);
  EXPECT_EQ(StreamOf("b", true), from_directory);  // known without the extension as well

  std::string const location = PathOf("b.qxz");
  EXPECT_EQ(ThrownText([&] { cache.OpenModel(location.c_str(), false); }),
            "Opening a .qxz bundle requires read only: " + location);
  Model model = cache.OpenModel(location.c_str(), true);
  EXPECT_EQ(std::string(model.GenerateStreamFile(nullptr)), PathOf("b.qxs"));  // beside it
  EXPECT_EQ(qx_test::ReadText(dir / "b.qxs"), from_directory);
  ModelImpl const& impl = model.Impl();
  EXPECT_EQ(impl.path, dir / "b.qxz");
  EXPECT_EQ(impl.logical_path, dir / "b");
  EXPECT_TRUE(impl.bounding_valid);
  EXPECT_FALSE(fs::exists(dir / "b"));  // nothing unpacked
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(RGBAColor{1, 1, 1, 1}); }), "Attempted to modify a read only model.");

  // A bundle that includes it records the box of the tree the bundle holds.
  Model a = Open("a");
  a.Include(model, 0);
  Model directory = Open("m");
  directory.PrepareStream(1);  // reads the tree that the bundle holds
  EXPECT_EQ(a.Impl().attached_models.Find(impl.id)->bounds, directory.Impl().bounding_tree->root->bounds);
}

TEST_F(BundleModel, DamagedBundlesAreNoModel) {
  MakeModel("m", 1);
  Pack("m", "b.qxz");
  fs::resize_file(dir / "b.qxz", fs::file_size(dir / "b.qxz") - 10);
  std::string location = PathOf("b.qxz");
  EXPECT_EQ(ThrownText([&] { cache.OpenModel(location.c_str(), true); }),
            "Unable to open model (.qxz bundle): " + location);
  // A damaged old form leaves nothing of its unpacking behind.
  WriteOldForm(dir / "m", dir / "old.qxz", 20);
  location = PathOf("old.qxz");
  EXPECT_EQ(ThrownText([&] { cache.OpenModel(location.c_str(), true); }),
            "Creating model attempted with read only: " + location);
  EXPECT_FALSE(fs::exists(dir / "old"));
  EXPECT_FALSE(fs::exists(dir / "old.unpacking"));
}

// An old-form bundle is unpacked once, beside it or in the workspace (which
// goes with its cache), and streams as its directory did.
TEST_F(BundleModel, OldFormIsUnpackedOnce) {
  MakeModel("m", 3);
  std::string const from_directory = StreamOf("m", false);
  WriteOldForm(dir / "m", dir / "old.qxz");
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

}  // namespace
}  // namespace qx_store_test
