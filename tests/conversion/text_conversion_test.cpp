// Texts into meshes: effective settings, placement by alignment, path and
// region, faces and outlines, and their way into the model.
#include <algorithm>
#include <cmath>

#include "ConversionFixture.h"
#include "conversion/TextConversion.h"
#include "scene/SearchResults.h"
#include "scene/TextKit.h"
#include "scene/VisibilityKit.h"

namespace qx_conversion_test {
namespace {

using namespace KZV;

struct Box {
  float min_x, max_x, min_y, max_y;
};

Box BoxOf(PointArray const& points) {
  Box b{1e9f, -1e9f, 1e9f, -1e9f};
  for (auto const& p : points) {
    b.min_x = std::min(b.min_x, p.x), b.max_x = std::max(b.max_x, p.x);
    b.min_y = std::min(b.min_y, p.y), b.max_y = std::max(b.max_y, p.y);
  }
  return b;
}

TextSettings Settings(char const* string) {
  TextSettings s;
  s.string = string;
  s.font = "DejaVu Sans";
  return s;
}

// TextToMesh with a scratch segment of its own.
class TextToMeshTest : public ::testing::Test {
 protected:
  ~TextToMeshTest() override { scratch.Delete(); }

  bool Run(TextSettings const& settings) {
    mesh.Reset();
    for (auto* list : {&mesh.face_elements, &mesh.line_elements}) list->clear();
    bool const made = TextToMesh(settings, scratch, points, mesh, pool);
    SearchResults left;
    EXPECT_EQ(0u, scratch.Find(Search::Type::Everything, Search::Space::SegmentOnly, left)) << "scratch emptied";
    return made;
  }

  PointArray Placed(TextSettings const& settings) {
    EXPECT_TRUE(Run(settings));
    return points;
  }

