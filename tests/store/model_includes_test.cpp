// Includes of other models with what is recorded of them (path, unit scale,
// bounds), and finding an included model again by its stored path.
#include <filesystem>

#include "geometry/bounding/BoundingTree.h"
#include "geometry/bounding/BoundingTreeFile.h"
#include "store/CacheImpl.h"
#include "store/ModelIncludes.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

namespace fs = std::filesystem;

using IncludeTest = StoreTest;

std::unique_ptr<BoundingTree> OneItemTree() {
  return MakeBoundingTree({BoundingItem{1, 4, BoundingBox{-1, -2, -3, 4, 5, 6}}}, {1, nullptr});
}

// The bounds come from the included model's tree in memory, else from its
// tree file; without a sound tree the box is empty. The unit comes from the
// block that the metadata head names; a block that can't be parsed is no unit.
TEST_F(IncludeTest, OtherModelIsAttachedOnceWithItsPathScaleAndBounds) {
  Model from_file = Open("from_file");
  std::vector<uint8_t> bytes;
  WriteTree(*OneItemTree()->root, bytes);
  qx_test::WriteText(FileOf("from_file", kStreamBoundingName), std::string(bytes.begin(), bytes.end()));
  std::vector<uint8_t> const mm = Put().U32({0x4000}).F64({0.001}).data;
  DataKey const root = from_file.InsertKeyedData(uint32_t(mm.size()), mm.data(), 1000);
  std::vector<uint8_t> const head = Put().U32({0x40800000u, 5, 22, 1, 2, 64, root}).U8({0, 0, 0, 0, 0, 0}).data;
  from_file.SetKeyedData(kMetadataKey, uint32_t(head.size()), head.data());
  Model in_memory = Open("in_memory");
  in_memory.Impl().bounding_tree = OneItemTree();
  Model plain = Open("plain");
  Model damaged = Open("damaged");
  qx_test::WriteText(FileOf("damaged", kStreamBoundingName), std::string("o\0\0\0", 4));
  uint8_t const bad_metadata[4] = {0, 0, 0x80, 0x40};
  damaged.SetKeyedData(kMetadataKey, sizeof bad_metadata, bad_metadata);

  Model model = Open("m");
  EXPECT_EQ(model.Include(model, 5), 1u);  // itself: nothing attached
  for (Model const* other : {&from_file, &in_memory, &plain, &damaged}) model.Include(*other, 0);
  int const calls = files.calls;
  EXPECT_EQ(model.Include(from_file, 3), 6u);
  EXPECT_EQ(files.calls, calls);  // the second include of a model looks at no files
  ModelImpl const& m = model.Impl();
  EXPECT_EQ(m.includes.Find(6)->matrix, 3u);
  ASSERT_EQ(m.attached_models.size(), 4u);
  auto const attached = [&](Model const& other) { return *m.attached_models.Find(other.Impl().id); };
  EXPECT_EQ(attached(from_file).path, "../from_file");
  EXPECT_EQ(attached(from_file).unit_scale, 0.001);
  EXPECT_EQ(attached(from_file).bounds, OneItemTree()->root->bounds);
  EXPECT_EQ(attached(in_memory).bounds, OneItemTree()->root->bounds);
  EXPECT_FALSE(attached(plain).bounds.Valid());
  EXPECT_FALSE(attached(damaged).bounds.Valid());
  EXPECT_EQ(attached(damaged).unit_scale, 0.0);

  model = Model();
  model = Open("m", true);
  EXPECT_EQ(ThrownText([&] { model.Include(plain, 0); }), "Attempted to modify a read only model.");
  EXPECT_EQ(ThrownText([&] { model.Include(Model(), 0); }), "Used an invalid Model");
}

// A model found through a relative search path has a relative path, the
// including one an absolute path: the stored path must still lead from the
// one to the other, and what an attached id resolved to is remembered.
TEST_F(IncludeTest, AttachedModelIsFoundByItsStoredPath) {
  fs::create_directories(dir.Path() / "lib");
  Open("lib/other").Impl().dirty = true;
  fs::path const cwd = fs::current_path();
  fs::current_path(dir.Path());
  cache.SetSearchPaths({"lib"});
  {
    Model other = cache.OpenModel("other", false);
    EXPECT_TRUE(other.Impl().path.is_relative());
    Open("m").Include(other, 0);
  }
  Model model = Open("m", true);
  ModelImpl& m = model.Impl();
  fs::current_path(cwd);
  ASSERT_EQ(m.attached_models.size(), 1u);
  AttachedModel const& attached = m.attached_models.begin()->value;
  EXPECT_EQ(attached.path, "../lib/other");
  ResolvedAttachments resolved;
  // The directory opened by its absolute path is a model of its own in the cache.
  ModelId const found = ResolveAttached(m, attached.id, attached.path, resolved);
  EXPECT_NE(found, kNoModel);
  EXPECT_EQ(resolved.at(attached.id), m.cache->Key(dir.Path() / "lib/other"));
  EXPECT_EQ(ResolveAttached(m, attached.id, "../gone", resolved), found);
  ResolvedAttachments fresh;
  EXPECT_EQ(ResolveAttached(m, attached.id, "../gone", fresh), kNoModel);
  EXPECT_EQ(fresh.at(attached.id), "");
}

}  // namespace
}  // namespace qx_store_test
