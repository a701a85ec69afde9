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

class MaterialsTest : public ConversionTest {
 protected:
  QX::Store::MaterialRecord const& Record(QX::Store::MaterialKey key) {
    auto const* entry = impl().materials.Find(key);
    EXPECT_NE(nullptr, entry);
    EXPECT_EQ(QX::Store::MaterialKind::Material, entry->kind);
    return impl().material_records.at(entry->index);
  }
  ImageDefinition DefineImage(SegmentKey const& segment, char const* name) {
    ImageKit image;
    image.SetFormat(Image::Format::RGB).SetSize(1, 1).SetData({1, 2, 3});
    return segment.DefineImage(name, image);
  }
};

TEST_F(MaterialsTest, WithoutMaterialAttributesOnlyTheDefaultMaterialIsUsed) {
  InsertSquare(root.Subsegment());
  root.Subsegment().InsertLine({{0, 0, 0}, {1, 0, 0}});
  size_t const materials = impl().materials.size();
  Convert();
  EXPECT_EQ(materials, impl().materials.size());
  for (auto const* instance : Instances()) {
    EXPECT_EQ(0u, instance->face_material);
    EXPECT_EQ(0u, instance->line_material);
    EXPECT_EQ(0u, instance->point_material);
    EXPECT_EQ(0u, instance->matrix);
  }
  auto const* entry = impl().materials.Find(0);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ((QX::Store::RGBAColor{1, 0, 1, 1}), impl().simple_colors.at(entry->index));
}

TEST_F(MaterialsTest, EqualColorsFromDifferentMappingsShareAKey) {
  MaterialMappingKit direct, by_palette;
  direct.SetFaceColor({1, 0, 0, 1});
  by_palette.SetFaceChannel(Material::Channel::DiffuseColor, MaterialSetting::Index(3));  // red
  SegmentKey a = root.Subsegment(), b = root.Subsegment();
  a.SetMaterialMapping(direct);
  b.SetMaterialMapping(by_palette);
  InsertSquare(a);
  InsertSquare(b);
  size_t const materials = impl().materials.size();
  Convert();
  auto const instances = Instances();
  ASSERT_EQ(2u, instances.size());
  EXPECT_NE(0u, instances[0]->face_material);
  EXPECT_EQ(instances[0]->face_material, instances[1]->face_material);
  EXPECT_EQ(materials + 1, impl().materials.size());
}

TEST_F(MaterialsTest, ATextureGoesInOnceWithItsImageAndScalars) {
  DefineImage(root, "pixels");
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
  auto const& material = Record(instances[0]->face_material);
  EXPECT_NEAR(0.6f, material.specular, 1e-6);
  ASSERT_EQ(1u, material.textures.size());
  EXPECT_NE(nullptr, impl().images.Find(material.textures[0].image));
  EXPECT_EQ(0u, material.textures[0].matrix);
  EXPECT_EQ(0x10001u, material.textures[0].word);
}

TEST_F(MaterialsTest, GlossWithoutTexturesKeepsOnlyTheColor) {
  MaterialMappingKit mapping;
  mapping.SetFaceColor({0, 1, 0, 1});
  mapping.SetFaceChannel(Material::Channel::Gloss, MaterialSetting::Number(0.5f));
  root.SetMaterialMapping(mapping);
  InsertSquare(root);
  Convert();
  auto const* entry = impl().materials.Find(Instances().at(0)->face_material);
  ASSERT_NE(nullptr, entry);
  EXPECT_EQ(QX::Store::MaterialKind::SimpleColor, entry->kind);
  EXPECT_EQ((QX::Store::RGBAColor{0, 1, 0, 1}), impl().simple_colors.at(entry->index));
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

TEST_F(MaterialsTest, TheIdentityMatrixIsKeyZeroAndEqualMatricesShareAKey) {
  MatrixKit move;
  move.Translate(1, 2, 3);
  root.Subsegment().SetModellingMatrix(MatrixKit::GetDefault());
  InsertSquare(root.Subsegment().SetModellingMatrix(MatrixKit::GetDefault()));
  InsertSquare(root.Subsegment().SetModellingMatrix(move));
  InsertSquare(root.Subsegment().SetModellingMatrix(move));
  size_t const matrices = impl().matrices.size();
  Convert();
  auto const instances = Instances();
  ASSERT_EQ(3u, instances.size());
  EXPECT_EQ(0u, instances[0]->matrix);
  EXPECT_NE(0u, instances[1]->matrix);
  EXPECT_EQ(instances[1]->matrix, instances[2]->matrix);
  EXPECT_EQ(matrices + 1, impl().matrices.size());
}

}  // namespace
}  // namespace qx_conversion_test