  SegmentKey scratch = Database::CreateRootSegment("scratch");
  PointArray points;
  QX::Store::MeshData mesh;
  QX::Store::ElementWords pool;
};

TEST_F(TextToMeshTest, MeshHoldsTrianglesAndTheirOutlineWithTupleWidthOne) {
  ASSERT_TRUE(Run(Settings("I")));
  EXPECT_EQ(6u, mesh.flags);
  EXPECT_EQ(0u, mesh.normal_count + mesh.uv_count + mesh.color_count);
  ASSERT_EQ(1u, mesh.face_elements.size());
  ASSERT_EQ(1u, mesh.line_elements.size());
  EXPECT_EQ(6u, mesh.face_elements[0].size()) << "two triangles";
  // One closed polyline round the four corners.
  auto const& line = mesh.line_elements[0];
  ASSERT_EQ(6u, line.size());
  EXPECT_EQ(QX::Store::kNoIndex, line[0]);
  EXPECT_EQ(line[1], line[5]);
  std::vector<uint32_t> corners(line.begin() + 1, line.end() - 1);
  std::sort(corners.begin(), corners.end());
  EXPECT_EQ(4, std::unique(corners.begin(), corners.end()) - corners.begin());

  // "o" has two outlines: the outer one and the hole's.
  ASSERT_TRUE(Run(Settings("o")));
  EXPECT_EQ(2, std::count(mesh.line_elements[0].begin(), mesh.line_elements[0].end(), QX::Store::kNoIndex));
  // Faces stay clockwise seen from +z, as the glyph shell gives them.
  auto const& f = mesh.face_elements[0];
  for (size_t t = 0; t + 2 < f.size(); t += 3) {
    Point const &a = points[f[t]], &b = points[f[t + 1]], &c = points[f[t + 2]];
    EXPECT_LT((b - a).Cross(c - a).z, 0);
  }
}

TEST_F(TextToMeshTest, BlanksGiveNoMesh) {
  EXPECT_FALSE(Run(Settings("")));
  EXPECT_FALSE(Run(Settings("   ")));
  EXPECT_FALSE(Run(Settings("\n\t")));
}

TEST_F(TextToMeshTest, AlignmentBringsItsAnchorToTheOrigin) {
  TextSettings settings = Settings("gA");
  settings.alignment = Text::Alignment::BottomLeft;  // no offset
  Box const plain = BoxOf(Placed(settings));
  ASSERT_GT(plain.min_x, 0) << "the box begins at the side bearing";
  ASSERT_LT(plain.min_y, 0) << "g reaches below the baseline";
  float const w = plain.max_x - plain.min_x, h = plain.max_y - plain.min_y;
  struct Case {
    Text::Alignment alignment;
    float dx, dy;
  };
  for (Case const c : {Case{Text::Alignment::TopLeft, 0, -h}, Case{Text::Alignment::CenterLeft, 0, -h / 2},
                       Case{Text::Alignment::BottomLeft, 0, 0}, Case{Text::Alignment::TopCenter, -w / 2, -h},
                       Case{Text::Alignment::Center, -w / 2, -h / 2}, Case{Text::Alignment::BottomCenter, -w / 2, 0},
                       Case{Text::Alignment::TopRight, -w, -h}, Case{Text::Alignment::CenterRight, -w, -h / 2},
                       Case{Text::Alignment::BottomRight, -w, 0}, Case{Text::Alignment(9), 0, 0}}) {
    SCOPED_TRACE(int(c.alignment));
    settings.alignment = c.alignment;
    Box const b = BoxOf(Placed(settings));
    EXPECT_NEAR(plain.min_x + c.dx, b.min_x, 1e-5);
    EXPECT_NEAR(plain.min_y + c.dy, b.min_y, 1e-5);
  }
}

TEST_F(TextToMeshTest, MatrixScalesAndPathTurnsAndPositionMoves) {
  TextSettings settings = Settings("Tx");
  settings.alignment = Text::Alignment::BottomLeft;
  PointArray const plain = Placed(settings);

  settings.matrix = {2, 0, 0, 0, 2, 0, 0, 0, 2, 0, 0, 0};
  PointArray const doubled = Placed(settings);
  Box const a = BoxOf(plain), b = BoxOf(doubled);
  EXPECT_NEAR(2 * (a.max_x - a.min_x), b.max_x - b.min_x, 1e-5);
  EXPECT_NEAR(2 * (a.max_y - a.min_y), b.max_y - b.min_y, 1e-5);

  // A path out of the plane turns by acos(0): 90 degrees, like +y.
  settings.matrix = TextSettings().matrix;
  for (Vector const path : {Vector(0, 0, 1), Vector(0, 5, 0), Vector(0, -1, 0)}) {
    settings.path = path;
    PointArray const turned = Placed(settings);
    ASSERT_EQ(plain.size(), turned.size());
    for (size_t i = 0; i < plain.size(); ++i) {
      EXPECT_NEAR(-plain[i].y, turned[i].x, 1e-5);
      EXPECT_NEAR(plain[i].x, turned[i].y, 1e-5);
    }
  }
  settings.path = {-1e20f, 0, 0};
  EXPECT_NEAR(-a.max_x, BoxOf(Placed(settings)).min_x, 1e-5) << "huge paths are scaled down first";

  settings.path = {1, 0, 0};
  settings.position = {10, 20, 30};
  PointArray const moved = Placed(settings);
  for (size_t i = 0; i < plain.size(); ++i) EXPECT_EQ(plain[i] + Vector(10, 20, 30), moved[i]);
}

TEST_F(TextToMeshTest, RegionOfThreePointsCarriesTheText) {
  TextSettings settings = Settings("Region");
  // A region in the xz plane along +y, its third point towards +z.
  settings.region_points = {{1, 2, 3}, {1, 6, 3}, {1, 2, 5}};
  settings.region_fitting = Text::RegionFitting::Stretch;
  PointArray const stretched = Placed(settings);
  float lo = 1e9f, hi = -1e9f;
  for (auto const& p : stretched) {
    EXPECT_NEAR(1, p.x, 1e-5) << "in the region's plane";
    lo = std::min(lo, p.y), hi = std::max(hi, p.y);
  }
  EXPECT_NEAR(4, hi - lo, 1e-4) << "as long as the region's first side";
  EXPECT_GT(BoxOf(stretched).max_y, 2) << "along the region's direction";

  settings.region_fitting = Text::RegionFitting::Left;
  TextSettings flat = Settings("Region");
  flat.alignment = Text::Alignment::BottomLeft;
  Box const own = BoxOf(Placed(flat));
  PointArray const kept = Placed(settings);
  lo = 1e9f, hi = -1e9f;
  for (auto const& p : kept) lo = std::min(lo, p.y), hi = std::max(hi, p.y);
  EXPECT_NEAR(own.max_x - own.min_x, hi - lo, 1e-4) << "other fittings keep the text's size";
}

class TextSettingsTest : public ::testing::Test {
 protected:
  bool Read(TextKit const& kit, TextAttributeKit const& attributes = TextAttributeKit().SetPath({1, 0, 0})) {
    return ReadTextSettings(kit, attributes, settings);
  }
  TextSettings settings;
};

TEST_F(TextSettingsTest, OnlyRigidTextsInTheModelsSpaceAreConverted) {
  TextKit kit;
  EXPECT_FALSE(Read(kit)) << "no string";
  kit.SetText("ok");
  EXPECT_TRUE(Read(kit));
  EXPECT_FALSE(Read(kit, TextAttributeKit())) << "neither path nor region";
  EXPECT_EQ(Text::Alignment::BottomCenter, settings.alignment);
  EXPECT_EQ(UTF8("stroked"), settings.font);

  struct Case {
    char const* what;
    TextAttributeKit attributes;
    bool converted;
  };
  Case const cases[] = {
      {"path frame", TextAttributeKit().SetAlignment(Text::Alignment::Center, Text::ReferenceFrame::PathAligned), false},
      {"non-transformable", TextAttributeKit().SetTransform(Text::Transform::NonTransformable), false},
      {"position only", TextAttributeKit().SetTransform(Text::Transform::CharacterPositionOnly), false},
      {"points", TextAttributeKit().SetSize(12, Text::SizeUnits::Points), false},
      {"pixels", TextAttributeKit().SetSize(12, Text::SizeUnits::Pixels), false},
      {"object space", TextAttributeKit().SetSize(2, Text::SizeUnits::ObjectSpace), true},
      {"world space", TextAttributeKit().SetSize(2, Text::SizeUnits::WorldSpace), true},
  };
  for (Case const& c : cases) {
    TextAttributeKit attributes = c.attributes;
    attributes.SetPath({1, 0, 0});
    EXPECT_EQ(c.converted, Read(kit, attributes)) << c.what;
  }
  // The text's own settings come before the inherited ones.
  TextKit own = kit;
  own.SetSize(3, Text::SizeUnits::ObjectSpace).SetBold(true);
  EXPECT_TRUE(Read(own, TextAttributeKit().SetSize(1, Text::SizeUnits::Points).SetItalic(true).SetPath({1, 0, 0})));
  EXPECT_EQ(3u, settings.style);
  EXPECT_EQ(3, settings.matrix[0]);
}

TEST_F(TextSettingsTest, MatrixBlockIsTransposedAndScaledBySize) {
  TextKit kit;
  kit.SetText("m").SetSize(2, Text::SizeUnits::WorldSpace);
  kit.SetModellingMatrix(MatrixKit().SetElements({1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 10, 11, 12, 1}));
  ASSERT_TRUE(Read(kit));
  std::array<float, 12> const expected{2, 8, 14, 4, 10, 16, 6, 12, 18, 10, 11, 12};
  EXPECT_EQ(expected, settings.matrix);
}

TEST_F(TextSettingsTest, RegionsTakeThePositionAndGetAThirdPoint) {
  TextKit kit;
  kit.SetText("r").SetPosition({5, 5, 5});
  kit.SetRegion({{0, 0, 0}, {2, 0, 0}}, Text::RegionAlignment::Top, Text::RegionFitting::Stretch, false, false, false);
  ASSERT_TRUE(Read(kit, TextAttributeKit()));
  ASSERT_EQ(3u, settings.region_points.size());
  EXPECT_EQ(Point(0, 0, 0), settings.position);
  EXPECT_NEAR(0, settings.region_points[2].x, 1e-6);
  EXPECT_NEAR(-2, settings.region_points[2].y, 1e-6) << "a quarter turn clockwise of the first side";

  kit.SetRegion({{0, 0, 0}, {2, 0, 0}, {0, 1, 0}}, Text::RegionAlignment::Top, Text::RegionFitting::Stretch, false,
                true, false);
  ASSERT_TRUE(Read(kit, TextAttributeKit()));
  EXPECT_EQ((PointArray{{5, 5, 5}, {7, 5, 5}, {5, 6, 5}}), settings.region_points) << "relative to the position";

  kit.SetRegion({{0, 0, 0}, {2, 0, 0}}, Text::RegionAlignment::Top, Text::RegionFitting::Stretch, false, false, true);
  EXPECT_FALSE(Read(kit)) << "window space";

  kit.SetRegion({{0, 0, 0}}, Text::RegionAlignment::Top, Text::RegionFitting::Stretch, false, false, true);
  EXPECT_TRUE(Read(kit)) << "one point is no region, and the path places the text";
  EXPECT_TRUE(settings.region_points.empty());
  EXPECT_FALSE(Read(kit, TextAttributeKit()));
}

// Texts of a scene through the converter into the model.
class TextSceneTest : public ConversionTest {};

TEST_F(TextSceneTest, TextMeshesGetTheTextMaterialAndAreSharedByPaths) {
  MaterialMappingKit mapping;
  mapping.SetFaceColor({0, 1, 0, 1}).SetTextColor(MaterialSetting::Color(RGBColor{1, 0, 0}));
  root.SetMaterialMapping(mapping);
  SegmentKey label = Database::CreateRootSegment("label");
  label.InsertText(TextKit().SetText("Hi").SetSize(0.5f, Text::SizeUnits::WorldSpace));
  for (float x : {0.0f, 3.0f}) root.Subsegment().SetModellingMatrix(MatrixKit().Translate(x, 0, 0)).IncludeSegment(label);
  Convert();
  auto const instances = Instances();
  ASSERT_EQ(2u, instances.size());
  EXPECT_EQ(1u, MeshCount());
  EXPECT_EQ(instances[0]->mesh, instances[1]->mesh);
  EXPECT_NE(instances[0]->matrix, instances[1]->matrix);
  EXPECT_EQ(1u, instances[0]->flags & 1) << "shown as faces";
  auto const* face = impl().materials.Find(instances[0]->face_material);
  ASSERT_NE(nullptr, face);
  EXPECT_EQ((QX::Store::RGBAColor{1, 0, 0, 1}), impl().simple_colors.at(face->index));
  EXPECT_EQ(instances[0]->face_material, instances[0]->line_material);

  auto const& mesh = Mesh(instances[0]->mesh);
  EXPECT_EQ(1u, mesh.face_elements.size());
  EXPECT_EQ(1u, mesh.line_elements.size());
  EXPECT_TRUE(mesh.normals.empty());
  Box const b = BoxOf(PointArray(reinterpret_cast<Point const*>(mesh.points.data()),
                                 reinterpret_cast<Point const*>(mesh.points.data() + mesh.points.size())));
  EXPECT_TRUE(b.min_x < 0 && b.max_x > 0) << "centred by the default alignment";
  EXPECT_NEAR(0, b.min_y, 0.02) << "standing on its baseline";
  EXPECT_LT(b.max_y, 0.5f);
  label.Delete();
}

TEST_F(TextSceneTest, TextIsLeftOutWhenHiddenOrScreenBound) {
  SegmentKey const hidden = root.Subsegment();
  hidden.SetVisibility(VisibilityKit().SetText(false));
  hidden.InsertText(TextKit().SetText("hidden"));
  root.Subsegment().InsertText(TextKit().SetText("pixels").SetSize(12, Text::SizeUnits::Pixels));
  root.Subsegment().InsertText(TextKit().SetText("    "));
  Convert();
  EXPECT_EQ(0u, MeshCount());
  EXPECT_TRUE(Instances().empty());
}

}  // namespace
}  // namespace qx_conversion_test
