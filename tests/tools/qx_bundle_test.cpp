// `qx bundle` run as a command: every sample model, exported, bundled and
// streamed from its bundle, gives the stream of its directory; failures
// leave no bundle behind.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/TempDir.h"
#include "tests/tools/QxRun.h"

namespace {

namespace fs = std::filesystem;

using qx_tool_test::kModels;
using qx_tool_test::Quoted;
using qx_tool_test::Qx;
using qx_tool_test::QxRun;

// Exports `input` with its work files kept and returns the model directory.
fs::path ExportedModel(fs::path const& input, fs::path const& page) {
  return qx_tool_test::FindBelow(qx_tool_test::ExportKeepingWork(Quoted(input), page), "_digest.qxi").parent_path();
}

class QxBundle : public testing::TestWithParam<char const*> {
 protected:
  qx_test::TempDir dir;
};

TEST_P(QxBundle, BundleStreamsAsItsDirectory) {
  fs::path const input = kModels / GetParam();
  if (!fs::exists(input)) GTEST_SKIP() << "no sample " << GetParam();
  fs::path const model = ExportedModel(input, dir / "page.html");
  ASSERT_FALSE(model.empty());

  QxRun const bundled = Qx("bundle " + Quoted(model) + " " + Quoted(dir / "m.qxz"));
  ASSERT_EQ(bundled.code, 0) << bundled.output;
  QxRun const from_directory = Qx("stream " + Quoted(model) + " " + Quoted(dir / "dir.qxs"));
  ASSERT_EQ(from_directory.code, 0) << from_directory.output;
  QxRun const from_bundle = Qx("stream " + Quoted(dir / "m.qxz"));  // writes m.qxs beside it
  ASSERT_EQ(from_bundle.code, 0) << from_bundle.output;
  std::string const expected = qx_test::ReadText(dir / "dir.qxs");
  EXPECT_FALSE(expected.empty());
  EXPECT_TRUE(qx_test::ReadText(dir / "m.qxs") == expected) << "streams differ";

  QxRun const inspected = Qx("inspect " + Quoted(dir / "m.qxz"));
  EXPECT_EQ(inspected.code, 0) << inspected.output;
  EXPECT_NE(inspected.output.find("_stream_bounding.qxd"), std::string::npos) << inspected.output;
  fs::remove_all(model.parent_path().parent_path());
}

INSTANTIATE_TEST_SUITE_P(
    SampleModels, QxBundle,
    // One model of each kind of content that a bundle carries: embedded and
    // external textures, shared meshes, lines and points, a PLY mesh and a
    // PLY point cloud, and a DXF drawing.
    testing::Values("Duck/Duck.glb", "2CylinderEngine/2CylinderEngine.glb",
                    "MeshPrimitiveModes/MeshPrimitiveModes.gltf", "spider_obj/spider.obj",
                    "stanford_bunny_ply/bun_zipper.ply", "pond_pointcloud_ply/pond.0.ply",
                    "chute_holder_dxf/ChuteHolderPrint.DXF"),
    [](auto const& info) {
      std::string name = fs::path(info.param).parent_path().string();
      for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
      return name;
    });

TEST(QxBundleFailures, NothingIsLeftBehind) {
  qx_test::TempDir dir;
  fs::create_directories(dir / "not-a-model");
  QxRun const not_model = Qx("bundle " + Quoted(dir / "not-a-model") + " " + Quoted(dir / "x.qxz"));
  EXPECT_EQ(not_model.code, 1);
  EXPECT_NE(not_model.output.find("qx bundle: "), std::string::npos) << not_model.output;

  fs::path const model = ExportedModel(kModels / "Duck/Duck.glb", dir / "page.html");
  if (model.empty()) GTEST_SKIP() << "no sample Duck";
  QxRun const nowhere = Qx("bundle " + Quoted(model) + " " + Quoted(dir / "missing" / "x.qxz"));
  EXPECT_EQ(nowhere.code, 1);
  EXPECT_NE(nowhere.output.find("Unable to open file: "), std::string::npos) << nowhere.output;
  EXPECT_FALSE(fs::exists(dir / "x.qxz"));
  EXPECT_FALSE(fs::exists(dir / "missing"));
  QxRun const writable = Qx("stream " + Quoted(dir / "none.qxz"));
  EXPECT_EQ(writable.code, 1);
  fs::remove_all(model.parent_path().parent_path());
}

}  // namespace
