// Includes: of other models with what is recorded of them (path, unit
// scale, bounds), refused includes, and finding an included model again by
// its stored path.
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

// A node block that gives only a unit, and the head that leads to another block.
std::vector<uint8_t> UnitNode(double unit) { return Put().U32({0x4000}).F64({unit}).data; }
std::vector<uint8_t> HeadOf(DataKey root) {
  return Put().U32({0x40800000u, 5, 22, 1, 2, 64, root}).U8({0, 0, 0, 0, 0, 0}).data;
}

// The bounds come from the included model's tree in memory, else from its
// tree file; without a sound tree the box is empty. The unit comes from the
// block its metadata head names. The second include looks at no files.
TEST_F(IncludeTest, OtherModelIsAttachedOnceWithItsPathScaleAndBounds) {
  Model from_file = Open("from_file");
  auto const tree = OneItemTree();
  std::vector<uint8_t> bytes;
  WriteTree(*tree->root, bytes);
  qx_test::WriteText(FileOf("from_file", kStreamBoundingName), std::string(bytes.begin(), bytes.end()));
  std::vector<uint8_t> const mm = UnitNode(0.001);
  std::vector<uint8_t> const head = HeadOf(from_file.InsertKeyedData(uint32_t(mm.size()), mm.data(), 1000));
  from_file.SetKeyedData(kMetadataKey, uint32_t(head.size()), head.data());
  Model in_memory = Open("in_memory");
  in_memory.Impl().bounding_tree = OneItemTree();
  Model plain = Open("plain");
  Model damaged = Open("damaged");
  qx_test::WriteText(FileOf("damaged", kStreamBoundingName), std::string("o\0\0\0", 4));

  Model model = Open("m");
  for (Model const* other : {&from_file, &in_memory, &plain, &damaged}) model.Include(*other, 0);
  int const calls = files.calls;
  EXPECT_EQ(model.Include(from_file, 3), 5u);
  EXPECT_EQ(files.calls, calls);
  ModelImpl const& m = model.Impl();
  ModelId const id = from_file.Impl().id;
  EXPECT_EQ(m.includes.Find(5)->attached_id, id);
  EXPECT_EQ(m.includes.Find(5)->matrix, 3u);
  ASSERT_EQ(m.attached_models.size(), 4u);
  AttachedModel const& attached = *m.attached_models.Find(id);
  EXPECT_EQ(attached.id, id);
  EXPECT_EQ(attached.path, "../from_file");
  EXPECT_EQ(attached.unit_scale, 0.001);
  EXPECT_EQ(from_file.Impl().unit_scale, 0.001);  // cached
  EXPECT_EQ(attached.bounds, tree->root->bounds);
  auto const bounds = [&](Model const& other) { return m.attached_models.Find(other.Impl().id)->bounds; };
  EXPECT_EQ(bounds(in_memory), tree->root->bounds);
  EXPECT_FALSE(bounds(plain).Valid());
  EXPECT_FALSE(bounds(damaged).Valid());
  EXPECT_FALSE(fs::exists(FileOf("plain", kStreamBoundingName)));
}

// The metadata block of a model made here is empty: unknown unit. A block
// that can't be parsed counts as unknown too, as does a head whose root
// block doesn't exist. A block that is a node gives its unit itself.
TEST_F(IncludeTest, UnitScaleOfTheMetadataBlock) {
  Model model = Open("m");
  ModelImpl& m = model.Impl();
  std::vector<uint8_t> buffer = {1, 2, 3};
  EXPECT_EQ(m.UnitScale(buffer), 0.0);
  EXPECT_TRUE(buffer.empty());
  struct Case {
    std::vector<uint8_t> block;
    double unit;
  } const cases[] = {{{0, 0, 0x80, 0x40}, 0.0}, {HeadOf(77), 0.0}, {UnitNode(0.0254), 0.0254}};
  for (Case const& c : cases) {
    m.SetKeyedData(kMetadataKey, uint32_t(c.block.size()), c.block.data());
    m.unit_scale = -1;
    EXPECT_EQ(m.UnitScale(buffer), c.unit);
    EXPECT_EQ(m.unit_scale, c.unit);
  }
}

TEST_F(IncludeTest, RefusedIncludeTakesNoKey) {
  Model other = Open("other");
  {
    Model model = Open("m");
    EXPECT_EQ(model.Include(model, 5), 1u);  // itself: nothing attached
    EXPECT_EQ(ThrownText([&] { model.Include(Model(), 0); }), "Used an invalid Model");
    EXPECT_EQ(ThrownText([&] { Model().Include(model, 0); }), "Used an invalid Model");
    EXPECT_EQ(model.Impl().next.include, 2u);
  }
  Model model = Open("m", true);
  EXPECT_EQ(model.Impl().includes.Find(1)->attached_id, 0u);
  EXPECT_EQ(ThrownText([&] { model.Include(other, 0); }), "Attempted to modify a read only model.");
  EXPECT_EQ(model.Impl().next.include, 2u);
  EXPECT_TRUE(model.Impl().attached_models.empty());
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
