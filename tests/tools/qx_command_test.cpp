// `qx export`, `qx bundle`, `qx stream` and `qx embed` run as commands: the
// pages and bundles they write, the streams in them, and their errors and
// exit codes.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>

#include "tests/support/TempDir.h"
#include "tests/tools/QxRun.h"

namespace {

namespace fs = std::filesystem;

using qx_test::ReadText;
using qx_tool_test::FindBelow;
using qx_tool_test::kModels;
using qx_tool_test::Quoted;
using qx_tool_test::Qx;
using qx_tool_test::QxRun;
constexpr size_t npos = std::string::npos;

// `qx export ARGUMENTS PAGE` with its work files kept, removed with this:
// the model directory, its data file and `qx inspect` of its stream. Every
// page holds a stream whose references all resolve.
class Exported {
  fs::path work_;

 public:
  Exported(std::string const& arguments, fs::path const& page)
      : work_(qx_tool_test::ExportKeepingWork(arguments, page)),
        model(FindBelow(work_, "_digest.qxi").parent_path()),
        summary(Qx("inspect " + Quoted(FindBelow(work_, ".qxs"))).output),
        data(ReadText(FindBelow(work_, "_data.qxi"))) {
    std::string const html = ReadText(page);
    EXPECT_NE(html.find("<html"), npos);
    EXPECT_EQ(html.find("<!-- QX_MODEL_DATA -->"), npos) << "the stream takes the marker's place";
    EXPECT_NE(summary.find("unresolved references: 0"), npos) << summary;
  }
  ~Exported() {
    if (!work_.empty()) fs::remove_all(work_);
  }

  // The number that follows `name` in the summary, -1 where there is none.
  int Count(std::string const& name) const {
    std::smatch found;
    return std::regex_search(summary, found, std::regex(name + " (\\d+)")) ? std::stoi(found[1].str()) : -1;
  }

