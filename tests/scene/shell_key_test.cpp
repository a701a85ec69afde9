// Shells: normals, parameters, colours and material mapping.
#include <gtest/gtest.h>

#include "SceneFixture.h"
#include "export/value_types/Exceptions.h"
#include "scene/MaterialMappingKit.h"
#include "scene/ShellKey.h"

using namespace KZV;

using ShellKeyTest = SceneTest;

TEST_F(ShellKeyTest, ComputedNormalsFollowTheHandednessAndExplicitOnesWin) {
  // Counter-clockwise seen from +z.
  ShellKey shell = root.InsertShell({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {4, 0, 1, 2, 3});
  VectorArray normals;
  ASSERT_TRUE(shell.ShowNetVertexNormalsByRange(0, 4, normals, Drawing::Handedness::Right));
  EXPECT_EQ(normals, VectorArray(4, Vector(0, 0, 1)));
  ASSERT_TRUE(shell.ShowNetVertexNormalsByRange(1, 2, normals, Drawing::Handedness::Left));
  EXPECT_EQ(normals, VectorArray(2, Vector(0, 0, -1)));

  BoolArray valid;
  VectorArray explicit_normals;
  EXPECT_FALSE(shell.ShowVertexNormalsByRange(0, 4, valid, explicit_normals));
  shell.SetVertexNormalsByRange(2, {{1, 0, 0}});
  EXPECT_TRUE(shell.ShowVertexNormalsByRange(0, 4, valid, explicit_normals));
  EXPECT_EQ(valid, (BoolArray{false, false, true, false}));
  shell.ShowNetVertexNormalsByRange(0, 4, normals, Drawing::Handedness::Left);
  EXPECT_EQ(normals[2], Vector(1, 0, 0));
  EXPECT_EQ(normals[3], Vector(0, 0, -1));
  EXPECT_THROW(shell.ShowNetVertexNormalsByRange(3, 2, normals, Drawing::Handedness::Left), IndexOutOfRangeException);
}

TEST_F(ShellKeyTest, VertexParametersKeepTheirStride) {
  ShellKey shell = root.InsertShell({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {3, 0, 1, 2});
  BoolArray valid;
  FloatArray params;
  size_t stride = 0;
  EXPECT_FALSE(shell.ShowVertexParametersByRange(0, 3, valid, params, stride));
  shell.SetVertexParametersByRange(1, 2, {0.5f, 0.25f, 0, 1, 1, 0}, 3);
  ASSERT_TRUE(shell.ShowVertexParametersByRange(0, 3, valid, params, stride));
  EXPECT_EQ(stride, 3u);
  EXPECT_EQ(valid, (BoolArray{false, true, true}));
  EXPECT_EQ(params, (FloatArray{0, 0, 0, 0.5f, 0.25f, 0, 1, 1, 0}));
  EXPECT_THROW(shell.SetVertexParametersByRange(0, 1, {1, 2}, 2), InvalidOperationException);
}

TEST_F(ShellKeyTest, ColorsReportTheirTypesAndMaterialMappingIsItsOwn) {
  ShellKey shell = root.InsertShell({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}}, {3, 0, 1, 2, 3, 1, 3, 2});
  shell.SetVertexRGBColorsByRange(Shell::Component::Faces, 0, {{1, 0, 0}});
  shell.SetVertexRGBAColorsByRange(Shell::Component::Faces, 1, {{0, 1, 0, 0.5f}});
  shell.SetVertexIndexColorsByRange(Shell::Component::Faces, 2, {2.5f});
  MaterialTypeArray types;
  RGBColorArray rgb;
  RGBAColorArray rgba;
  FloatArray values;
  ASSERT_TRUE(shell.ShowVertexColorsByRange(0, 4, Shell::Component::Faces, types, rgb, rgba, values));
  EXPECT_EQ(types, (MaterialTypeArray{Material::Type::RGBColor, Material::Type::RGBAColor,
                                      Material::Type::PaletteIndex, Material::Type::None}));
  EXPECT_EQ(rgb.size(), 4u);
  EXPECT_EQ(rgb[0], (RGBColor{1, 0, 0}));
  EXPECT_EQ(rgba[1], (RGBAColor{0, 1, 0, 0.5f}));
  EXPECT_EQ(values[2], 2.5f);
  EXPECT_FALSE(shell.ShowVertexColorsByRange(0, 4, Shell::Component::Edges, types, rgb, rgba, values));
  EXPECT_FALSE(shell.ShowFaceColorsByRange(0, 2, types, rgb, values));
  shell.SetFaceRGBColorsByRange(1, {{0, 0, 1}});
  ASSERT_TRUE(shell.ShowFaceColorsByRange(0, 2, types, rgb, values));
  EXPECT_EQ(types, (MaterialTypeArray{Material::Type::None, Material::Type::RGBColor}));
  EXPECT_EQ(rgb[1], (RGBColor{0, 0, 1}));
  EXPECT_THROW(shell.SetFaceRGBColorsByRange(2, {{0, 0, 1}}), IndexOutOfRangeException);
  MaterialMappingKit kit;
  EXPECT_FALSE(shell.ShowMaterialMapping(kit));
  shell.SetMaterialMapping(MaterialMappingKit().SetLineColor(MaterialSetting::Index(3)));
  ASSERT_TRUE(shell.ShowMaterialMapping(kit));
  Material::Type type{};
  RGBAColor color;
  float value = 0;
  EXPECT_TRUE(kit.ShowLineColor(type, color, value));
  EXPECT_EQ(type, Material::Type::PaletteIndex);
  EXPECT_EQ(value, 3);
}
