#include <gtest/gtest.h>

#include "SceneFixture.h"
#include "scene/ConditionalExpression.h"
#include "scene/Definitions.h"
#include "scene/ImageKit.h"
#include "scene/IncludeKey.h"
#include "scene/KeyPath.h"
#include "scene/MaterialKit.h"
#include "scene/MaterialMappingKit.h"
#include "scene/SegmentKits.h"
#include "scene/TextAttributeKit.h"
#include "scene/TextureOptionsKit.h"
#include "scene/VisibilityKit.h"

using namespace KZV;

namespace {

RGBAColor FaceColor(KeyPath const& path) {
  MaterialMappingKit kit;
  Material::Type type{};
  RGBAColor color;
  UTF8 name;
  float value = 0;
  EXPECT_TRUE(path.ShowNetMaterialMapping(kit));
  EXPECT_TRUE(kit.ShowFaceChannel(Material::Channel::DiffuseColor, type, color, name, value));
  return color;
}

Point NetTransform(KeyPath const& path, Point p) {
  MatrixKit matrix;
  path.ShowNetModellingMatrix(matrix);
  return matrix.Transform(p);
}

// root (translate x 10) holds a and b; a library segment, translated by
// y 1, is included by a under condition "c1" and by b, which scales by 2.
class KeyPathTest : public SceneTest {
 protected:
  void SetUp() override {
    root.SetModellingMatrix(MatrixKit().Translate(10, 0, 0));
    a.SetMaterialMapping(MaterialMappingKit().SetFaceColor({1, 0, 0, 1}));
    b.SetMaterialMapping(MaterialMappingKit().SetFaceColor({0, 0, 1, 1}));
    b.SetModellingMatrix(MatrixKit().Scale(2, 2, 2));
    library.SetModellingMatrix(MatrixKit().Translate(0, 1, 0));
    include_a = a.IncludeSegment(library, ConditionalExpression("c1"));
    include_b = b.IncludeSegment(library);
  }
  void TearDown() override {
    library.Delete();
    SceneTest::TearDown();
  }

  SegmentKey a = root.Subsegment("a");
  SegmentKey b = root.Subsegment("b");
  SegmentKey library = Database::CreateRootSegment("library");
  IncludeKey include_a, include_b;
  KeyPath PathA() const { return KeyPath({library, include_a, a, root}); }
  KeyPath PathB() const { return KeyPath({library, include_b, b, root}); }
};

}  // namespace

TEST_F(KeyPathTest, ASegmentReachedByTwoPathsSeesTwoNetAttributes) {
  EXPECT_EQ(FaceColor(PathA()), (RGBAColor{1, 0, 0, 1}));
  EXPECT_EQ(FaceColor(PathB()), (RGBAColor{0, 0, 1, 1}));
  MaterialMappingKit kit;
  EXPECT_FALSE(KeyPath({library}).ShowNetMaterialMapping(kit));
}

TEST_F(KeyPathTest, NetMatrixTakesLeafCoordinatesToTheTop) {
  EXPECT_EQ(NetTransform(PathA(), {0, 0, 0}), Point(10, 1, 0));
  EXPECT_EQ(NetTransform(PathB(), {0, 0, 0}), Point(10, 2, 0));
  EXPECT_EQ(NetTransform(PathB(), {1, 0, 0}), Point(12, 2, 0));
  MatrixKit matrix;
  EXPECT_FALSE(KeyPath({a}).ShowNetModellingMatrix(matrix));
}

TEST_F(KeyPathTest, OwnersBetweenKeysAreFilledInButNothingAboveTheTop) {
  SegmentKey deep = a.Subsegment("deep").Subsegment("deeper");
  deep.SetModellingMatrix(MatrixKit().Translate(0, 0, 1));
  EXPECT_EQ(NetTransform(KeyPath({deep, root}), {0, 0, 0}), Point(10, 0, 1));
  EXPECT_EQ(NetTransform(KeyPath({deep}), {0, 0, 0}), Point(0, 0, 1));
  // An include at the top end brings in its owner.
  EXPECT_EQ(NetTransform(KeyPath({library, include_b}), {0, 0, 0}), Point(0, 2, 0));
}

TEST_F(KeyPathTest, ConditionsAreCollectedFromTheTopDown) {
  root.SetConditions({"x"});
  a.SetConditions({"y", "x"});
  UTF8Array names;
  ASSERT_TRUE(PathA().ShowNetConditions(names));
  EXPECT_EQ(names, (UTF8Array{"x", "y"}));
  ASSERT_TRUE(PathB().ShowNetConditions(names));
  EXPECT_EQ(names, (UTF8Array{"x"}));
}

TEST_F(KeyPathTest, LowerSettingsOverrideHigherOnesUnlessLocked) {
  root.SetVisibility(VisibilityKit().SetFaces(false).SetLines(false));
  a.SetVisibility(VisibilityKit().SetFaces(true));
  VisibilityKit net;
  bool on = false;
  ASSERT_TRUE(PathA().ShowNetVisibility(net));
  EXPECT_TRUE(net.ShowFaces(on) && on);
  EXPECT_TRUE(net.ShowLines(on) && !on);
  EXPECT_FALSE(net.ShowText(on));

  root.SetAttributeLock(AttributeLockKit().SetLock(AttributeLock::Type::Visibility, true));
  ASSERT_TRUE(PathA().ShowNetVisibility(net));
  EXPECT_TRUE(net.ShowFaces(on) && !on);
}

