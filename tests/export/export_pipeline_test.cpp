// Scenes built in code go through the whole export: a scene of a few hundred
// segments, and point clouds; the page's stream is read back and checked
// against what the scene should give.
#include <gtest/gtest.h>

#include <algorithm>

#include "scene/Database.h"
#include "scene/Definitions.h"
#include "scene/ImageKit.h"
#include "scene/IncludeKey.h"
#include "scene/MaterialMappingKit.h"
#include "scene/MatrixKit.h"
#include "scene/ReferenceKey.h"
#include "scene/SegmentKey.h"
#include "scene/ShellKey.h"
#include "scene/TextureOptionsKit.h"
#include "stream/StreamSummary.h"
#include "tests/export/ExportedStream.h"

namespace {

using namespace KZV;
namespace Tag = QX::Store::Tag;
using qx_test::StreamVertex;

constexpr int kParts = 12;
constexpr int kRows = 12;
constexpr int kChildrenPerRow = 20;

// A box of six quads, shifted so that no two parts look alike.
ShellKey InsertBox(SegmentKey const& segment, float shift) {
  PointArray points;
  for (int i = 0; i < 8; ++i) points.push_back({shift + float(i & 1), float(i >> 1 & 1), float(i >> 2)});
  return segment.InsertShell(points, {4, 0, 2, 3, 1, 4, 4, 5, 7, 6, 4, 0, 1, 5, 4,
                                      4, 1, 3, 7, 5, 4, 3, 2, 6, 7, 4, 2, 0, 4, 6});
}

MaterialMappingKit TextureMapping(char const* texture) {
  MaterialMappingKit mapping;
  mapping.SetFaceChannel(Material::Channel::DiffuseTexture, MaterialSetting::TextureName(texture));
  return mapping;
}

// What the scene is built to give.
struct Expected {
  uint64_t instances = 0;
  uint64_t meshes = 0;
  uint64_t images = 2;
};

// Parts in a library of their own: a box (textured, face colored or plain)
// and two lines through a shared point, which merge into one line mesh. A
// part that is only referenced draws with the referring path's attributes,
// so its texture goes unused: parts 0, 4 and 8 are such, the others are
// included too, and both textures are in use.
struct Part {
  SegmentKey segment;
  ShellKey box;
};

std::vector<Part> BuildParts(SegmentKey const& library, Expected& expected) {
  std::vector<Part> parts;
  for (int p = 0; p < kParts; ++p) {
    SegmentKey part = library.Subsegment();
    ShellKey box = InsertBox(part, float(p));
    if (p % 3 < 2) {
      part.SetMaterialMapping(TextureMapping(p % 3 == 0 ? "skin" : "bark"));
      FloatArray uv;
      for (int i = 0; i < 8; ++i) uv.insert(uv.end(), {float(i & 1), float(i >> 1 & 1)});
      box.SetVertexParametersByRange(0, 8, uv, 2);
    }
    if (p % 2) box.SetFaceRGBColorsByRange(0, {{0.1f * float(p), 0, 0}, {0, 0.5f, 0.5f}});
    part.InsertLine({{0, 0, 0}, {float(p), 1, 0}});
    part.InsertLine({{float(p), 1, 0}, {2, 2, 0}});
    expected.meshes += 2;
    parts.push_back({part, box});
  }
  return parts;
}

// Rows of children that include or reference the parts, with matrices,
// clip regions, colors, and now and then geometry of their own.
void BuildRows(SegmentKey const& scene, std::vector<Part> const& parts, Expected& expected) {
  ImageKit image;
  image.SetFormat(Image::Format::RGB).SetSize(2, 2).SetData({9, 8, 7, 6, 5, 4, 3, 2, 1, 0, 1, 2});
  scene.DefineImage("pixels", image);
  image.SetData({1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4});
  scene.DefineImage("grain", image);
  scene.DefineTexture("skin", "pixels", TextureOptionsKit());
  scene.DefineTexture("bark", "grain", TextureOptionsKit().SetTiling(Material::Texture::Tiling::Clamp));

  for (int r = 0; r < kRows; ++r) {
    SegmentKey row = scene.Subsegment();
    for (int c = 0; c < kChildrenPerRow; ++c) {
      int const i = r * kChildrenPerRow + c;
      SegmentKey child = row.Subsegment();
      child.SetModellingMatrix(MatrixKit().Translate(float(i % 7), float(i / 7), 0));
      Part const& part = parts[i % kParts];
      if (i % 4 == 0) child.ReferenceGeometry(part.segment);
      else child.IncludeSegment(part.segment);
      expected.instances += 2;
      if (i % 5 == 0)
        child.SetClipRegion({{{0, 0, 0}, {4, 0, 0}, {4, 4, 0}}}, Drawing::ClipSpace::World,
                            Drawing::ClipOperation::Keep);
      if (i % 6 == 1) {
        MaterialMappingKit color;
        color.SetFaceColor({(i / 6) % 2 ? 1.0f : 0.0f, 1, 0, 1});
        child.SetMaterialMapping(color);
      }
      if (i % 8 == 3) {
        child.InsertShell({{0, 0, 0}, {1, 0, 0}, {0, float(i), 0}}, {3, 0, 1, 2});
        ++expected.meshes, ++expected.instances;
      }
      if (i % 9 == 2) {
        child.InsertLine({{0, 0, 0}, {float(i), 0, 1}});
        ++expected.meshes, ++expected.instances;
      }
      if (i % 10 == 7) {  // the part's box once more, through a reference of its own
        child.ReferenceGeometry(part.box);
        ++expected.instances;
      }
    }
  }
}

TEST(ExportPipeline, EveryPartOfTheSceneReachesThePageStream) {
  SegmentKey scene = Database::CreateRootSegment("e2e scene");
  SegmentKey library = Database::CreateRootSegment("e2e library");
  Expected expected;
  BuildRows(scene, BuildParts(library, expected), expected);

  std::vector<uint8_t> const stream = qx_test::ExportStream(scene);
  QX::Store::StreamSummary const summary = QX::Store::SummarizeStream(stream);
  EXPECT_EQ(summary.error, "");
  EXPECT_TRUE(summary.dangling.empty()) << QX::Store::FormatSummary(summary);
  EXPECT_EQ(summary.instances, expected.instances);
  EXPECT_EQ(summary.mesh_definitions, expected.meshes);
  EXPECT_EQ(summary.images, expected.images);

  // Clip regions, the children's colors and the parts' textures have
  // records of their own.
  auto const tags = QX::Store::test::TagsOf(QX::Store::test::ReadRecords(stream));
  for (uint32_t tag : {Tag::ClipRegion, Tag::PolyPolygon, Tag::MaterialMap, Tag::Material})
    EXPECT_GT(std::ranges::count(tags, tag), 0) << "tag " << tag;

  scene.Delete();
  library.Delete();
}

struct CloudCase {
  char const* name;
  size_t points;
  bool colored;
};

class PointCloudExport : public testing::TestWithParam<CloudCase> {};

// Every point of the cloud reaches the page once, in one instance, with its
// own color, whatever the number of points and whether they are colored.
TEST_P(PointCloudExport, PagePointsAreTheCloudsPointsWithTheirColors) {
  CloudCase const& c = GetParam();
  SegmentKey scene = Database::CreateRootSegment("cloud");
  PointArray points;
  RGBAColorArray colors;
  std::vector<StreamVertex> expected;
  for (size_t i = 0; i < c.points; ++i) {
    points.push_back({float(i), float(i % 2), 0.5f * float(i)});
    colors.push_back({i % 3 == 0 ? 1.0f : 0.0f, i % 3 == 1 ? 1.0f : 0.0f, i % 3 == 2 ? 1.0f : 0.0f, 1.0f});
    StreamVertex& v = expected.emplace_back(StreamVertex{{points[i].x, points[i].y, points[i].z}, {}});
    if (c.colored) v.color[i % 3] = v.color[3] = 255;
  }
  ShellKey cloud = scene.InsertShell(points, {});
  if (c.colored) cloud.SetVertexRGBAColorsByRange(Shell::Component::Vertices, 0, colors);

  auto const records = qx_test::ExportRecords(scene);
  scene.Delete();
  EXPECT_EQ(qx_test::RecordsOf(records, Tag::Instance).size(), 1u);
  auto const meshes = qx_test::RecordsOf(records, Tag::SmallMesh);
  ASSERT_EQ(meshes.size(), 1u);
  std::vector<StreamVertex> drawn = qx_test::PointVertices(meshes[0]);
  std::ranges::sort(drawn);
  std::ranges::sort(expected);
  EXPECT_EQ(drawn, expected);
}

INSTANTIATE_TEST_SUITE_P(Clouds, PointCloudExport,
                         testing::Values(CloudCase{"ThreeColored", 3, true}, CloudCase{"ThreePlain", 3, false},
                                         CloudCase{"FourColored", 4, true}, CloudCase{"FourPlain", 4, false},
                                         CloudCase{"ManyColored", 1000, true}),
                         [](auto const& info) { return std::string(info.param.name); });

}  // namespace
