// Instances: the checks before insertion, what is stored, extensions, and
// the bounding tree that a new instance makes stale.
#include <array>
#include <filesystem>
#include <functional>

#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

namespace fs = std::filesystem;

struct InstanceArgs {
  MeshKey mesh = 0;
  MatrixKey matrix = 0;
  std::array<MaterialKey, 3> materials{kNoKey, kNoKey, kNoKey};
  std::array<MaterialMapKey, 3> maps{};
  uint32_t flags = 1;
  uint32_t modifiers = 0;
  ClipRegionKey clip = 0;
  InstanceExtensionData extension;
};

InstanceArgs Extended() {
  InstanceArgs args;
  args.extension = {{1, 2, 3, 4}, 9};
  return args;
}

InstanceKey Insert(Model& model, InstanceArgs const& a) {
  return model.InsertInstance(a.mesh, a.matrix, a.materials[0], a.materials[1], a.materials[2],
                              a.maps[0], a.maps[1], a.maps[2], a.flags, a.modifiers, a.clip,
                              a.extension);
}

using InstanceTest = StoreTest;

TEST_F(InstanceTest, StoresMaskedFlagsAndTheGivenKeys) {
  Model model = Open("m");
  MaterialKey const red = model.InsertMaterial(RGBAColor{1, 0, 0, 1});
  MaterialMapKey const map = model.InsertMaterialMap({red});
  InstanceArgs args;
  args.matrix = 12345;  // not checked here
  args.materials = {kNoKey, red, 0};
  args.maps = {0, 0, map};
  args.flags = 0xFF;
  args.modifiers = 0x800 | 0x200;
  InstanceKey const key = Insert(model, args);
  EXPECT_EQ(key, 1u);
  EXPECT_EQ(Insert(model, {}), 2u);

  Instance const& stored = *model.Impl().instances.Find(key);
  EXPECT_EQ(stored.flags, 7u);
  EXPECT_EQ(stored.modifiers, 0xA00u);
  EXPECT_EQ(stored.matrix, 12345u);
  EXPECT_EQ(stored.face_material, kNoKey);
  EXPECT_EQ(stored.line_material, red);
  EXPECT_EQ(stored.point_material, 0u);
  EXPECT_EQ(stored.point_material_map, map);
  EXPECT_EQ(stored.weight, 0u);
  EXPECT_FALSE(stored.bounds.Valid());
  EXPECT_EQ(stored.extension, nullptr);
}

// Each call breaks one or two rules; the first rule in check order names the
// error, and nothing of the model changes.
TEST_F(InstanceTest, RefusedInstanceChangesNothing) {
  Model model = Open("m");
  auto with = [&](std::function<void(InstanceArgs&)> const& change) {
    InstanceArgs args = Extended();
    change(args);
    return ThrownText([&] { Insert(model, args); });
  };
  EXPECT_EQ(with([](InstanceArgs& a) { a.mesh = 9, a.modifiers = 0x300; }),
            "Used an invalid MeshKey");
  EXPECT_EQ(with([](InstanceArgs& a) { a.modifiers = 0x300, a.materials[2] = 9; }),
            "More than one ScreenSpace modifier specified.");
  EXPECT_EQ(with([](InstanceArgs& a) { a.materials[2] = 9, a.maps[0] = 1; }),
            "Used an invalid MaterialKey");
  EXPECT_EQ(with([](InstanceArgs& a) { a.maps[1] = 4, a.clip = 2; }),
            "Used an invalid MaterialMapKey");
  EXPECT_EQ(with([](InstanceArgs& a) { a.clip = 2; }), "Used an invalid ClipRegionKey");

  ModelImpl const& m = model.Impl();
  EXPECT_EQ(m.next.instance, 1u);
  EXPECT_TRUE(m.instances.empty());
  EXPECT_EQ(m.instance_extension_count, 0u);

  model = Model();
  model = Open("m", true);
  EXPECT_EQ(ThrownText([&] { Insert(model, {}); }), "Attempted to modify a read only model.");
  EXPECT_EQ(model.Impl().next.instance, 1u);
}

TEST_F(InstanceTest, ExtensionsAreCountedReplacedAndRemoved) {
  Model model = Open("m");
  ModelImpl& m = model.Impl();
  InstanceKey const plain = Insert(model, {});
  InstanceKey const extended = Insert(model, Extended());
  ASSERT_NE(m.instances.Find(extended)->extension, nullptr);
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
  Model model = Open("m");
  ModelImpl& m = model.Impl();
  fs::path const tree = FileOf("m", kStreamBoundingName);
  qx_test::WriteText(tree, "old tree");
  m.bounding_valid = true;
  Insert(model, {});
  EXPECT_FALSE(m.bounding_valid);
  EXPECT_FALSE(fs::exists(tree));
  EXPECT_EQ(log.Count("Removed: " + tree.string()), 1);
  Insert(model, {});
  EXPECT_EQ(log.Count("Removed: "), 1);

  // A directory in the file's place can't be removed: the instance stays.
  fs::create_directories(tree / "inside");
  m.bounding_valid = true;
  EXPECT_EQ(ThrownText([&] { Insert(model, {}); }), "Unable to remove: " + tree.string());
  EXPECT_EQ(log.Count("Unable to remove: "), 1);
  EXPECT_TRUE(m.instances.Contains(3));
  EXPECT_EQ(m.next.instance, 4u);
}

}  // namespace
}  // namespace qx_store_test
