// A scene with every kind of content, read the way the conversion reads
// it: walked with conditions on includes, each geometry turned into lines
// or shells in a scratch window, references followed.
#include <gtest/gtest.h>

#include <map>

#include "SceneFixture.h"
#include "scene/ConditionalExpression.h"
#include "scene/Definitions.h"
#include "scene/ImageKit.h"
#include "scene/IncludeKey.h"
#include "scene/MaterialKit.h"
#include "scene/MaterialMappingKit.h"
#include "scene/ReferenceKey.h"
#include "scene/SceneWalker.h"
#include "scene/SearchResults.h"
#include "scene/ShellKey.h"
#include "scene/TextKit.h"
#include "scene/TextureOptionsKit.h"

using namespace KZV;
using KZVI::Helpers::GrownKeyPath;
using KZVI::Helpers::SceneWalker;

namespace {

class SceneSourceTest : public SceneTest {
 protected:
  void SetUp() override {
    root.SetConditions({"detailed"});
    root.SetMaterialPalette("main");
    MaterialKit grey;
    grey.SetDiffuse(RGBColor{0.5f, 0.5f, 0.5f});
    root.DefineMaterialPalette("main", {grey});
    ImageKit image;
    image.SetFormat(Image::Format::RGBA).SetSize(1, 1).SetData({1, 2, 3, 4});
    root.DefineTexture("checker", root.DefineImage("checker-image", image), TextureOptionsKit());
    root.SetClipRegion({{{0, 0, 0}, {9, 0, 0}, {9, 9, 0}}}, Drawing::ClipSpace::World,
                       Drawing::ClipOperation::Keep);

    SegmentKey curves = root.Subsegment("curves");
    curves.InsertCircle({1, 0, 0}, {0, 1, 0}, {-1, 0, 0});
    curves.InsertCircularArc({1, 0, 0}, {0, 1, 0}, {-1, 0, 0});
    curves.InsertCircularWedge({1, 0, 0}, {0, 1, 0}, {-1, 0, 0});
    curves.InsertEllipse({0, 0, 0}, {2, 0, 0}, {0, 1, 0});
    curves.InsertEllipticalArc({0, 0, 0}, {2, 0, 0}, {0, 1, 0}, 0.1f, 0.6f);
    curves.InsertNURBSCurve({3, {{0, 0, 0}, {1, 2, 0}, {2, -2, 0}, {3, 0, 0}, {4, 1, 0}}, {}, {}, 0, 1});
    curves.InsertLine({{0, 0, 0}, {1, 1, 1}});

    surfaces.SetMaterialMapping(MaterialMappingKit().SetFaceChannel(Material::Channel::DiffuseTexture,
                                                                    MaterialSetting::TextureName("checker")));
    surfaces.InsertSphere({0, 0, 0}, 1, {0, 0, 1}, {1, 0, 0});
    surfaces.InsertCylinder({0, 0, 0}, {0, 0, 1}, 0.5f, CylinderCaps::Both);
    surfaces.InsertPolygon({{0, 0, 0}, {2, 0, 0}, {2, 2, 0}, {1, 1, 0}, {0, 2, 0}});
    surfaces.InsertMesh(2, 2, {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}});
    NURBSSurfaceShape patch{2, 2, 3, 3, {}, {}, {}, {}};
    for (int v = 0; v < 3; ++v)
      for (int u = 0; u < 3; ++u) patch.points.push_back({float(u), float(v), float((u + v) % 2)});
    surfaces.InsertNURBSSurface(patch);
    shell = surfaces.InsertShell({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {3, 0, 1, 2});
    surfaces.InsertText(TextKit().SetText("label"));

    SegmentKey part = Database::CreateRootSegment("part");
    parts.push_back(part);
    part.InsertShell({{0, 0, 0}, {0, 1, 0}, {1, 0, 0}}, {3, 0, 1, 2});
    root.IncludeSegment(part);
    root.IncludeSegment(part, ConditionalExpression("detailed & !simple"));
    root.IncludeSegment(part, ConditionalExpression("simple"));

    SegmentKey holder = root.Subsegment("holder");
    holder.ReferenceGeometry(shell).SetModellingMatrix(MatrixKit().Translate(5, 0, 0));
    holder.ReferenceGeometry(part, ConditionalExpression("simple"));
  }
  void TearDown() override {
    for (SegmentKey& part : parts) part.Delete();
    SceneTest::TearDown();
  }

  SegmentKey surfaces = root.Subsegment("surfaces");
  ShellKey shell;
  std::vector<SegmentKey> parts;
};

bool FollowInclude(GrownKeyPath const& path) {
  ConditionalExpression condition;
  if (!IncludeKey(path.Peek()).ShowConditionalExpression(condition)) return true;
  UTF8Array conditions;
  path->ShowNetConditions(conditions);
  return condition.IsSatisfiedBy(conditions);
}

}  // namespace

