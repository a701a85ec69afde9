// Materials, material maps and matrices of a model, and the key checks.
#include "tests/store/StoreFixture.h"

namespace qx_store_test {
namespace {

using MaterialsTest = ModelTest;

// Keys come from one counter per kind; a material set to a colour becomes
// one, and the default material 0 can be set too.
TEST_F(MaterialsTest, MaterialsMapsAndMatricesTakeKeysFromTheirCounters) {
  EXPECT_EQ(model.InsertMaterial(RGBAColor{1, 0, 0, 1}), 1u);
  MaterialKey const key = model.InsertMaterial(Material{});
  EXPECT_EQ(impl().materials.Find(key)->kind, MaterialKind::Material);
  model.SetMaterial(key, RGBAColor{0, 0, 1, 1});
  model.SetMaterial(0, RGBAColor{0.5f, 0.5f, 0.5f, 1});
  MaterialEntry const& entry = *impl().materials.Find(key);
  EXPECT_EQ(entry.kind, MaterialKind::SimpleColor);
  EXPECT_EQ(impl().simple_colors[entry.index], (RGBAColor{0, 0, 1, 1}));
  EXPECT_EQ(impl().simple_colors.at(impl().materials.Find(0)->index), (RGBAColor{0.5f, 0.5f, 0.5f, 1}));
  EXPECT_EQ(ThrownText([&] { model.SetMaterial(77, RGBAColor{}); }), "Used an invalid MaterialKey");

  EXPECT_EQ(model.InsertMaterialMap({5, 77}), 1u);  // keys aren't checked
  float const f[12] = {0.1f, 0, 0, 0, 1, 0, 0, 0, 1, 1e30f, -2, 3};
  EXPECT_EQ(model.InsertMatrix(f), 1u);
  EXPECT_EQ(model.InsertMatrix(f), 2u);
  double d[12];
  impl().GetMatrix(1, d);
  EXPECT_TRUE(std::equal(d, d + 12, f));
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
  std::vector<std::pair<Material, char const*>> cases(6, {good, "Invalid environment image count."});
  cases[0].first.textures.resize(3);  // bad environment too, but the textures are counted first
  cases[0].second = "Invalid diffuse texture count.";
  cases[1].first.environment.resize(2);
  cases[2].first.environment.resize(5);
  cases[3].first.environment = {99};
  cases[3].second = "Used an invalid ImageKey";
  cases[4].first.textures[1].matrix = 42;
  cases[4].second = "Used an invalid MatrixKey";
  cases[5].first.line_pattern = 0;
  cases[5].second = "Used an invalid LinePatternKey";
  uint32_t const before = impl().next.material;
  for (auto const& [material, error] : cases) EXPECT_EQ(ThrownText([&] { model.InsertMaterial(material); }), error);
  EXPECT_EQ(impl().next.material, before);
  Reopen(true);
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(cases[0].first); }), "Invalid diffuse texture count.");
  EXPECT_EQ(ThrownText([&] { model.InsertMaterial(good); }), "Attempted to modify a read only model.");
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
}

}  // namespace
}  // namespace qx_store_test
