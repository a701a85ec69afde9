// The page export: its failures, and a scene of texts read back from the
// page's stream.
#include "export/HtmlExport.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <optional>

#include "export/value_types/Exceptions.h"
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

TEST(HtmlExport, FailuresNameTheirCauseAndCode) {
  qx_test::TempDir dir;
  std::string const output = (dir / "page.html").string(), missing = (dir / "none.html").string();
  std::string const plain = (dir / "plain.html").string();
  qx_test::WriteText(plain, "<html>no data here</html>");
  std::string const cannot_open = "Unable to open telvis template for HTML export: ";
  struct Case {
    std::optional<std::string> page_template;
    int code;
    std::string what;
  } const cases[] = {{missing, 2, cannot_open + missing}, {std::nullopt, 2, cannot_open}, {"", 2, cannot_open},
                     {plain, 1, "HTML Export Failed"}};  // no marker: found out at the end
  for (Case const& c : cases) {
    try {
      HTML::File::Export(KeyPath({Database::CreateRootSegment("scene")}), output.c_str(),
                         c.page_template ? c.page_template->c_str() : nullptr);
      ADD_FAILURE() << "no failure with " << c.what;
    } catch (std::runtime_error const& error) {  // the toolkit's exception is one too
      auto const* failure = dynamic_cast<IOException const*>(&error);
      ASSERT_NE(failure, nullptr) << error.what();
      EXPECT_EQ(failure->ResultCode(), c.code) << c.what;
      EXPECT_EQ(std::string(failure->what()), c.what);
    }
    EXPECT_FALSE(std::filesystem::exists(output)) << c.what;
  }
}

// A user's temporary folder may be named in any script; the export keeps its
// model there all the same.
TEST(HtmlExport, WorksInATemporaryFolderNamedInAnyScript) {
  qx_test::TempDir dir;
  std::filesystem::path const temp = dir / "t\u00EBmp-\u6A21\u578B-\U0001F600";
  std::filesystem::create_directory(temp);
  char const* const saved = std::getenv("TMPDIR");
  std::string const before = saved ? saved : "";
  setenv("TMPDIR", temp.c_str(), 1);
  SegmentKey scene = Database::CreateRootSegment("script");
  scene.InsertText(TextKit().SetText("\u03A9"));
  EXPECT_EQ(QX::Store::SummarizeStream(qx_test::ExportStream(scene)).mesh_records, 1u);
  saved ? setenv("TMPDIR", before.c_str(), 1) : unsetenv("TMPDIR");
  scene.Delete();
}

// Texts in several fonts, styles and scripts, in a region, along a path and
// included twice: each reaches the page as a mesh of faces and outline.
TEST(HtmlExport, EveryTextReachesThePageAsFacesAndOutline) {
  SegmentKey scene = Database::CreateRootSegment("text scene");
  SegmentKey library = Database::CreateRootSegment("text library");
  MaterialMappingKit mapping;
  mapping.SetTextColor(MaterialSetting::Color(RGBColor{0.2f, 0.3f, 0.9f}));
  scene.SetMaterialMapping(mapping);
  library.InsertText(TextKit().SetText("Label 8").SetSize(0.5f, Text::SizeUnits::WorldSpace));
  for (float x : {0.0f, 4.0f})
    scene.Subsegment().SetModellingMatrix(MatrixKit().Translate(x, 0, 0)).IncludeSegment(library);
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
  EXPECT_EQ(summary.instances, kTextInstances);
  EXPECT_EQ(summary.mesh_definitions, kTextMeshes);
  EXPECT_EQ(summary.mesh_records, kTextMeshes);
  auto const meshes = qx_test::RecordsOf(QX::Store::test::ReadRecords(stream), QX::Store::kIndexedMeshTag);
  EXPECT_EQ(meshes.size(), kTextMeshes);
  for (auto const& record : meshes) {
    std::vector<std::array<double, 3>> positions;
    std::array<uint64_t, 2> split{};
    ASSERT_TRUE(QX::Store::ParseMeshPositions(record.bytes, positions, split));
    EXPECT_GT(split[0], 30u) << "the glyphs' triangles";
    EXPECT_GT(split[1], split[0] + 30) << "their outlines";
  }
  scene.Delete();
  library.Delete();
}

}  // namespace
