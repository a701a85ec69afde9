// Net attributes and definitions along key paths: what a segment sees
// depends on the path by which it is reached.
#include <gtest/gtest.h>

#include "SceneFixture.h"
#include "scene/ConditionalExpression.h"
#include "scene/Definitions.h"
#include "scene/ImageKit.h"
#include "scene/IncludeKey.h"
#include "scene/KeyPath.h"
#include "scene/MaterialKit.h"
#include "scene/SegmentKits.h"
#include "scene/TextAttributeKit.h"
#include "scene/TextureOptionsKit.h"

using namespace KZV;

namespace {

// root holds a and b; a library segment is included by a under condition
// "c1" and by b.
class KeyPathTest : public SceneTest {
 protected:
  void SetUp() override {
    include_a = a.IncludeSegment(library, ConditionalExpression("c1"));
    include_b = b.IncludeSegment(library);
  }
  void TearDown() override {
    library.Delete();
    SceneTest::TearDown();
  }
  KeyPath PathA() const { return KeyPath({library, include_a, a, root}); }
  KeyPath PathB() const { return KeyPath({library, include_b, b, root}); }

  SegmentKey a = root.Subsegment("a");
  SegmentKey b = root.Subsegment("b");
  SegmentKey library = Database::CreateRootSegment("library");
  IncludeKey include_a, include_b;
};

}  // namespace

TEST_F(KeyPathTest, DefinitionsAreFoundFromTheLeafUpwards) {
  MaterialKit red, green;
  red.SetDiffuse(RGBColor{1, 0, 0});
  green.SetDiffuse(RGBColor{0, 1, 0});
  MaterialPaletteDefinition const far = root.DefineMaterialPalette("colors", {red});
  MaterialPaletteDefinition const near = b.DefineMaterialPalette("colors", {green, red});
  root.SetMaterialPalette("colors");
  UTF8 name;
  ASSERT_TRUE(PathA().ShowNetMaterialPalette(name));
  MaterialPaletteDefinition found;
  ASSERT_TRUE(PathA().ShowEffectiveMaterialPaletteDefinition(name, found));
  EXPECT_EQ(found, far);
  std::vector<MaterialKit> entries;
  EXPECT_TRUE(found.Show(entries) && entries.size() == 1);
  ASSERT_TRUE(PathB().ShowEffectiveMaterialPaletteDefinition(name, found));
  EXPECT_EQ(found.GetInstanceID(), near.GetInstanceID());
  EXPECT_FALSE(PathB().ShowEffectiveMaterialPaletteDefinition("none", found));
  // A texture names its image, found along the path of its user, or holds it.
  ImageKit image;
  image.SetFormat(Image::Format::RGB).SetSize(1, 1).SetData({1, 2, 3});
  ImageDefinition const picture = library.DefineImage("picture", image);
  TextureDefinition const texture = a.DefineTexture(
      "wood", "picture", TextureOptionsKit().SetParameterizationSource(Material::Texture::Parameterization::UV));
  TextureDefinition seen;
  ASSERT_TRUE(PathA().ShowEffectiveTextureDefinition("wood", seen));
  EXPECT_EQ(seen, texture);
  EXPECT_FALSE(PathB().ShowEffectiveTextureDefinition("wood", seen));
  UTF8 image_name;
  ImageDefinition own, resolved;
  EXPECT_FALSE(texture.ShowSource(own));
  ASSERT_TRUE(texture.ShowSource(image_name));
  ASSERT_TRUE(PathA().ShowEffectiveImageDefinition(image_name, resolved));
  EXPECT_EQ(resolved, picture);
  EXPECT_EQ(resolved.Name(), "picture");
  TextureDefinition const holding = a.DefineTexture("direct", picture, TextureOptionsKit());
  EXPECT_TRUE(holding.ShowSource(own) && own == picture);
  EXPECT_FALSE(holding.ShowSource(image_name));
  EXPECT_TRUE(TextureDefinition().Empty());
}
