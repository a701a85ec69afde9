// Instances: the checks before insertion, what is stored, extensions, the
// bounding tree that a new instance makes stale, and a model with every kind
// of placement object surviving a reopen.
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
}

TEST_F(InstanceTest, ReadOnlyModelRefusesInstances) {
  Open("m");
  Model model = Open("m", true);
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

TEST_F(InstanceTest, ReplacedGroupBlockGoesToTheEndOfTheDataFile) {
  Model model = Open("m");
  GroupKey const group = model.InsertGroup({{0, 2}, {0, 1}}, {});
  model.InsertGroup({}, {{0, group}});
  GroupEntry const& entry = *model.Impl().groups.Find(group);
  EXPECT_EQ(entry.position, 0);
  auto const end = int64_t(fs::file_size(FileOf("m", kDataName)));
  model.SetGroup(group, {{0, 3}}, {});
  EXPECT_EQ(entry.position, end);
  EXPECT_EQ(entry.size, 16u);
  EXPECT_EQ(fs::file_size(FileOf("m", kDataName)), uint64_t(end) + 16);
  EXPECT_EQ(ThrownText([&] { model.SetGroup(9, {}, {}); }), "Used an invalid GroupKey");
}

TEST_F(InstanceTest, ModelWithEveryPlacementObjectReopens) {
  float const square[12] = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
  uint32_t const four = 4;
  {
    Model other = Open("other");
    Model model = Open("m");
    MaterialKey const red = model.InsertMaterial(RGBAColor{1, 0, 0, 1});
    PolyPolygonKey const polygon = model.InsertPolyPolygon(1, &four, square);
    ClipRegionKey const clip = model.InsertClipRegion({ClipLoop{{polygon, polygon}, 0, 1, 0}});
    InstanceArgs clipped;
    clipped.materials[0] = red;
    clipped.clip = clip;
    Insert(model, clipped);
    InstanceArgs extended = Extended();
    extended.flags = 2;
    extended.modifiers = 0x100;
    Insert(model, extended);
    model.InsertGroup({{1, 2}, {1, 1}}, {});
    model.Include(model, 0);
    model.Include(other, 0);
  }
  Model model = Open("m", true);
  ModelImpl& m = model.Impl();
  ASSERT_EQ(m.instances.size(), 2u);
  Instance const& first = *m.instances.Find(1);
  EXPECT_EQ(first.face_material, 1u);
  EXPECT_EQ(first.clip, 1u);
  Instance const& second = *m.instances.Find(2);
  EXPECT_EQ(second.flags, 2u);
  EXPECT_EQ(second.modifiers, 0x100u);
  ASSERT_NE(second.extension, nullptr);
  EXPECT_EQ(second.extension->data.word, 9u);
  EXPECT_EQ(m.instance_extension_count, 1u);

  EXPECT_EQ(m.poly_polygons.Find(1)->lengths, (std::vector<uint32_t>{4}));
  EXPECT_EQ(m.poly_polygons.Find(1)->points[2], (Point{1, 1, 0}));
  EXPECT_EQ(m.clip_regions.Find(1)->loops, (std::vector<ClipLoop>{ClipLoop{{1, 1}, 0, 1, 0}}));
  GroupEntry& group = *m.groups.Find(1);
  m.LoadGroup(group);
  EXPECT_EQ(group.words, (std::vector<uint32_t>{6, 2, 1, 1, 1, 2, 0}));
  ASSERT_EQ(m.includes.size(), 2u);
  EXPECT_EQ(m.includes.Find(1)->attached_id, 0u);
  uint32_t const attached = m.includes.Find(2)->attached_id;
  ASSERT_NE(m.attached_models.Find(attached), nullptr);
  EXPECT_EQ(m.attached_models.Find(attached)->path, "../other");
  EXPECT_EQ(m.next.instance, 3u);
  EXPECT_EQ(m.next.include, 3u);
}

}  // namespace
}  // namespace qx_store_test
