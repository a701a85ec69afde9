// Instances: the checks before insertion, what is stored, extensions, and
// the bounding tree that a new instance makes stale.
#include <array>
#include <filesystem>

#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

namespace fs = std::filesystem;

struct InstanceArgs {
  MeshKey mesh = 0;
  std::array<MaterialKey, 3> materials{kNoKey, kNoKey, kNoKey};
  std::array<MaterialMapKey, 3> maps{};
  uint32_t modifiers = 0;
  ClipRegionKey clip = 0;
  InstanceExtensionData extension;
};

// The matrix isn't checked here; the flags are masked.
InstanceKey Insert(Model& model, InstanceArgs const& a) {
  return model.InsertInstance(a.mesh, 12345, a.materials[0], a.materials[1], a.materials[2], a.maps[0], a.maps[1],
                              a.maps[2], 0xFF, a.modifiers, a.clip, a.extension);
}

using InstanceTest = ModelTest;

// Each refused call breaks one or two rules; the first rule in check order
// names the error, and nothing of the model changes.
TEST_F(InstanceTest, StoresTheGivenKeysOrRefusesAndChangesNothing) {
  InstanceExtensionData const extension{{1, 2, 3, 4}, 9};
  struct Case {
    InstanceArgs args;
    char const* error;
  } const cases[] = {
      {{.mesh = 9, .modifiers = 0x300, .extension = extension}, "Used an invalid MeshKey"},
      {{.materials = {kNoKey, kNoKey, 9}, .modifiers = 0x300, .extension = extension},
       "More than one ScreenSpace modifier specified."},
      {{.materials = {kNoKey, kNoKey, 9}, .maps = {1, 0, 0}, .extension = extension}, "Used an invalid MaterialKey"},
      {{.maps = {0, 4, 0}, .clip = 2, .extension = extension}, "Used an invalid MaterialMapKey"},
      {{.clip = 2, .extension = extension}, "Used an invalid ClipRegionKey"},
  };
  for (Case const& c : cases) EXPECT_EQ(ThrownText([&] { Insert(model, c.args); }), c.error);
  EXPECT_TRUE(impl().instances.empty());
  EXPECT_EQ(impl().instance_extension_count, 0u);

  MaterialKey const red = model.InsertMaterial(RGBAColor{1, 0, 0, 1});
  MaterialMapKey const map = model.InsertMaterialMap({red});
  InstanceKey const key = Insert(model, {.materials = {kNoKey, red, 0}, .maps = {0, 0, map}, .modifiers = 0xA00,
                                         .clip = 0, .extension = {}});
  EXPECT_EQ(key, 1u);
  Instance const& stored = *impl().instances.Find(key);
  EXPECT_EQ(stored.flags, 7u);
  EXPECT_EQ(stored.modifiers, 0xA00u);
  EXPECT_EQ(stored.matrix, 12345u);
  EXPECT_EQ(stored.line_material, red);
  EXPECT_EQ(stored.point_material_map, map);
  EXPECT_EQ(stored.extension, nullptr);
  Reopen(true);
  EXPECT_EQ(ThrownText([&] { Insert(model, {}); }), "Attempted to modify a read only model.");
  EXPECT_EQ(impl().next.instance, 2u);
}

TEST_F(InstanceTest, ExtensionsAreCountedReplacedAndRemoved) {
  ModelImpl& m = impl();
  InstanceKey const plain = Insert(model, {});
  InstanceKey const extended = Insert(model, {.extension = {{1, 2, 3, 4}, 9}});
  EXPECT_EQ(m.instances.Find(extended)->extension->type, 1u);
  EXPECT_EQ(m.instance_extension_count, 1u);
  m.SetInstanceExtension(extended, {{5, 6, 7, 8}, 3});
  EXPECT_EQ(m.instance_extension_count, 1u);
  EXPECT_EQ(m.instances.Find(extended)->extension->data.values, (std::array<float, 4>{5, 6, 7, 8}));
  m.SetInstanceExtension(plain, {{0, 0, 0, 0}, 1});
  EXPECT_EQ(m.instance_extension_count, 2u);
  m.SetInstanceExtension(extended, {});
  EXPECT_EQ(m.instances.Find(extended)->extension, nullptr);
  EXPECT_EQ(m.instance_extension_count, 1u);
  EXPECT_EQ(ThrownText([&] { m.SetInstanceExtension(7, {{}, 1}); }), "Used an invalid InstanceKey");
}

TEST_F(InstanceTest, NewInstanceRemovesTheStaleTreeFile) {
  fs::path const tree = FilePath(kStreamBoundingName);
  qx_test::WriteText(tree, "old tree");
  impl().bounding_valid = true;
  Insert(model, {});
  Insert(model, {});
  EXPECT_FALSE(impl().bounding_valid);
  EXPECT_FALSE(fs::exists(tree));
  EXPECT_EQ(log.Count("Removed: "), 1);
  // A directory in the file's place can't be removed: the instance stays.
  fs::create_directories(tree / "inside");
  impl().bounding_valid = true;
  EXPECT_EQ(ThrownText([&] { Insert(model, {}); }), "Unable to remove: " + tree.string());
  EXPECT_EQ(log.Count("Unable to remove: "), 1);
  EXPECT_TRUE(impl().instances.Contains(3));
}

}  // namespace
}  // namespace qx_store_test
