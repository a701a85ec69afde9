// `qx export` and `qx demo` run as commands: the pages they write, the
// streams in them, and their errors and exit codes.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <regex>
#include <string>

#include "tests/export/Base64Reference.h"
#include "tests/support/TempDir.h"
#include "tests/tools/QxRun.h"

namespace {

namespace fs = std::filesystem;

using qx_test::ReadText;
using qx_tool_test::ExportKeepingWork;
using qx_tool_test::FindBelow;
using qx_tool_test::kModels;
using qx_tool_test::Quoted;
using qx_tool_test::Qx;
using qx_tool_test::QxRun;

class QxCommand : public testing::Test {
 protected:
  // Runs `qx export ARGUMENTS` with the work files kept and returns
  // `qx inspect` of the stream.
  std::string ExportAndInspect(std::string const& arguments) {
    fs::path const page = dir_ / "page.html";
    fs::path const work = ExportKeepingWork(arguments, page);
    std::string const summary = Qx("inspect " + Quoted(FindBelow(work, ".qxs"))).output;
    fs::remove_all(work);
    EXPECT_NE(ReadText(page).find("<html"), std::string::npos);
    return summary;
  }

  qx_test::TempDir dir_;
};

#define REQUIRE_MODEL(relative) \
  if (!fs::exists(kModels / (relative))) GTEST_SKIP() << "no sample " << (relative)

TEST_F(QxCommand, SharedMeshesBecomeOneMeshRecordAndManyInstances) {
  REQUIRE_MODEL("2CylinderEngine/2CylinderEngine.glb");
  std::string const summary = ExportAndInspect(Quoted(kModels / "2CylinderEngine/2CylinderEngine.glb"));
  EXPECT_NE(summary.find("instances 115, meshes 34 (records 34, triangles 75730)"), std::string::npos) << summary;
  EXPECT_NE(summary.find("unresolved references: 0"), std::string::npos) << summary;
}

TEST_F(QxCommand, EmbeddedTexturesReachTheStream) {
  REQUIRE_MODEL("CesiumMilkTruck/CesiumMilkTruck.glb");
  std::string const summary = ExportAndInspect(Quoted(kModels / "CesiumMilkTruck/CesiumMilkTruck.glb"));
  EXPECT_NE(summary.find("instances 5, meshes 4 (records 4, triangles 2856)"), std::string::npos) << summary;
  EXPECT_EQ(summary.find("images 0"), std::string::npos) << summary;
}

TEST_F(QxCommand, SplitPointCloudsSendsAScanAsOneMeshPerNode) {
  REQUIRE_MODEL("pond_pointcloud_ply/pond.0.ply");
  std::string const summary =
      ExportAndInspect("--split-point-clouds " + Quoted(kModels / "pond_pointcloud_ply/pond.0.ply"));
  std::smatch counts;
  ASSERT_TRUE(std::regex_search(summary, counts, std::regex("instances (\\d+), meshes (\\d+)"))) << summary;
  EXPECT_GE(std::stoi(counts[2].str()), 7) << "70,051 points in nodes of about 10,000";
  EXPECT_EQ(counts[1].str(), counts[2].str());
  EXPECT_NE(summary.find("unresolved references: 0"), std::string::npos) << summary;
}

// The tree of named parts reaches the model only with --assembly-tree.
TEST_F(QxCommand, AssemblyTreeCarriesThePartNamesOfTheFile) {
  REQUIRE_MODEL("2CylinderEngine/2CylinderEngine.glb");
  auto data_of = [&](std::string const& flags) {
    fs::path const work =
        ExportKeepingWork(flags + " " + Quoted(kModels / "2CylinderEngine/2CylinderEngine.glb"), dir_ / "page.html");
    std::string const data = ReadText(FindBelow(work, "_data.qxi"));
    fs::remove_all(work);
    return data;
  };
  std::string const with_tree = data_of("--assembly-tree");
  EXPECT_NE(with_tree.find(std::string("Lifter_123-923_0_Parts_1-0\0", 27)), std::string::npos);
  EXPECT_NE(with_tree.find("mesh-instance-"), std::string::npos);
  EXPECT_EQ(data_of("").find("mesh-instance-"), std::string::npos);
}

// The page's stream carries the tree: the metadata block and a block per
// node, one for each of the 115 instances and more for the root and parts.
TEST_F(QxCommand, AssemblyTreeReachesThePageStream) {
  REQUIRE_MODEL("2CylinderEngine/2CylinderEngine.glb");
  std::string const summary =
      ExportAndInspect("--assembly-tree " + Quoted(kModels / "2CylinderEngine/2CylinderEngine.glb"));
  std::smatch keyed;
  ASSERT_TRUE(std::regex_search(summary, keyed, std::regex("keyed data (\\d+)"))) << summary;
  EXPECT_GT(std::stoi(keyed[1].str()), 117) << summary;
}

TEST_F(QxCommand, DemoWritesAPageWithItsStreamInPlaceOfTheMarker) {
  fs::path const page = dir_ / "demo.html";
  QxRun const run = Qx("export --demo " + Quoted(page));
  ASSERT_EQ(run.code, 0) << run.output;
  std::string const html = ReadText(page);
  EXPECT_EQ(html.find("<!-- QX_MODEL_DATA -->"), std::string::npos);  // the stream took the marker's place
  EXPECT_EQ(run.output.find("kept"), std::string::npos);
  for (auto const& entry : fs::directory_iterator(dir_.Path())) EXPECT_EQ(entry.path(), page);
}

// The demo's eight bolts are one part: fewer meshes than instances, and
// its generated texture is in the stream.
TEST_F(QxCommand, DemoStreamReusesItsPartsAndHoldsItsTexture) {
  std::string const summary = ExportAndInspect("--demo");
  std::smatch counts;
  ASSERT_TRUE(std::regex_search(summary, counts, std::regex("instances (\\d+), meshes (\\d+)"))) << summary;
  EXPECT_GE(std::stoi(counts[1].str()), std::stoi(counts[2].str()) + 7) << summary;
  EXPECT_NE(summary.find("images 1"), std::string::npos) << summary;
  EXPECT_NE(summary.find("unresolved references: 0"), std::string::npos) << summary;
}

// Every failure names its cause, ends with its exit code and leaves no
// page behind, nor half a page beside the output.
TEST_F(QxCommand, BadInputsGiveTheirExitCodesAndNoPage) {
  fs::path const page = dir_ / "out.html";
  std::ofstream(dir_ / "empty.glb").flush();
  std::ofstream(dir_ / "plain.html") << "<html><body>no marker</body></html>\n";
  std::ofstream(dir_ / "scene.obj") << "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n";
  struct Case {
    std::string arguments;
    int code;
    char const* words;
  } const cases[] = {
      {"export " + Quoted(dir_ / "absent.glb") + " " + Quoted(page), 1, "no such file"},
      {"export " + Quoted(dir_ / "empty.glb") + " " + Quoted(page), 1, "is empty"},
      {"export " + Quoted(dir_.Path()) + " " + Quoted(page), 1, "is a directory"},
      {"export " + Quoted(dir_ / "scene.obj") + " " + Quoted(page) + " --template " + Quoted(dir_ / "plain.html"), 2,
       "marker"},
      {"export " + Quoted(dir_ / "scene.obj") + " " + Quoted(page) + " --template " + Quoted(dir_ / "none.html"), 2,
       "cannot read the page template"},
      {"export " + Quoted(dir_ / "scene.obj") + " " + Quoted(dir_ / "no/such/dir/out.html"), 3, "cannot write"},
      {"export " + Quoted(dir_ / "scene.obj") + " " + Quoted(dir_.Path()), 3, "is a directory"},
      {"export --demo " + Quoted(page) + " --template " + Quoted(dir_ / "plain.html"), 2, "marker"},
  };
  for (auto const& c : cases) {
    QxRun const run = Qx(c.arguments);
    EXPECT_EQ(run.code, c.code) << c.arguments << "\n" << run.output;
    EXPECT_NE(run.output.find(c.words), std::string::npos) << c.arguments << "\n" << run.output;
    EXPECT_FALSE(fs::exists(page)) << c.arguments;
  }
  for (auto const& entry : fs::directory_iterator(dir_.Path()))
    EXPECT_EQ(entry.path().string().find(".part-"), std::string::npos) << entry.path();
}

TEST_F(QxCommand, AFailedExportLeavesTheOldPageAsItWas) {
  REQUIRE_MODEL("Duck/Duck.glb");
  fs::path const page = dir_ / "duck.html";
  std::ofstream(page) << "the old page";
  std::string const truncated = ReadText(kModels / "Duck/Duck.glb").substr(0, 3000);
  std::ofstream(dir_ / "cut.glb", std::ios::binary) << truncated;
  QxRun const run = Qx("export " + Quoted(dir_ / "cut.glb") + " " + Quoted(page));
  EXPECT_EQ(run.code, 1) << run.output;
  EXPECT_EQ(ReadText(page), "the old page");
  ASSERT_EQ(Qx("export " + Quoted(kModels / "Duck/Duck.glb") + " " + Quoted(page)).code, 0);
  EXPECT_GT(fs::file_size(page), 100000u);
}

}  // namespace

