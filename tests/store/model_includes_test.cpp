// Includes: of a model in itself, of other models with what is recorded of
// them, the unit scale, and finding an included model again by its stored
// path.
#include <filesystem>

#include "geometry/bounding/BoundingTree.h"
#include "geometry/bounding/BoundingTreeFile.h"
#include "store/CacheImpl.h"
#include "store/ModelIncludes.h"
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

namespace fs = std::filesystem;

std::unique_ptr<BoundingTree> OneItemTree() {
  return MakeBoundingTree({BoundingItem{1, 4, BoundingBox{-1, -2, -3, 4, 5, 6}}}, {1, nullptr});
}

class IncludeTest : public StoreTest {
 protected:
  // Writes a tree file into the model directory `name`; returns its root box.
  BoundingBox WriteTreeFile(std::string const& name) {
    auto tree = OneItemTree();
    std::vector<uint8_t> bytes;
    WriteTree(*tree->root, bytes);
    qx_test::WriteText(FileOf(name, kStreamBoundingName), std::string(bytes.begin(), bytes.end()));
    return tree->root->bounds;
  }
};

TEST_F(IncludeTest, SelfIncludeAttachesNothing) {
  {
    Model model = Open("m");
    EXPECT_EQ(model.Include(model, 5), 1u);
    EXPECT_TRUE(model.Impl().attached_models.empty());
  }
  Model model = Open("m", true);
  ModelImpl const& m = model.Impl();
  ASSERT_EQ(m.includes.size(), 1u);
  EXPECT_EQ(m.includes.Find(1)->attached_id, 0u);
  EXPECT_EQ(m.includes.Find(1)->matrix, 5u);
  EXPECT_TRUE(m.attached_models.empty());
}

TEST_F(IncludeTest, OtherModelIsAttachedOnceWithItsPathScaleAndBounds) {
  Model other = Open("other");
  BoundingBox const root = WriteTreeFile("other");
  Model model = Open("m");
  EXPECT_EQ(model.Include(other, 0), 1u);
  int const calls = files.calls;
  EXPECT_EQ(model.Include(other, 3), 2u);
  EXPECT_EQ(files.calls, calls);  // the second include doesn't look at files

  ModelImpl const& m = model.Impl();
  ModelId const id = other.Impl().id;
  EXPECT_EQ(m.includes.Find(1)->attached_id, id);
  EXPECT_EQ(m.includes.Find(2)->attached_id, id);
  EXPECT_EQ(m.includes.Find(2)->matrix, 3u);
  ASSERT_EQ(m.attached_models.size(), 1u);
  AttachedModel const& attached = *m.attached_models.Find(id);
  EXPECT_EQ(attached.id, id);
  EXPECT_EQ(attached.path, "../other");
  EXPECT_EQ(attached.unit_scale, 0.0);
  EXPECT_TRUE(root.Valid());
  EXPECT_EQ(attached.bounds, root);
}

// The bounds recorded of an included model come from its tree in memory,
// else from its tree file; without a sound tree the box is empty.
TEST_F(IncludeTest, BoundsOfATreeInMemoryMissingOrDamaged) {
  Model in_memory = Open("in_memory");
  in_memory.Impl().bounding_tree = OneItemTree();
  Model plain = Open("plain");
  Model damaged = Open("damaged");
  qx_test::WriteText(FileOf("damaged", kStreamBoundingName), std::string("o\0\0\0", 4));
  Model model = Open("m");
  for (Model const* other : {&in_memory, &plain, &damaged}) model.Include(*other, 0);
  auto const bounds = [&](Model const& other) { return model.Impl().attached_models.Find(other.Impl().id)->bounds; };
  EXPECT_EQ(bounds(in_memory), in_memory.Impl().bounding_tree->root->bounds);
  EXPECT_FALSE(bounds(plain).Valid());
  EXPECT_FALSE(bounds(damaged).Valid());
  EXPECT_FALSE(fs::exists(FileOf("plain", kStreamBoundingName)));
}

TEST_F(IncludeTest, RefusedIncludeTakesNoKey) {
  Model other = Open("other");
  {
    Model model = Open("m");
    EXPECT_EQ(ThrownText([&] { model.Include(Model(), 0); }), "Used an invalid Model");
    EXPECT_EQ(ThrownText([&] { Model().Include(model, 0); }), "Used an invalid Model");
    EXPECT_EQ(model.Impl().next.include, 1u);
  }
  Model model = Open("m", true);
  EXPECT_EQ(ThrownText([&] { model.Include(other, 0); }), "Attempted to modify a read only model.");
  EXPECT_EQ(model.Impl().next.include, 1u);
  EXPECT_TRUE(model.Impl().attached_models.empty());
}

// A node block that gives only a unit, and the head that leads to it.
std::vector<uint8_t> UnitNode(double unit) {
  std::vector<uint8_t> node;
  PutU32(node, 0x4000);
  PutF64(node, unit);
  return node;
}