  fs::path const model;
  std::string const summary, data;
};

struct Sample {
  char const* model;
  char const* says;  // the counts of its stream, as `qx inspect` gives them
};

class QxSample : public testing::TestWithParam<Sample> {
 protected:
  qx_test::TempDir dir;
};

// Every sample exports without the tree of parts, which only
// --assembly-tree adds; its model, bundled, streams as its directory does.
TEST_P(QxSample, ExportsAndBundlesToTheSameStream) {
  fs::path const input = kModels / GetParam().model;
  if (!fs::exists(input)) GTEST_SKIP() << "no sample " << GetParam().model;
  Exported const exported(Quoted(input), dir / "page.html");
  EXPECT_NE(exported.summary.find(GetParam().says), npos) << exported.summary;
  EXPECT_EQ(exported.data.find("mesh-instance-"), npos);
  ASSERT_FALSE(exported.model.empty());

  QxRun const bundled = Qx("bundle " + Quoted(exported.model) + " " + Quoted(dir / "m.qxz"));
  ASSERT_EQ(bundled.code, 0) << bundled.output;
  QxRun const from_directory = Qx("stream " + Quoted(exported.model) + " " + Quoted(dir / "dir.qxs"));
  ASSERT_EQ(from_directory.code, 0) << from_directory.output;
  EXPECT_NE(from_directory.output.find("Generated .qxs file: "), npos) << from_directory.output;
  QxRun const from_bundle = Qx("stream " + Quoted(dir / "m.qxz"));  // writes m.qxs beside it
  ASSERT_EQ(from_bundle.code, 0) << from_bundle.output;
  std::string const expected = ReadText(dir / "dir.qxs");
  EXPECT_FALSE(expected.empty());
  EXPECT_TRUE(ReadText(dir / "m.qxs") == expected) << "streams differ";
  QxRun const inspected = Qx("inspect " + Quoted(dir / "m.qxz"));
  EXPECT_EQ(inspected.code, 0) << inspected.output;
  EXPECT_NE(inspected.output.find("_stream_bounding.qxd"), npos) << inspected.output;
}

INSTANTIATE_TEST_SUITE_P(
    SampleModels, QxSample,
    // One model of each kind of content: embedded and external textures,
    // shared meshes, lines and points, PLY and STL meshes, a PLY point cloud,
    // a DXF drawing and a deep tree of nodes.
    testing::Values(
        Sample{"Duck/Duck.glb", "instances 1, meshes 1 (records 1, triangles 4212), images 2"},
        Sample{"2CylinderEngine/2CylinderEngine.glb",
               "instances 115, meshes 34 (records 34, triangles 75730), images 0"},
        Sample{"CesiumMilkTruck/CesiumMilkTruck.glb", "instances 5, meshes 4 (records 4, triangles 2856), images 2"},
        Sample{"MeshPrimitiveModes/MeshPrimitiveModes.gltf",
               "instances 7, meshes 7 (records 7, triangles 16), images 0"},
        Sample{"spider_obj/spider.obj", "instances 19, meshes 19 (records 19, triangles 1368), images 7"},
        Sample{"stanford_bunny_ply/bun_zipper.ply", "instances 1, meshes 1 (records 1, triangles 69451), images 0"},
        Sample{"pond_pointcloud_ply/pond.0.ply", "instances 1, meshes 1 (records 1, triangles 0), images 0"},
        Sample{"chute_holder_dxf/ChuteHolderPrint.DXF", "instances 1, meshes 1 (records 1, triangles 0), images 0"},
        Sample{"tray_bottom_stl/1002_tray_bottom.STL", "instances 1, meshes 1 (records 1, triangles 4520), images 0"},
        // A deep node tree placing one mesh 84 times.
        Sample{"RecursiveSkeletons/RecursiveSkeletons.glb",
               "instances 84, meshes 1 (records 1, triangles 76), images 0"}),
    [](auto const& info) {
      std::string name = fs::path(info.param.model).parent_path().string();
      for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
      return name;
    });

class QxCommand : public testing::Test {
 protected:
  qx_test::TempDir dir_;
};

#define REQUIRE_MODEL(relative) \
  if (!fs::exists(kModels / (relative))) GTEST_SKIP() << "no sample " << (relative)

// The file's part names reach the model, and the page's stream has a block
// per node of the tree: more than the 115 instances.
TEST_F(QxCommand, AssemblyTreeCarriesThePartNamesOfTheFile) {
  REQUIRE_MODEL("2CylinderEngine/2CylinderEngine.glb");
  Exported const tree("--assembly-tree " + Quoted(kModels / "2CylinderEngine/2CylinderEngine.glb"), dir_ / "p.html");
  EXPECT_NE(tree.data.find(std::string("Lifter_123-923_0_Parts_1-0\0", 27)), npos);
  EXPECT_NE(tree.data.find("mesh-instance-"), npos);
  EXPECT_GT(tree.Count("keyed data"), 117) << tree.summary;
}

// 70,051 points in nodes of about 10,000, each node its own mesh.
TEST_F(QxCommand, SplitPointCloudsSendsAScanAsOneMeshPerNode) {
  REQUIRE_MODEL("pond_pointcloud_ply/pond.0.ply");
  Exported const pond("--split-point-clouds " + Quoted(kModels / "pond_pointcloud_ply/pond.0.ply"), dir_ / "p.html");
  EXPECT_GE(pond.Count("meshes"), 7) << pond.summary;
  EXPECT_EQ(pond.Count("instances"), pond.Count("meshes"));
}

// The demo's eight bolts are one part, and its generated texture is in the
// stream; the page is all that the export leaves behind.
TEST_F(QxCommand, DemoReusesItsPartsAndHoldsItsTexture) {
  {
    Exported const demo("--demo", dir_ / "kept.html");
    EXPECT_GE(demo.Count("instances"), demo.Count("meshes") + 7) << demo.summary;
    EXPECT_EQ(demo.Count("images"), 1) << demo.summary;
  }
  fs::remove(dir_ / "kept.html");
  QxRun const run = Qx("export --demo " + Quoted(dir_ / "demo.html"));
  ASSERT_EQ(run.code, 0) << run.output;
  EXPECT_EQ(run.output.find("kept"), npos);
  for (auto const& entry : fs::directory_iterator(dir_.Path())) EXPECT_EQ(entry.path(), dir_ / "demo.html");
}

// Every failure names its cause, ends with its exit code and leaves no page
// or bundle behind, nor half a page beside the output.
TEST_F(QxCommand, BadInputsGiveTheirExitCodesAndLeaveNothing) {
  fs::path const page = dir_ / "out.html";
  qx_test::WriteText(dir_ / "empty.glb", "");
  qx_test::WriteText(dir_ / "plain.html", "<html><body>no marker</body></html>\n");
  qx_test::WriteText(dir_ / "scene.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
  fs::create_directories(dir_ / "not-a-model");
  std::string const obj = Quoted(dir_ / "scene.obj"), to_page = " " + Quoted(page);
  struct Case {
    std::string arguments;
    int code;
    char const* words;
  } const cases[] = {
      {"export " + Quoted(dir_ / "absent.glb") + to_page, 1, "no such file"},
      {"export " + Quoted(dir_ / "empty.glb") + to_page, 1, "is empty"},
      {"export " + Quoted(dir_.Path()) + to_page, 1, "is a directory"},
      {"export " + obj + to_page + " --template " + Quoted(dir_ / "plain.html"), 2, "marker"},
      {"export " + obj + to_page + " --template " + Quoted(dir_ / "none.html"), 2, "cannot read the page template"},
      {"export " + obj + " " + Quoted(dir_ / "no/such/dir/out.html"), 3, "cannot write"},
      {"export " + obj + " " + Quoted(dir_.Path()), 3, "is a directory"},
      {"export --demo" + to_page + " --template " + Quoted(dir_ / "plain.html"), 2, "marker"},
      {"bundle " + Quoted(dir_ / "not-a-model") + " " + Quoted(dir_ / "x.qxz"), 1, "qx bundle: "},
      {"stream " + Quoted(dir_ / "none.qxz"), 1, ""},
      {"stream " + Quoted(dir_ / "nothing/here"), 1, ""},
  };
  for (auto const& c : cases) {
    QxRun const run = Qx(c.arguments);
    EXPECT_EQ(run.code, c.code) << c.arguments << "\n" << run.output;
    EXPECT_NE(run.output.find(c.words), npos) << c.arguments << "\n" << run.output;
  }
  for (auto const& entry : fs::directory_iterator(dir_.Path())) {
    EXPECT_NE(entry.path(), page);
    EXPECT_NE(entry.path().extension(), ".qxz");
    EXPECT_EQ(entry.path().string().find(".part-"), npos) << entry.path();
  }
}

// A failed export leaves the old page as it was; a bundle that can't be
// written leaves nothing.
TEST_F(QxCommand, FailuresAfterTheStartLeaveNoHalfWrittenFiles) {
  REQUIRE_MODEL("Duck/Duck.glb");
  fs::path const page = dir_ / "duck.html";
  qx_test::WriteText(page, "the old page");
  qx_test::WriteText(dir_ / "cut.glb", ReadText(kModels / "Duck/Duck.glb").substr(0, 3000));
  QxRun const run = Qx("export " + Quoted(dir_ / "cut.glb") + " " + Quoted(page));
  EXPECT_EQ(run.code, 1) << run.output;
  EXPECT_EQ(ReadText(page), "the old page");

  Exported const duck(Quoted(kModels / "Duck/Duck.glb"), page);
  EXPECT_GT(fs::file_size(page), 100000u);
  QxRun const nowhere = Qx("bundle " + Quoted(duck.model) + " " + Quoted(dir_ / "missing" / "x.qxz"));
  EXPECT_EQ(nowhere.code, 1);
  EXPECT_NE(nowhere.output.find("Unable to open file: "), npos) << nowhere.output;
  EXPECT_FALSE(fs::exists(dir_ / "missing"));
}

// `qx embed` puts a stream into a template in place of its marker, and
// refuses a template that isn't there.
TEST_F(QxCommand, EmbedPutsTheStreamInPlaceOfTheMarker) {
  qx_test::WriteText(dir_ / "s.qxs", "hello");
  qx_test::WriteText(dir_ / "t.html", "<p><!-- QX_MODEL_DATA --></p>");
  std::string const stream = Quoted(dir_ / "s.qxs") + " ";
  QxRun const run = Qx("embed " + stream + Quoted(dir_ / "t.html") + " " + Quoted(dir_ / "page.html"));
  ASSERT_EQ(run.code, 0) << run.output;
  EXPECT_EQ(ReadText(dir_ / "page.html"), "<p>aGVsbG8=</p>");
  EXPECT_EQ(Qx("embed " + stream + Quoted(dir_ / "none.html") + " " + Quoted(dir_ / "p2.html")).code, 1);
}

}  // namespace
