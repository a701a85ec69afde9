// The importer's warnings and errors: a missing texture, and files that are
// absent, empty, unknown or cut short. What the sample models become is
// checked through `qx export` in the command tests.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "scene/MaterialMappingKit.h"
#include "scene/SearchResults.h"
#include "scene/ShellKey.h"
#include "scene/TypeCodes.h"
#include "tests/support/TempDir.h"
#include "tools/importer/AssimpImporter.h"

namespace {

namespace fs = std::filesystem;
using qx_tool::AssimpImporter;

// A quad whose material names a texture that isn't there: a warning, and the
// quad stays one face, without a texture.
TEST(AssimpImporter, MissingTextureIsAWarningNotAFailure) {
  qx_test::TempDir const dir;
  qx_test::WriteText(dir / "quad.mtl", "newmtl paint\nKd 1 0 0\nmap_Kd C:\\textures\\gone.png\n");
  qx_test::WriteText(dir / "quad.obj", "mtllib quad.mtl\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvt 1 0\n"
                                       "vt 1 1\nvt 0 1\nusemtl paint\nf 1/1 2/2 3/3 4/4\n");
  auto const scene = AssimpImporter::Import((dir / "quad.obj").string());
  ASSERT_EQ(scene.warnings.size(), 1u);
  EXPECT_NE(scene.warnings[0].find("gone.png"), std::string::npos) << scene.warnings[0];
  size_t faces = 0, textured = 0;
  std::vector<KZV::SegmentKey> pending{scene.root};
  while (!pending.empty()) {
    KZV::SegmentKey const segment = pending.back();
    pending.pop_back();
    KZV::MaterialMappingKit mapping;
    KZV::Material::Type type{};
    KZV::RGBAColor rgba;
    KZV::UTF8 name;
    float value = 0;
    textured += segment.ShowMaterialMapping(mapping) &&
                mapping.ShowFaceChannel(KZV::Material::Channel::DiffuseTexture, type, rgba, name, value);
    KZV::SearchResults found;
    segment.Find(KZV::Search::Type::Geometry, KZV::Search::Space::SegmentOnly, found);
    for (auto it = found.GetIterator(); it.IsValid(); it.Next())
      if (it.GetItem().Type() == KZV::TypeCode::Shell) faces += KZV::ShellKey(it.GetItem()).GetFaceCount();
    KZV::SegmentKeyArray children;
    segment.ShowSubsegments(children);
    pending.insert(pending.end(), children.begin(), children.end());
  }
  EXPECT_EQ(faces, 1u);
  EXPECT_EQ(textured, 0u);
}

TEST(AssimpImporter, BadInputsAreImportErrors) {
  qx_test::TempDir const dir;
  qx_test::WriteText(dir / "empty.glb", "");
  qx_test::WriteText(dir / "notes.xyz123", "nothing a 3D reader knows\n");
  fs::path const duck = fs::path(QX_SHARED_DIR) / "models/Duck/Duck.glb";
  if (fs::exists(duck)) qx_test::WriteText(dir / "truncated.glb", qx_test::ReadText(duck).substr(0, 2000));
  std::pair<fs::path, char const*> const cases[] = {
      {dir / "absent.glb", "no such file"},     {dir.Path(), "is a directory"},
      {dir / "empty.glb", "is empty"},          {dir / "notes.xyz123", "cannot import"},
      {dir / "truncated.glb", fs::exists(duck) ? "cannot import" : "no such file"},
  };
  for (auto const& [path, words] : cases) {
    try {
      AssimpImporter::Import(path.string());
      ADD_FAILURE() << "no error for " << path;
    } catch (qx_tool::ImportError const& error) {
      EXPECT_NE(std::string(error.what()).find(words), std::string::npos) << error.what();
    }
  }
}

}  // namespace