std::vector<uint8_t> HeadOf(DataKey root) {
  std::vector<uint8_t> head;
  for (uint32_t v : {0x40800000u, 5u, 22u, 1u, 2u, 64u, root}) PutU32(head, v);
  head.insert(head.end(), {0, 0, 0, 0, 0, 0});
  return head;
}

// The metadata block of a model made here is empty: unknown unit. A block
// that can't be parsed counts as unknown too. The first answer is kept.
TEST_F(IncludeTest, UnitScaleOfEmptyOrBadMetadataIsZero) {
  Model model = Open("m");
  std::vector<uint8_t> buffer = {1, 2, 3};
  EXPECT_EQ(model.Impl().UnitScale(buffer), 0.0);
  EXPECT_TRUE(buffer.empty());
  uint8_t const block[4] = {0, 0, 0x80, 0x40};
  model.Impl().SetKeyedData(kMetadataKey, sizeof block, block);
  model.Impl().unit_scale = -1;
  EXPECT_EQ(model.Impl().UnitScale(buffer), 0.0);
  EXPECT_EQ(model.Impl().unit_scale, 0.0);
  // A head whose root block doesn't exist.
  std::vector<uint8_t> const head = HeadOf(77);
  model.Impl().SetKeyedData(kMetadataKey, uint32_t(head.size()), head.data());
  model.Impl().unit_scale = -1;
  EXPECT_EQ(model.Impl().UnitScale(buffer), 0.0);
}

// The unit is read from keyed data 1 itself, or from the block its head
// names; it is cached, and an include records it for the included model.
TEST_F(IncludeTest, UnitScaleFromTheMetadataBlock) {
  Model direct = Open("direct");
  std::vector<uint8_t> const inch = UnitNode(0.0254);
  direct.Impl().SetKeyedData(kMetadataKey, uint32_t(inch.size()), inch.data());
  std::vector<uint8_t> buffer;
  EXPECT_EQ(direct.Impl().UnitScale(buffer), 0.0254);

  Model other = Open("other");
  std::vector<uint8_t> const mm = UnitNode(0.001);
  DataKey const root = other.InsertKeyedData(uint32_t(mm.size()), mm.data(), 1000);
  std::vector<uint8_t> const head = HeadOf(root);
  other.SetKeyedData(kMetadataKey, uint32_t(head.size()), head.data());
  Model model = Open("m");
  model.Include(other, 0);
  EXPECT_EQ(model.Impl().attached_models.Find(other.Impl().id)->unit_scale, 0.001);
  EXPECT_EQ(other.Impl().unit_scale, 0.001);
}

TEST_F(IncludeTest, AttachedModelIsFoundByItsPath) {
  Model other = Open("other");
  Model model = Open("m");
  model.Include(other, 0);
  ModelImpl& m = model.Impl();
  ModelId const id = other.Impl().id;
  AttachedModel const& attached = *m.attached_models.Find(id);
  ResolvedAttachments resolved;
  EXPECT_EQ(ResolveAttached(m, id, attached.path, resolved), id);
  EXPECT_EQ(resolved.at(id), m.cache->Key(dir.Path() / "other"));
  // What an attached id resolved to is remembered for the attach.
  EXPECT_EQ(ResolveAttached(m, id, "../gone", resolved), id);

  ResolvedAttachments fresh;
  EXPECT_EQ(ResolveAttached(m, id, "../gone", fresh), kNoModel);
  EXPECT_EQ(fresh.at(id), "");
}

// Runs with the working directory set to `dir` and puts the old one back.
class WorkingDirectory {
 public:
  explicit WorkingDirectory(fs::path const& dir) : old_(fs::current_path()) { fs::current_path(dir); }
  ~WorkingDirectory() { fs::current_path(old_); }

 private:
  fs::path old_;
};

// A model found through a relative search path has a relative path, the
// including one an absolute path: the stored path must still lead from the
// one to the other, and the digest must open again.
TEST_F(IncludeTest, ModelOfARelativeSearchPathIsStoredByAPathThatResolves) {
  fs::create_directories(dir.Path() / "lib");
  Open("lib/other").Impl().dirty = true;
  WorkingDirectory const here(dir.Path());
  cache.SetSearchPaths({"lib"});
  ModelId other_id = 0;
  {
    Model other = cache.OpenModel("other", false);
    ASSERT_TRUE(other.Impl().path.is_relative());
    other_id = other.Impl().id;
    Model model = Open("m");
    model.Include(other, 0);
    model.Include(model, 0);
  }
  Model model = Open("m", true);
  ModelImpl& m = model.Impl();
  ASSERT_EQ(m.attached_models.size(), 1u);
  AttachedModel const& attached = m.attached_models.begin()->value;
  EXPECT_EQ(attached.path, "../lib/other");
  ResolvedAttachments resolved;
  EXPECT_NE(ResolveAttached(m, attached.id, attached.path, resolved), kNoModel);
  EXPECT_NE(other_id, 0u);
}

}  // namespace
}  // namespace qx_store_test
