// Models read from bundles: a new-form bundle opened in place, an old-form
// bundle unpacked once. A model read from a bundle streams the same bytes as
// from its directory.
#include "files/BundleWriter.h"
#include "geometry/bounding/BoundingTree.h"
#include "tests/files/BundleSupport.h"
#include "tests/geometry/mesh/TestMesh.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

namespace fs = std::filesystem;

class BundleModel : public StoreTest {
 protected:
  // A prepared model "m" that includes itself, with three grids in a row.
  void SetUp() override {
    Model model = Open("m");
    model.Include(model, 0);
    qx_test::TestMesh grid = qx_test::GridMesh(6);
    MeshKey const mesh = model.InsertMesh(grid.Data());
    for (double x : {0, 8, 16}) {
      double const matrix[12] = {1, 0, 0, 0, 1, 0, 0, 0, 1, x, 0, 0};
      model.InsertInstance(mesh, model.InsertMatrix(matrix), 0, kNoKey, kNoKey, 0, 0, 0, 7, 0, 0, {});
    }
    model.PrepareStream(1);
    for (std::string name : {kDigestName, kMeshesName, kImagesName, kDataName, kStreamMeshesName, kStreamMeshesTocName,
                             kStreamImagesName, kStreamImagesTocName, kStreamBoundingName})
      if (fs::exists(dir / "m" / name)) files_of_m.push_back(name);
  }
  // The stream of the model at `path` in a cache of its own.
  std::string StreamOf(std::string const& path, bool read_only) {
    Cache own = Cache::Open(&log);
    std::string const out = PathOf("stream-" + std::to_string(++streams_) + ".qxs");
    own.OpenModel(PathOf(path).c_str(), read_only).GenerateStreamFile(out.c_str());
    return qx_test::ReadText(out);
  }
  // The old form of "m", compressed where it pays, `cut` bytes short.
  void WriteOldForm(fs::path const& bundle, size_t cut = 0) {
    qx_test::BundleBytes out;
    out.Version(2).Directory(".");
    for (std::string const& name : files_of_m) {
      qx_test::BundleBytes record;
      record.File(name).Data(qx_test::ReadText(dir / "m" / name));
      if (record.bytes.size() >= 512) out.Compressed(record, 1);
      else out.Raw(std::string(record.bytes.begin(), record.bytes.end()));
    }
    out.End();
    qx_test::WriteText(bundle, std::string(out.bytes.begin(), out.bytes.end() - std::ptrdiff_t(cut)));
  }

  std::vector<std::string> files_of_m;
  int streams_ = 0;
};

// A new-form bundle is read in place, only for reading, and streams as its
// directory did; a model that includes it records the box of its tree.
TEST_F(BundleModel, NewFormStreamsAsItsDirectoryAndOpensOnlyForReading) {
  WriteBundle(dir / "m", files_of_m, dir / "b.qxz", DefaultFiles(), nullptr);
  std::string const location = PathOf("b.qxz");
  EXPECT_EQ(ThrownText([&] { cache.OpenModel(location.c_str(), false); }),
            "Opening a .qxz bundle requires read only: " + location);
  Model model = cache.OpenModel(location.c_str(), true);
  EXPECT_EQ(std::string(model.GenerateStreamFile(nullptr)), PathOf("b.qxs"));  // beside it
  EXPECT_EQ(qx_test::ReadText(dir / "b.qxs"), StreamOf("m", false));
  EXPECT_FALSE(fs::exists(dir / "b"));  // nothing unpacked
  Model a = Open("a");
  a.Include(model, 0);
  EXPECT_TRUE(a.Impl().attached_models.Find(model.Impl().id)->bounds.Valid());  // from the tree the bundle holds
  fs::resize_file(dir / "b.qxz", fs::file_size(dir / "b.qxz") - 10);
  EXPECT_EQ(ThrownText([&] { Cache::Open(nullptr).OpenModel(location.c_str(), true); }),
            "Unable to open model (.qxz bundle): " + location);
}

// An old-form bundle is unpacked once, beside it or in the workspace (which
// goes with its cache), and streams as its directory did. A damaged one
// leaves nothing of its unpacking behind.
TEST_F(BundleModel, OldFormIsUnpackedOnce) {
  std::string const from_directory = StreamOf("m", false);
  WriteOldForm(dir / "old.qxz");
  fs::path const workspace = dir / "workspace";
  {
    Cache own = Cache::Open(&log);
    own.SetWorkspace(workspace.string().c_str());
    for (int i = 0; i < 2; ++i)
      EXPECT_EQ(own.OpenModel(PathOf("old.qxz").c_str(), true).Impl().path, workspace / (dir / "old").relative_path());
    EXPECT_EQ(log.Count("Decompressed "), 1);
  }
  EXPECT_FALSE(fs::exists(workspace));
  EXPECT_EQ(StreamOf("old.qxz", true), from_directory);
  EXPECT_EQ(StreamOf("old.qxz", true), from_directory);  // found as a directory the second time
  EXPECT_EQ(log.Count("Decompressed "), 2);
  WriteOldForm(dir / "cut.qxz", 20);
  std::string const path = PathOf("cut.qxz");
  EXPECT_EQ(ThrownText([&] { cache.OpenModel(path.c_str(), true); }),
            "Creating model attempted with read only: " + path);
  EXPECT_FALSE(fs::exists(dir / "cut") || fs::exists(dir / "cut.unpacking"));
}

}  // namespace
}  // namespace qx_store_test