// A model directory left by an export streams again on its own, to the
// same content, and a directory that holds no model is refused.
TEST_F(QxCommand, StreamWritesAModelDirectorysStream) {
  fs::path const work = ExportKeepingWork("--demo", dir_ / "page.html");
  fs::path const model = FindBelow(work, "_digest.qxi").parent_path();
  ASSERT_FALSE(model.empty());

  fs::path const stream = dir_ / "again.qxs";
  QxRun const streamed = Qx("stream " + Quoted(model) + " " + Quoted(stream));
  EXPECT_EQ(streamed.code, 0) << streamed.output;
  EXPECT_NE(streamed.output.find("Generated .qxs file: "), std::string::npos) << streamed.output;
  std::string const summary = Qx("inspect " + Quoted(stream)).output;
  EXPECT_NE(summary.find("unresolved references: 0"), std::string::npos) << summary;
  EXPECT_EQ(Qx("inspect " + Quoted(stream)).output,
            Qx("inspect " + Quoted(model / "tmp.qxs")).output);
  fs::remove_all(work);

  EXPECT_EQ(Qx("stream " + Quoted(dir_ / "nothing/here")).code, 1);
}

// A 10 MB stream goes into a page and comes back from it byte for byte.
TEST_F(QxCommand, EmbedRoundTripsALargeStream) {
  std::string stream(10u << 20, '\0');
  std::mt19937 random(5);
  for (char& byte : stream) byte = static_cast<char>(random());
  std::ofstream(dir_ / "big.qxs", std::ios::binary) << stream;
  std::ofstream(dir_ / "t.html") << "<p><!-- QX_MODEL_DATA --></p>";
  QxRun const run = Qx("embed " + Quoted(dir_ / "big.qxs") + " " + Quoted(dir_ / "t.html") +
                                  " " + Quoted(dir_ / "page.html"));
  ASSERT_EQ(run.code, 0) << run.output;
  std::string const page = ReadText(dir_ / "page.html");
  ASSERT_TRUE(page.starts_with("<p>") && page.ends_with("</p>"));
  auto const decoded = qx_test::DecodeBase64(std::string_view(page).substr(3, page.size() - 7));
  ASSERT_TRUE(decoded.has_value());
  EXPECT_TRUE(std::string(decoded->begin(), decoded->end()) == stream);

  EXPECT_EQ(Qx("embed " + Quoted(dir_ / "big.qxs") + " " + Quoted(dir_ / "none.html") + " " +
                  Quoted(dir_ / "p2.html")).code,
            1);
}
