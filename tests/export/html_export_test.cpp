#include "export/HtmlExport.h"

#include <gtest/gtest.h>

#include "export/value_types/Exceptions.h"
#include "scene/Database.h"
#include "scene/KeyPath.h"
#include "scene/IncludeKey.h"
#include "scene/MatrixKit.h"
#include "scene/SegmentKey.h"
#include "scene/ShellKey.h"
#include "stream/StreamSummary.h"
#include "tests/export/ExportedStream.h"

namespace {

KZV::KeyPath SceneRoot() { return KZV::KeyPath({KZV::Database::CreateRootSegment("scene")}); }

// Runs the export and returns the IOException it threw.
KZV::IOException ExportFailure(char const* output, char const* page_template) {
  try {
    KZV::HTML::File::Export(SceneRoot(), output, page_template);
  } catch (KZV::IOException const& failure) {
    return failure;
  }
  ADD_FAILURE() << "the export did not fail";
  return KZV::IOException("", -1);
}

TEST(HtmlExport, MissingTemplateFailsFirst) {
  qx_test::TempDir dir;
  std::string const output = (dir / "page.html").string();
  std::string const missing = (dir / "none.html").string();

  KZV::IOException const failure = ExportFailure(output.c_str(), missing.c_str());
  EXPECT_EQ(failure.ResultCode(), 2);
  EXPECT_EQ(std::string(failure.what()), "Unable to open telvis template for HTML export: " + missing);
  EXPECT_FALSE(std::filesystem::exists(output));

  KZV::IOException const no_name = ExportFailure(output.c_str(), nullptr);
  EXPECT_EQ(std::string(no_name.what()), "Unable to open telvis template for HTML export: ");
  EXPECT_EQ(ExportFailure(output.c_str(), "").ResultCode(), 2);
}

TEST(HtmlExport, TemplateWithoutMarkerFailsAtTheEnd) {
  qx_test::TempDir dir;
  qx_test::WriteText(dir / "template.html", "<html>no data here</html>");
  KZV::IOException const failure =
      ExportFailure((dir / "page.html").c_str(), (dir / "template.html").c_str());
  EXPECT_EQ(failure.ResultCode(), 1);
  EXPECT_STREQ(failure.what(), "HTML Export Failed");
  // The exception is the toolkit's, also as its base classes.
  EXPECT_NE(dynamic_cast<std::runtime_error const*>(&failure), nullptr);
}

// A scene of one cube shell reached through two includes, exported and read
// back from the page.
TEST(HtmlExport, SceneBecomesAPageWithItsStream) {
  using namespace KZV;
  SegmentKey scene = Database::CreateRootSegment("scene");
  SegmentKey part = Database::CreateRootSegment("part");
  part.InsertShell({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}},
                   {4, 0, 3, 2, 1, 4, 4, 5, 6, 7, 4, 0, 1, 5, 4, 4, 1, 2, 6, 5,
                    4, 2, 3, 7, 6, 4, 3, 0, 4, 7});
  scene.Subsegment("left").IncludeSegment(part);
  scene.Subsegment("right").SetModellingMatrix(MatrixKit().Translate(3, 0, 0)).IncludeSegment(part);

  QX::Store::StreamSummary const summary = QX::Store::SummarizeStream(qx_test::ExportStream(scene));
  EXPECT_EQ(summary.error, "");
  EXPECT_TRUE(summary.dangling.empty());
  EXPECT_EQ(summary.instances, 2u);
  EXPECT_EQ(summary.mesh_definitions, 1u);
  EXPECT_EQ(summary.triangles, 12u);
  ASSERT_TRUE(summary.bounds.has_value());
  EXPECT_FLOAT_EQ(summary.bounds->max_x, 4.0f);
  scene.Delete();
  part.Delete();
}

}  // namespace