TEST_F(KeyPathTest, DrawingAndTextAttributesMerge) {
  root.SetDrawingAttribute(DrawingAttributeKit().SetPolygonHandedness(Drawing::Handedness::Right));
  root.SetTextAttribute(TextAttributeKit().SetFont("serif").SetSize(2, Text::SizeUnits::WorldSpace));
  library.SetTextAttribute(TextAttributeKit().SetSize(3, Text::SizeUnits::ObjectSpace));
  DrawingAttributeKit drawing;
  Drawing::Handedness handedness{};
  ASSERT_TRUE(PathA().ShowNetDrawingAttribute(drawing));
  EXPECT_TRUE(drawing.ShowPolygonHandedness(handedness));
  EXPECT_EQ(handedness, Drawing::Handedness::Right);

  TextAttributeKit text;
  ASSERT_TRUE(PathA().ShowNetTextAttribute(text));
  UTF8 font;
  float size = 0;
  Text::SizeUnits units{};
  EXPECT_TRUE(text.ShowFont(font));
  EXPECT_EQ(font, "serif");
  EXPECT_TRUE(text.ShowSize(size, units));
  EXPECT_EQ(size, 3);
  EXPECT_EQ(units, Text::SizeUnits::ObjectSpace);
  Vector path;
  EXPECT_TRUE(text.ShowPath(path));
  EXPECT_EQ(path, Vector(1, 0, 0)) << "the toolkit's default direction";
  library.SetTextAttribute(TextAttributeKit().SetPath({0, 1, 0}));
  ASSERT_TRUE(PathA().ShowNetTextAttribute(text));
  EXPECT_TRUE(text.ShowPath(path));
  EXPECT_EQ(path, Vector(0, 1, 0));
}

TEST_F(KeyPathTest, DefinitionsAreFoundFromTheLeafUpwards) {
  MaterialKit red, green;
  red.SetDiffuse(RGBColor{1, 0, 0});
  green.SetDiffuse(RGBColor{0, 1, 0});
  root.DefineMaterialPalette("colors", {red});
  MaterialPaletteDefinition near = b.DefineMaterialPalette("colors", {green, red});
  root.SetMaterialPalette("colors");

  UTF8 name;
  ASSERT_TRUE(PathA().ShowNetMaterialPalette(name));
  MaterialPaletteDefinition found;
  ASSERT_TRUE(PathA().ShowEffectiveMaterialPaletteDefinition(name, found));
  std::vector<MaterialKit> entries;
  EXPECT_TRUE(found.Show(entries));
  EXPECT_EQ(entries.size(), 1u);
  ASSERT_TRUE(PathB().ShowEffectiveMaterialPaletteDefinition(name, found));
  EXPECT_EQ(found, near);
  EXPECT_EQ(found.GetInstanceID(), near.GetInstanceID());
  EXPECT_FALSE(PathB().ShowEffectiveMaterialPaletteDefinition("none", found));

  ImageKit image;
  image.SetFormat(Image::Format::RGB).SetSize(1, 1).SetData({1, 2, 3});
  ImageDefinition picture = library.DefineImage("picture", image);
  TextureDefinition texture = a.DefineTexture(
      "wood", "picture", TextureOptionsKit().SetParameterizationSource(Material::Texture::Parameterization::UV));
  TextureDefinition seen;
  ASSERT_TRUE(PathA().ShowEffectiveTextureDefinition("wood", seen));
  EXPECT_FALSE(PathB().ShowEffectiveTextureDefinition("wood", seen));
  UTF8 image_name;
  ImageDefinition own;
  EXPECT_FALSE(texture.ShowSource(own));
  ASSERT_TRUE(texture.ShowSource(image_name));
  ImageDefinition resolved;
  ASSERT_TRUE(PathA().ShowEffectiveImageDefinition(image_name, resolved));
  EXPECT_EQ(resolved, picture);
  EXPECT_EQ(resolved.Name(), "picture");

  TextureDefinition holding = a.DefineTexture("direct", picture, TextureOptionsKit());
  EXPECT_TRUE(holding.ShowSource(own));
  EXPECT_EQ(own, picture);
  EXPECT_FALSE(holding.ShowSource(image_name));
  EXPECT_TRUE(TextureDefinition().Empty());
}

TEST_F(KeyPathTest, ClipRegionsComeWithSpaceOperationAndMatrix) {
  PointArrayArray square = {{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}};
  root.SetClipRegion(square, Drawing::ClipSpace::World, Drawing::ClipOperation::Remove);
  library.SetClipRegion(square, Drawing::ClipSpace::Window, Drawing::ClipOperation::Keep);
  std::vector<PointArrayArray> regions;
  std::vector<Drawing::ClipSpace> spaces;
  std::vector<Drawing::ClipOperation> operations;
  std::vector<MatrixKit> matrices;
  ASSERT_TRUE(PathB().ShowNetClipRegions(regions, spaces, operations, matrices));
  ASSERT_EQ(regions.size(), 2u);
  EXPECT_EQ(regions[0], square);
  EXPECT_EQ(spaces, (std::vector{Drawing::ClipSpace::World, Drawing::ClipSpace::Window}));
  EXPECT_EQ(operations, (std::vector{Drawing::ClipOperation::Remove, Drawing::ClipOperation::Keep}));
  EXPECT_EQ(matrices[0].Transform(Point(0, 0, 0)), Point(10, 0, 0));
  EXPECT_EQ(matrices[1].Transform(Point(0, 0, 0)), Point(10, 2, 0));
  // A path cut below the root sees only the regions on it.
  ASSERT_TRUE(KeyPath({library, include_b, b}).ShowNetClipRegions(regions, spaces, operations, matrices));
  EXPECT_EQ(regions.size(), 1u);
  EXPECT_FALSE(KeyPath({b}).ShowNetClipRegions(regions, spaces, operations, matrices));
  EXPECT_TRUE(regions.empty());
}
