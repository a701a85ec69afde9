// Texts into meshes: placement by alignment, lines, path and region, and
// the settings read from the text and its attributes.
#include <algorithm>

#include "ConversionFixture.h"
#include "conversion/TextConversion.h"
#include "scene/SearchResults.h"
#include "scene/TextKit.h"

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
  using enum Text::Alignment;
  for (Case const c : {Case{TopLeft, 0, -h}, Case{CenterLeft, 0, -h / 2}, Case{BottomLeft, 0, 0},
                       Case{TopCenter, -w / 2, -h}, Case{Center, -w / 2, -h / 2}, Case{BottomCenter, -w / 2, 0},
                       Case{TopRight, -w, -h}, Case{CenterRight, -w, -h / 2}, Case{BottomRight, -w, 0},
                       Case{Text::Alignment(9), 0, 0}}) {
    SCOPED_TRACE(int(c.alignment));
    settings.alignment = c.alignment;
    Box const b = BoxOf(Placed(settings));
    EXPECT_NEAR(plain.min_x + c.dx, b.min_x, 1e-5);
    EXPECT_NEAR(plain.min_y + c.dy, b.min_y, 1e-5);
  }
  settings.string = "A\ng";
  settings.alignment = BottomLeft;
  EXPECT_LT(BoxOf(Placed(settings)).min_y, plain.min_y - 1) << "a second line sits a line spacing lower";
}

TEST_F(TextToMeshTest, RegionOfThreePointsCarriesTheText) {
  TextSettings settings = Settings("Region");
  // A region in the xz plane along +y, its third point towards +z.
  settings.region_points = {{1, 2, 3}, {1, 6, 3}, {1, 2, 5}};
  settings.region_fitting = Text::RegionFitting::Stretch;
  PointArray const stretched = Placed(settings);
  for (auto const& p : stretched) EXPECT_NEAR(1, p.x, 1e-5) << "in the region's plane";
  Box const box = BoxOf(stretched);
  EXPECT_NEAR(4, box.max_y - box.min_y, 1e-4) << "as long as the region's first side";
  EXPECT_GT(box.max_y, 2) << "along the region's direction";

  settings.region_fitting = Text::RegionFitting::Left;
  TextSettings flat = Settings("Region");
  flat.alignment = Text::Alignment::BottomLeft;
  Box const own = BoxOf(Placed(flat)), kept = BoxOf(Placed(settings));
  EXPECT_NEAR(own.max_x - own.min_x, kept.max_y - kept.min_y, 1e-4) << "other fittings keep the text's size";
  flat.path = {-1e20f, 0, 0};
  EXPECT_NEAR(-own.max_x, BoxOf(Placed(flat)).min_x, 1e-5) << "huge paths are scaled down, then turn the text";
}

class TextSettingsTest : public ::testing::Test {
 protected:
  bool Read(TextKit const& kit, TextAttributeKit const& attributes = TextAttributeKit().SetPath({1, 0, 0})) {
    return ReadTextSettings(kit, attributes, settings);
  }
  TextSettings settings;
};

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

}  // namespace
}  // namespace qx_conversion_test