TEST_F(SceneSourceTest, EveryGeometryCanBeReadThroughTheWalk) {
  OffScreenWindowKey scratch = Database::CreateOffScreenWindow(100, 100, OffScreenWindowOptionsKit());
  std::map<uint32_t, int> converted;
  int visits = 0, references_followed = 0;
  size_t lines = 0, triangles = 0;

  SceneWalker walker(FollowInclude, [](GrownKeyPath const&) { return true; }, [&](GrownKeyPath const& path) {
    ++visits;
    SearchResults results;
    SegmentKey(path.Peek()).Find(Search::Type::Geometry, Search::Space::SegmentOnly, results);
    for (auto it = results.GetIterator(); it.IsValid(); it.Next()) {
      Key const key = it.GetItem();
      ++converted[key.Type()];
      if (key.HasType(TypeCode::Reference)) {
        ReferenceKey reference(key);
        ConditionalExpression condition;
        UTF8Array conditions;
        path->ShowNetConditions(conditions);
        if (!reference.ShowConditionalExpression(condition) || condition.IsSatisfiedBy(conditions))
          ++references_followed;
        continue;
      }
      if (key.HasType(TypeCode::Line) || key.HasType(TypeCode::Shell) || key.HasType(TypeCode::Text)) continue;
      bool const curve = key.HasType(TypeCode::Circle) || key.HasType(TypeCode::CircularArc) ||
                         key.HasType(TypeCode::CircularWedge) || key.HasType(TypeCode::Ellipse) ||
                         key.HasType(TypeCode::EllipticalArc) || key.HasType(TypeCode::NURBSCurve);
      if (curve) {
        LineKey line = scratch.InsertLineFromGeometry(key, -1.0);
        PointArray points;
        lines += line.ShowPoints(points);
        line.Delete();
      } else {
        ShellKey temporary = scratch.InsertShellFromGeometry(key);
        IntArray strips;
        temporary.ShowTristrips(strips);
        EXPECT_FALSE(strips.empty());
        triangles += strips.size() / 4;
        temporary.Delete();
      }
    }
  });
  walker.Walk(KeyPath({root}));

  EXPECT_EQ(visits, 6);  // root, three children, the part twice
  EXPECT_EQ(converted[TypeCode::Shell], 3);
  EXPECT_EQ(converted[TypeCode::Reference], 2);
  EXPECT_EQ(references_followed, 1);
  EXPECT_EQ(converted[TypeCode::Circle] + converted[TypeCode::NURBSCurve] + converted[TypeCode::Sphere], 3);
  EXPECT_GT(lines, 6u * 10u);
  EXPECT_GT(triangles, 100u);
  SearchResults left;
  EXPECT_EQ(scratch.Find(Search::Type::Everything, Search::Space::SegmentOnly, left), 0u);
  scratch.Delete();
}

TEST_F(SceneSourceTest, MaterialsTexturesAndClipsAsSeenFromASurface) {
  KeyPath const path({surfaces, root});
  UTF8 palette_name;
  ASSERT_TRUE(path.ShowNetMaterialPalette(palette_name));
  MaterialPaletteDefinition palette;
  ASSERT_TRUE(path.ShowEffectiveMaterialPaletteDefinition(palette_name, palette));
  std::vector<MaterialKit> entries;
  ASSERT_TRUE(palette.Show(entries));
  RGBAColor color;
  ASSERT_TRUE(entries.at(0).ShowDiffuseColor(color));
  EXPECT_EQ(color, (RGBAColor{0.5f, 0.5f, 0.5f, 1}));

  MaterialMappingKit mapping;
  ASSERT_TRUE(path.ShowNetMaterialMapping(mapping));
  Material::Type type{};
  UTF8 texture_name;
  float value = 0;
  ASSERT_TRUE(mapping.ShowFaceChannel(Material::Channel::DiffuseTexture, type, color, texture_name, value));
  TextureDefinition texture;
  ASSERT_TRUE(path.ShowEffectiveTextureDefinition(texture_name, texture));
  ImageDefinition image;
  ASSERT_TRUE(texture.ShowSource(image));
  ImageKit pixels;
  ASSERT_TRUE(image.Show(pixels));
  uint32_t width = 0, height = 0;
  EXPECT_TRUE(pixels.ShowSize(width, height));
  EXPECT_EQ(width * height, 1u);

  std::vector<PointArrayArray> regions;
  std::vector<Drawing::ClipSpace> spaces;
  std::vector<Drawing::ClipOperation> operations;
  std::vector<MatrixKit> matrices;
  EXPECT_TRUE(path.ShowNetClipRegions(regions, spaces, operations, matrices));
  EXPECT_EQ(regions.size(), 1u);
}
