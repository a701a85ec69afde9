// Imports the sample models and checks the scenes they become.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "scene/Definitions.h"
#include "scene/ImageKit.h"
#include "scene/IncludeKey.h"
#include "scene/KeyPath.h"
#include "scene/MaterialMappingKit.h"
#include "scene/MatrixKit.h"
#include "scene/SearchResults.h"
#include "scene/ShellKey.h"
#include "scene/TypeCodes.h"
#include "tests/support/TempDir.h"
#include "tools/importer/AssimpImporter.h"

namespace {

namespace fs = std::filesystem;
using qx_tool::AssimpImporter;
using qx_tool::ImportError;

fs::path const kModels = fs::path(QX_SHARED_DIR) / "models";

#define REQUIRE_MODEL(relative)                                                   \
  if (!fs::exists(kModels / (relative))) GTEST_SKIP() << "no sample " << (relative); \
  std::string const model_path = (kModels / (relative)).string()

// What a scene draws, with the geometry of included segments counted at
// every place that includes them.
struct Tally {
  size_t segments = 0;      // segments of the tree below the root, the root included
  size_t includes = 0;
  size_t shells = 0;        // shell placements with faces
  size_t faces = 0;         // faces of those placements
  size_t clouds = 0;        // shells without faces
  size_t cloud_points = 0;
  size_t lines = 0;
  size_t line_segments = 0;
  size_t matrices = 0;
  size_t textured = 0;      // placements under a mapping with a diffuse texture
};

void Count(KZV::SegmentKey const& segment, bool owned, bool textured, Tally& tally) {
  if (owned) ++tally.segments;
  KZV::MatrixKit matrix;
  if (owned && segment.ShowModellingMatrix(matrix)) ++tally.matrices;
  KZV::MaterialMappingKit mapping;
  KZV::Material::Type type{};
  KZV::RGBAColor rgba;
  KZV::UTF8 name;
  float value = 0;
  if (segment.ShowMaterialMapping(mapping))
    textured |= mapping.ShowFaceChannel(KZV::Material::Channel::DiffuseTexture, type, rgba, name, value);

  KZV::SearchResults found;
  segment.Find(KZV::Search::Type::Geometry, KZV::Search::Space::SegmentOnly, found);
  for (auto it = found.GetIterator(); it.IsValid(); it.Next()) {
    KZV::Key const key = it.GetItem();
    if (key.Type() == KZV::TypeCode::Shell) {
      KZV::ShellKey const shell(key);
      if (shell.GetFaceCount() == 0) {
        ++tally.clouds;
        tally.cloud_points += shell.GetPointCount();
      } else {
        ++tally.shells;
        tally.faces += shell.GetFaceCount();
        tally.textured += textured;
      }
    } else if (key.Type() == KZV::TypeCode::Line) {
      KZV::PointArray points;
      KZV::LineKey(key).ShowPoints(points);
      ++tally.lines;
      tally.line_segments += points.size() - 1;
    }
  }
  KZV::SegmentKeyArray children;
  segment.ShowSubsegments(children);
  for (auto const& child : children) Count(child, owned, textured, tally);
  KZV::IncludeKeyArray includes;
  segment.ShowIncludes(includes);
  tally.includes += includes.size();
  for (auto const& include : includes) Count(include.GetTarget(), false, textured, tally);
}

Tally CountScene(KZV::SegmentKey const& root) {
  Tally tally;
  Count(root, true, false, tally);
  return tally;
}

size_t CountSubsegments(KZV::SegmentKey const& segment) {
  KZV::SegmentKeyArray children;
  return segment.ShowSubsegments(children);
}

// The image of a texture defined on the root.
KZV::ImageKit TextureImage(KZV::SegmentKey const& root, char const* texture) {
  KZV::TextureDefinition definition;
  KZV::ImageDefinition image;
  KZV::ImageKit kit;
  EXPECT_TRUE(KZV::KeyPath({root}).ShowEffectiveTextureDefinition(texture, definition)) << texture;
  EXPECT_TRUE(definition.ShowSource(image));
  EXPECT_TRUE(image.Show(kit));
  return kit;
}

size_t ReadFileSize(std::string const& path) { return static_cast<size_t>(fs::file_size(path)); }

TEST(AssimpImporter, DuckIsOneTexturedShellWithTheGlbsOwnPng) {
  REQUIRE_MODEL("Duck/Duck.glb");
  auto const scene = AssimpImporter::Import(model_path);
  EXPECT_TRUE(scene.library.Empty());
  EXPECT_TRUE(scene.warnings.empty());
  EXPECT_EQ(scene.root.Name(), "Duck.glb");
  Tally const tally = CountScene(scene.root);
  EXPECT_EQ(tally.shells, 1u);
  EXPECT_EQ(tally.faces, 4212u);
  EXPECT_EQ(tally.textured, 1u);
  EXPECT_GE(tally.matrices, 1u);  // the duck's node is scaled and turned

  KZV::ImageKit const image = TextureImage(scene.root, "texture 1");
  KZV::Image::Format format{};
  KZV::ByteArray bytes;
  uint32_t width = 0, height = 0;
  ASSERT_TRUE(image.ShowFormat(format));
  EXPECT_EQ(format, KZV::Image::Format::Png);
  ASSERT_TRUE(image.ShowSize(width, height));  // read from the PNG's header
  EXPECT_EQ(width, 512u);
  EXPECT_EQ(height, 512u);
  ASSERT_TRUE(image.ShowData(bytes));
  EXPECT_GT(bytes.size(), 1000u);
  EXPECT_LT(bytes.size(), ReadFileSize(model_path));
}

TEST(AssimpImporter, MilkTruckWheelsAreOneSharedShellIncludedTwice) {
  REQUIRE_MODEL("CesiumMilkTruck/CesiumMilkTruck.glb");
  auto const scene = AssimpImporter::Import(model_path);
  ASSERT_FALSE(scene.library.Empty());
  EXPECT_EQ(CountSubsegments(scene.library), 1u);
  Tally const tally = CountScene(scene.root);
  EXPECT_EQ(tally.includes, 2u);
  EXPECT_EQ(tally.faces, 3624u);  // the wheels' triangles twice
  EXPECT_EQ(CountScene(scene.library).faces, 3624u - 2856u);  // the file's triangles, wheels once

  KZV::ImageKit const image = TextureImage(scene.root, "texture 1");
  KZV::Image::Format format{};
  uint32_t width = 0, height = 0;
  ASSERT_TRUE(image.ShowFormat(format));
  EXPECT_EQ(format, KZV::Image::Format::Jpeg);
  ASSERT_TRUE(image.ShowSize(width, height));  // read from the JPEG's frame header
  EXPECT_GT(width, 0u);
  EXPECT_GT(height, 0u);
}

// What each sample file becomes, counted over its placements; -1 where a
// count says nothing about the file.
struct SampleCase {
  char const* model;
  int library_children, segments, includes, shells, faces, line_segments, clouds, cloud_points;
};

class AssimpSample : public testing::TestWithParam<SampleCase> {};

TEST_P(AssimpSample, GivesTheSceneOfTheFile) {
  SampleCase const& c = GetParam();
  REQUIRE_MODEL(c.model);
  auto const scene = AssimpImporter::Import(model_path);
  Tally const t = CountScene(scene.root);
  std::pair<int, size_t> const counts[] = {
      {c.library_children, scene.library.Empty() ? 0 : CountSubsegments(scene.library)},
      {c.segments, t.segments}, {c.includes, t.includes}, {c.shells, t.shells}, {c.faces, t.faces},
      {c.line_segments, t.line_segments}, {c.clouds, t.clouds}, {c.cloud_points, t.cloud_points}};
  for (size_t i = 0; i < std::size(counts); ++i) {
    if (counts[i].first < 0) continue;
    EXPECT_EQ(size_t(counts[i].first), counts[i].second) << "count " << i;
  }
  // Strips and loops stay whole: fewer lines than segments.
  if (t.line_segments > 0) {
    EXPECT_LT(t.lines, t.line_segments);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Samples, AssimpSample,
    testing::Values(
        // Shared meshes placed through includes: 19 of the 34 meshes are
        // placed more than once.
        SampleCase{"2CylinderEngine/2CylinderEngine.glb", 19, 1 + 83 + (34 - 19), 115 - (34 - 19), 115, 121496,
                   -1, -1, -1},
        // A deep node tree placing one mesh 84 times.
        SampleCase{"RecursiveSkeletons/RecursiveSkeletons.glb", 1, 1 + 925, 84, -1, 6384, -1, -1, -1},
        SampleCase{"MeshPrimitiveModes/MeshPrimitiveModes.gltf", -1, -1, -1, -1, 16, 19, 1, 7},
        SampleCase{"tray_bottom_stl/1002_tray_bottom.STL", -1, -1, -1, 1, 4520, -1, -1, -1},
        SampleCase{"pond_pointcloud_ply/pond.0.ply", -1, -1, -1, 0, -1, -1, 1, 70051}),
    [](auto const& info) {
      std::string name = fs::path(info.param.model).stem().string();
      for (char& ch : name)
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
      return name;
    });

TEST(AssimpImporter, ObjTexturesWithWindowsPathsAreFoundBesideTheFile) {
  REQUIRE_MODEL("spider_obj/spider.obj");
  auto const scene = AssimpImporter::Import(model_path);
  Tally const tally = CountScene(scene.root);
  EXPECT_EQ(tally.shells, 19u);
  EXPECT_EQ(tally.faces, 1368u);
  EXPECT_GT(tally.textured, 0u);
  for (auto const& warning : scene.warnings) EXPECT_NE(warning.find("texture left out"), std::string::npos);
}

TEST(AssimpImporter, MissingTextureIsAWarningNotAFailure) {
  qx_test::TempDir const temp;
  fs::path const& dir = temp.Path();
  std::ofstream(dir / "quad.mtl") << "newmtl paint\nKd 1 0 0\nmap_Kd C:\\textures\\gone.png\n";
  std::ofstream(dir / "quad.obj") << "mtllib quad.mtl\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvt 1 0\n"
                                      "vt 1 1\nvt 0 1\nusemtl paint\nf 1/1 2/2 3/3 4/4\n";
  auto const scene = AssimpImporter::Import((dir / "quad.obj").string());
  ASSERT_EQ(scene.warnings.size(), 1u);
  EXPECT_NE(scene.warnings[0].find("gone.png"), std::string::npos) << scene.warnings[0];
  Tally const tally = CountScene(scene.root);
  EXPECT_EQ(tally.faces, 1u);  // a quad stays one face
  EXPECT_EQ(tally.textured, 0u);
}

TEST(AssimpImporter, BadInputsAreImportErrors) {
  qx_test::TempDir const temp;
  fs::path const& dir = temp.Path();
  std::ofstream(dir / "empty.glb").flush();
  std::ofstream(dir / "notes.xyz123") << "nothing a 3D reader knows\n";
  auto expect_error = [](fs::path const& path, char const* words) {
    try {
      AssimpImporter::Import(path.string());
      ADD_FAILURE() << "no error for " << path;
    } catch (ImportError const& error) {
      EXPECT_NE(std::string(error.what()).find(words), std::string::npos) << error.what();
    }
  };
  expect_error(dir / "absent.glb", "no such file");
  expect_error(dir, "is a directory");
  expect_error(dir / "empty.glb", "is empty");
  expect_error(dir / "notes.xyz123", "cannot import");

  fs::path const duck = kModels / "Duck/Duck.glb";
  if (fs::exists(duck)) {
    std::ifstream in(duck, std::ios::binary);
    std::string head(2000, '\0');
    in.read(head.data(), static_cast<std::streamsize>(head.size()));
    std::ofstream(dir / "truncated.glb", std::ios::binary) << head;
    expect_error(dir / "truncated.glb", "cannot import");
  }
}

}  // namespace
