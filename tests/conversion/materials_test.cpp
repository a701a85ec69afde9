// Materials, material maps, textures, images and matrices, each in the
// model once.
#include "ConversionFixture.h"
#include "scene/Definitions.h"
#include "scene/ImageKit.h"
#include "scene/MaterialMappingKit.h"
#include "scene/ShellKey.h"
#include "scene/TextureOptionsKit.h"

namespace qx_conversion_test {
namespace {

using namespace KZV;

using MaterialsTest = ConversionTest;

// Red given directly and by palette index share a key; a gloss without
// textures leaves a plain colour.
TEST_F(MaterialsTest, EqualColorsShareAKeyAndGlossAloneIsAPlainColor) {
  MaterialMappingKit direct, by_palette, glossy;
  direct.SetFaceColor({1, 0, 0, 1});
  by_palette.SetFaceChannel(Material::Channel::DiffuseColor, MaterialSetting::Index(3));
  glossy.SetFaceColor({0, 1, 0, 1}).SetFaceChannel(Material::Channel::Gloss, MaterialSetting::Number(0.5f));
  for (MaterialMappingKit const& mapping : {direct, by_palette, glossy})
    InsertSquare(root.Subsegment().SetMaterialMapping(mapping));
  size_t const materials = impl().materials.size();
  Convert();
  auto const instances = Instances();
  ASSERT_EQ(3u, instances.size());
  EXPECT_NE(0u, instances[0]->face_material);
  EXPECT_EQ(instances[0]->face_material, instances[1]->face_material);
  EXPECT_EQ(materials + 2, impl().materials.size());
  auto const* entry = impl().materials.Find(instances[2]->face_material);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ(QX::Store::MaterialKind::SimpleColor, entry->kind);
  EXPECT_EQ((QX::Store::RGBAColor{0, 1, 0, 1}), impl().simple_colors.at(entry->index));
}

TEST_F(MaterialsTest, ATextureGoesInOnceWithItsImageAndScalars) {
  ImageKit image;
  image.SetFormat(Image::Format::RGB).SetSize(1, 1).SetData({1, 2, 3});
  root.DefineImage("pixels", image);
  root.DefineTexture("wood", "pixels",
                     TextureOptionsKit()
                         .SetParameterizationSource(Material::Texture::Parameterization::UV)
                         .SetTiling(Material::Texture::Tiling::Clamp)
                         .SetDecal(true));
  MaterialMappingKit mapping;
  mapping.SetFaceChannel(Material::Channel::DiffuseTexture, MaterialSetting::TextureName("wood"));
  mapping.SetFaceChannel(Material::Channel::Specular, MaterialSetting::Color(RGBColor{0.3f, 0.6f, 0.9f}));
  root.SetMaterialMapping(mapping);
  InsertSquare(root.Subsegment());
  InsertSquare(root.Subsegment());
  Convert();
  auto const instances = Instances();
  ASSERT_EQ(2u, instances.size());
  EXPECT_EQ(instances[0]->face_material, instances[1]->face_material);
  EXPECT_EQ(1u, impl().images.size());
  auto const* entry = impl().materials.Find(instances[0]->face_material);
  ASSERT_TRUE(entry && entry->kind == QX::Store::MaterialKind::Material);
  auto const& material = impl().material_records.at(entry->index);
  EXPECT_NEAR(0.6f, material.specular, 1e-6);
  ASSERT_EQ(1u, material.textures.size());
  EXPECT_NE(nullptr, impl().images.Find(material.textures[0].image));
  EXPECT_EQ(0u, material.textures[0].matrix);
  EXPECT_EQ(0x10001u, material.textures[0].word);
}

TEST_F(MaterialsTest, ShellsWithTheSameFaceColorsShareMaterialsAndTheirMap) {
  PointArray points{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}};
  ShellKey first = root.InsertShell(points, {3, 0, 1, 2, 3, 0, 2, 3});
  first.SetFaceRGBColorsByRange(0, {{1, 0, 0}, {0, 0, 1}});
  ShellKey second = root.Subsegment().InsertShell(points, {3, 0, 2, 3, 3, 0, 1, 2});
  second.SetFaceRGBColorsByRange(0, {{0, 0, 1}, {1, 0, 0}});
  size_t const materials = impl().materials.size();
  Convert();
  EXPECT_EQ(2u, MeshCount());
  EXPECT_EQ(1u, impl().material_maps.size());
  EXPECT_EQ(materials + 2, impl().materials.size());
}

}  // namespace
}  // namespace qx_conversion_test
