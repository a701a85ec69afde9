// Materials, material maps and matrices of a model, and the key checks.
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

class MaterialsTest : public StoreTest {
 protected:
  MaterialsTest() : model(Open("m")), impl(model.Impl()) {}

  // Adds an image to the table directly; image insertion has tests of its own.
  ImageKey AddImage() {
    ImageKey const key = impl.next.image++;
    ImageRecord image;
    image.key = key;
    impl.images.Insert(key, image);
    return key;
  }

  Model model;
  ModelImpl& impl;
};

TEST_F(MaterialsTest, ColoursTakeKeysFromOneCounter) {
  MaterialKey const red = model.InsertMaterial(RGBAColor{1, 0, 0, 1});
  Material textured;
  textured.color = RGBAColor{0, 1, 0, 1};
  MaterialKey const green = model.InsertMaterial(textured);
  EXPECT_EQ(red, 1u);  // 0 is the default material
  EXPECT_EQ(green, 2u);
  EXPECT_EQ(impl.materials.Find(green)->kind, MaterialKind::Material);
  EXPECT_EQ(impl.material_records.at(impl.materials.Find(green)->index).color, textured.color);
}

TEST_F(MaterialsTest, MaterialChecksRunInOrder) {
  ImageKey const image = AddImage();
  Material good;
  good.environment.assign(6, image);
  good.textures = {TextureRef{image, 0, 7}, TextureRef{image, 0, 0}};
  EXPECT_NO_THROW(model.InsertMaterial(good));

  Material three_textures = good;
  three_textures.textures.resize(3);
  three_textures.environment.resize(2);  // bad too, but the textures are counted first
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(three_textures); }),
            "Invalid diffuse texture count.");
  for (size_t count : {2, 5, 7}) {
    Material environment;
    environment.environment.assign(count, image);
    EXPECT_EQ(ThrownText([&] { model.InsertMaterial(environment); }),
              "Invalid environment image count.");
  }

  uint32_t const before = impl.next.material;
  Material bad_image;
  bad_image.environment = {99};
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(bad_image); }), "Used an invalid ImageKey");
  Material bad_matrix;
  bad_matrix.textures = {TextureRef{image, 42, 0}};
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(bad_matrix); }), "Used an invalid MatrixKey");
  Material bad_pattern;
  bad_pattern.line_pattern = 0;
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(bad_pattern); }),
            "Used an invalid LinePatternKey");
  EXPECT_EQ(impl.next.material, before);
}

TEST_F(MaterialsTest, CountChecksComeBeforeTheReadOnlyTest) {
  model = Model();
  Model read_only = Open("m", true);
  Material three;
  three.textures.resize(3);
  EXPECT_EQ(ThrownText([&] { read_only.InsertMaterial(three); }), "Invalid diffuse texture count.");
  EXPECT_EQ(ThrownText([&] { read_only.InsertMaterial(Material{}); }),
            "Attempted to modify a read only model.");
}

TEST_F(MaterialsTest, SetMaterialOverwritesOrTurnsIntoAColour) {
  model.SetMaterial(0, RGBAColor{0.5f, 0.5f, 0.5f, 1});
  EXPECT_EQ(impl.simple_colors.at(impl.materials.Find(0)->index), (RGBAColor{0.5f, 0.5f, 0.5f, 1}));
  size_t const colours = impl.simple_colors.size();

  MaterialKey const key = model.InsertMaterial(Material{});
  model.SetMaterial(key, RGBAColor{0, 0, 1, 1});
  MaterialEntry const& entry = *impl.materials.Find(key);
  EXPECT_EQ(entry.kind, MaterialKind::SimpleColor);
  EXPECT_EQ(impl.simple_colors.size(), colours + 1);
  EXPECT_EQ(impl.simple_colors[entry.index], (RGBAColor{0, 0, 1, 1}));
  EXPECT_EQ(ThrownText([&] { model.SetMaterial(77, RGBAColor{}); }), "Used an invalid MaterialKey");
}

TEST_F(MaterialsTest, MapsAndMatrices) {
  MaterialMapKey const map = model.InsertMaterialMap({5, 77});  // keys aren't checked
  EXPECT_EQ(map, 1u);
  EXPECT_EQ(impl.material_maps.Find(map)->keys, (std::vector<MaterialKey>{5, 77}));

  float const f[12] = {0.1f, 0, 0, 0, 1, 0, 0, 0, 1, 1e30f, -2, 3};
  MatrixKey const a = model.InsertMatrix(f);
  MatrixKey const b = model.InsertMatrix(f);
  EXPECT_EQ(a, 1u);
  EXPECT_EQ(b, 2u);
  double d[12];
  impl.GetMatrix(a, d);
  for (int i = 0; i < 12; ++i) EXPECT_EQ(d[i], double(f[i]));
  EXPECT_EQ(ThrownText([&] { impl.GetMatrix(3, d); }), "Used an invalid MatrixKey");
}

TEST_F(MaterialsTest, KeyChecksNameTheirKind) {
  EXPECT_EQ(ThrownText([&] { impl.CheckMeshKey(9); }), "Used an invalid MeshKey");
  EXPECT_EQ(ThrownText([&] { impl.CheckMaterialMapKey(0); }), "Used an invalid MaterialMapKey");
  EXPECT_EQ(ThrownText([&] { impl.CheckClipRegionKey(1); }), "Used an invalid ClipRegionKey");
  EXPECT_EQ(ThrownText([&] { impl.CheckPolyPolygonKey(1); }), "Used an invalid PolyPolygonKey");
  EXPECT_EQ(ThrownText([&] { impl.CheckDataKey(2); }), "Used an invalid DataKey");
  EXPECT_EQ(ThrownText([&] { impl.CheckGroupKey(1); }), "Used an invalid GroupKey");
  EXPECT_EQ(ThrownText([&] { impl.CheckInstanceKey(1); }), "Used an invalid InstanceKey");
  EXPECT_NO_THROW(impl.CheckDataKey(kMetadataKey));
  EXPECT_NO_THROW(impl.CheckMeshKey(0));
}

TEST(StoreKeyTable, FindsReplacesAndKeepsInsertionOrder) {
  KeyTable<int> table;
  for (uint32_t k = 0; k < 1000; ++k) table.Insert(k * 7919u, int(k));
  table.Insert(7919u, -1);
  EXPECT_EQ(table.size(), 1000u);
  EXPECT_EQ(*table.Find(7919u), -1);
  EXPECT_EQ(*table.Find(999u * 7919u), 999);
  EXPECT_EQ(table.Find(5), nullptr);
  uint32_t expected = 0;
  for (auto const& [key, value] : table) EXPECT_EQ(key, 7919u * expected++);

  KeyTable<int, InstanceInc> pairs;
  pairs.Insert(InstanceInc{1, 2}, 12);
  pairs.Insert(InstanceInc{2, 1}, 21);
  EXPECT_EQ(*pairs.Find(InstanceInc{2, 1}), 21);
  EXPECT_FALSE(pairs.Contains(InstanceInc{1, 1}));
}

}  // namespace
}  // namespace qx_store_test
