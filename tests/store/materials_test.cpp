// Materials, material maps and matrices of a model, and the key checks.
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

using MaterialsTest = ModelTest;

TEST_F(MaterialsTest, MaterialsMapsAndMatricesTakeKeysFromTheirCounters) {
  EXPECT_EQ(model.InsertMaterial(RGBAColor{1, 0, 0, 1}), 1u);  // 0 is the default material
  Material material;
  material.color = {0, 1, 0, 1};
  MaterialKey const green = model.InsertMaterial(material);
  EXPECT_EQ(green, 2u);
  EXPECT_EQ(impl().materials.Find(green)->kind, MaterialKind::Material);
  EXPECT_EQ(impl().material_records.at(impl().materials.Find(green)->index).color, (RGBAColor{0, 1, 0, 1}));

  MaterialMapKey const map = model.InsertMaterialMap({5, 77});  // keys aren't checked
  EXPECT_EQ(map, 1u);
  EXPECT_EQ(impl().material_maps.Find(map)->keys, (std::vector<MaterialKey>{5, 77}));

  float const f[12] = {0.1f, 0, 0, 0, 1, 0, 0, 0, 1, 1e30f, -2, 3};
  EXPECT_EQ(model.InsertMatrix(f), 1u);
  EXPECT_EQ(model.InsertMatrix(f), 2u);
  double d[12];
  impl().GetMatrix(1, d);
  for (int i = 0; i < 12; ++i) EXPECT_EQ(d[i], double(f[i]));
  EXPECT_EQ(ThrownText([&] { impl().GetMatrix(3, d); }), "Used an invalid MatrixKey");
}

// The first broken rule in check order names the error; counts come before
// the read-only test, and no key is spent.
TEST_F(MaterialsTest, MaterialChecksRunInOrder) {
  ImageKey const image = impl().next.image++;
  impl().images.Insert(image, ImageRecord{.toc = {}, .key = image});
  Material good;
  good.textures = {TextureRef{image, 0, 7}, TextureRef{image, 0, 0}};
  good.environment.assign(6, image);
  EXPECT_NO_THROW(model.InsertMaterial(good));

  Material three_textures = good;
  three_textures.textures.resize(3);
  three_textures.environment.resize(2);  // bad too, but the textures are counted first
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(three_textures); }), "Invalid diffuse texture count.");
  for (size_t count : {2, 5, 7}) {
    Material environment;
    environment.environment.assign(count, image);
    EXPECT_EQ(ThrownText([&] { model.InsertMaterial(environment); }), "Invalid environment image count.");
  }
  uint32_t const before = impl().next.material;
  Material bad_image, bad_matrix, bad_pattern;
  bad_image.environment = {99};
  bad_matrix.textures = {TextureRef{image, 42, 0}};
  bad_pattern.line_pattern = 0;
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(bad_image); }), "Used an invalid ImageKey");
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(bad_matrix); }), "Used an invalid MatrixKey");
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(bad_pattern); }), "Used an invalid LinePatternKey");
  EXPECT_EQ(impl().next.material, before);

  Reopen(true);
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(three_textures); }), "Invalid diffuse texture count.");
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(Material{}); }), "Attempted to modify a read only model.");
}

TEST_F(MaterialsTest, SetMaterialOverwritesOrTurnsIntoAColour) {
  model.SetMaterial(0, RGBAColor{0.5f, 0.5f, 0.5f, 1});
  EXPECT_EQ(impl().simple_colors.at(impl().materials.Find(0)->index), (RGBAColor{0.5f, 0.5f, 0.5f, 1}));
  size_t const colours = impl().simple_colors.size();
  MaterialKey const key = model.InsertMaterial(Material{});
  model.SetMaterial(key, RGBAColor{0, 0, 1, 1});
  MaterialEntry const& entry = *impl().materials.Find(key);
  EXPECT_EQ(entry.kind, MaterialKind::SimpleColor);
  EXPECT_EQ(impl().simple_colors.size(), colours + 1);
  EXPECT_EQ(impl().simple_colors[entry.index], (RGBAColor{0, 0, 1, 1}));
  EXPECT_EQ(ThrownText([&] { model.SetMaterial(77, RGBAColor{}); }), "Used an invalid MaterialKey");
}

TEST_F(MaterialsTest, KeyChecksNameTheirKind) {
  ModelImpl& m = impl();
  EXPECT_EQ(ThrownText([&] { m.CheckMeshKey(9); }), "Used an invalid MeshKey");
  EXPECT_EQ(ThrownText([&] { m.CheckMaterialMapKey(0); }), "Used an invalid MaterialMapKey");
  EXPECT_EQ(ThrownText([&] { m.CheckClipRegionKey(1); }), "Used an invalid ClipRegionKey");
  EXPECT_EQ(ThrownText([&] { m.CheckPolyPolygonKey(1); }), "Used an invalid PolyPolygonKey");
  EXPECT_EQ(ThrownText([&] { m.CheckDataKey(2); }), "Used an invalid DataKey");
  EXPECT_EQ(ThrownText([&] { m.CheckGroupKey(1); }), "Used an invalid GroupKey");
  EXPECT_EQ(ThrownText([&] { m.CheckInstanceKey(1); }), "Used an invalid InstanceKey");
  EXPECT_NO_THROW(m.CheckDataKey(kMetadataKey));
  EXPECT_NO_THROW(m.CheckMeshKey(0));
}

}  // namespace
}  // namespace qx_store_test
