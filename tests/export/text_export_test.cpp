// Texts of a scene through the whole export: the page's stream, read back,
// holds every text as a mesh of faces and outline, with nothing unresolved.
#include <gtest/gtest.h>

#include "geometry/mesh/StreamMesh.h"
#include "scene/Database.h"
#include "scene/IncludeKey.h"
#include "scene/MaterialMappingKit.h"
#include "scene/MatrixKit.h"
#include "scene/TextKit.h"
#include "stream/StreamSummary.h"
#include "tests/export/ExportedStream.h"

namespace {

using namespace KZV;

TEST(TextExport, EveryTextReachesThePageAsFacesAndOutline) {
  SegmentKey scene = Database::CreateRootSegment("text scene");
  SegmentKey library = Database::CreateRootSegment("text library");
  MaterialMappingKit mapping;
  mapping.SetTextColor(MaterialSetting::Color(RGBColor{0.2f, 0.3f, 0.9f}));
  scene.SetMaterialMapping(mapping);

  // A label included twice, a text in a region, one along a path, and
  // texts in several fonts, styles and scripts.
  library.InsertText(TextKit().SetText("Label 8").SetSize(0.5f, Text::SizeUnits::WorldSpace));
  for (float x : {0.0f, 4.0f}) scene.Subsegment().SetModellingMatrix(MatrixKit().Translate(x, 0, 0)).IncludeSegment(library);
  scene.InsertText(TextKit().SetText("region").SetRegion({{0, 2, 0}, {3, 2, 0}, {0, 3, 0}}, Text::RegionAlignment::Top,
                                                         Text::RegionFitting::Stretch, false, false, false));
  SegmentKey const up = scene.Subsegment();
  up.SetTextAttribute(TextAttributeKit().SetPath({0, 1, 0}).SetFont("serif").SetItalic(true));
  up.InsertText(TextKit().SetText("Ωμέγα Жизнь").SetPosition({-1, 0, 0}));
  scene.InsertText(TextKit().SetText("mono bold").SetFont("monospace").SetBold(true).SetPosition({0, -2, 0}));
  scene.InsertText(TextKit().SetText("no such font").SetFont("No Such Font").SetPosition({0, -4, 0}));
  scene.InsertText(TextKit().SetText("   "));  // gives nothing
  constexpr uint64_t kTextMeshes = 5, kTextInstances = 6;

  std::vector<uint8_t> const stream = qx_test::ExportStream(scene);
  QX::Store::StreamSummary const summary = QX::Store::SummarizeStream(stream);
  EXPECT_EQ(summary.error, "");
  EXPECT_TRUE(summary.dangling.empty()) << QX::Store::FormatSummary(summary);
  EXPECT_EQ(kTextInstances, summary.instances);
  EXPECT_EQ(kTextMeshes, summary.mesh_definitions);
  EXPECT_EQ(kTextMeshes, summary.mesh_records);

  uint64_t meshes = 0;
  for (auto const& record : QX::Store::test::ReadRecords(stream)) {
    if (record.tag != QX::Store::kIndexedMeshTag) continue;
    std::vector<std::array<double, 3>> positions;
    std::array<uint64_t, 2> split{};
    ASSERT_TRUE(QX::Store::ParseMeshPositions(record.bytes, positions, split));
    EXPECT_GT(split[0], 30u) << "the glyphs' triangles";
    EXPECT_GT(split[1], split[0] + 30) << "their outlines";
    ++meshes;
  }
  EXPECT_EQ(kTextMeshes, meshes);
  scene.Delete();
  library.Delete();
}

}  // namespace
