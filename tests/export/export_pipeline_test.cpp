// A scene of a few hundred segments goes through the whole export; the
// page's stream is read back and checked against what the scene should give.
#include <gtest/gtest.h>

#include <set>
#include <utility>

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
using QX::Store::test::ReadRecord;

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

using Known = std::set<std::pair<uint32_t, uint32_t>>;  // (context, key)

// Every key that the stream defines, by kind, and what its records refer to.
struct StreamContents {
  explicit StreamContents(std::vector<ReadRecord> const& records) {
    for (ReadRecord const& r : records) Define(r);
  }

  void Define(ReadRecord const& r) {
    std::pair<uint32_t, uint32_t> const key{r.context, r.tag == Tag::MeshDef ? r.Word(2) : r.Word(1)};
    switch (r.tag) {
      case Tag::Instance: instances.insert({r.context, r.Word(2)}); break;
      case Tag::MeshDef: meshes.insert(key); break;
      case Tag::SimpleColor: case Tag::Material: case Tag::FullMaterial: materials.insert(key); break;
      case Tag::Image: case Tag::ImageReuse: images.insert(key); break;
      case Tag::MaterialMap: maps.insert(key); break;
      case Tag::Matrix: matrices.insert(key); break;
      case Tag::ClipRegion: clips.insert(key); break;
      case Tag::PolyPolygon: polygons.insert(key); break;
      default: break;
    }
  }

  Known instances, meshes, materials, images, maps, matrices, clips, polygons;
};

// The references that the stream's own checker leaves aside: material maps,
// clip regions with their polygons and matrices, and the images of materials.
// Every record is checked against the whole stream.
std::vector<std::string> UnresolvedAssets(std::vector<ReadRecord> const& records,
                                          StreamContents const& s) {
  std::vector<std::string> missing;
  auto need = [&missing](Known const& known, uint32_t context, uint32_t key, char const* what) {
    if (key != 0 && key != QX::Store::kNoKey && !known.contains({context, key}))
      missing.push_back(std::string(what) + " " + std::to_string(key));
  };
  for (ReadRecord const& r : records) {
    switch (r.tag) {
      case Tag::Instance:
        for (size_t w = 11; w < 14; ++w) need(s.maps, r.context, r.Word(w), "material map");
        need(s.clips, r.context, r.Word(14), "clip region");
        break;
      case Tag::MeshDef:
        for (size_t w = 8; w < 11; ++w) need(s.maps, r.Word(1), r.Word(w), "material map");
        break;
      case Tag::MaterialMap:
        if (r.Word(2) == 0)
          for (size_t k = 0; k < r.Word(3); ++k) need(s.materials, r.context, r.Word(4 + k), "mapped material");
        break;
      case Tag::Material: {
        size_t const environment = r.Word(9), textures = r.Word(10);
        for (size_t e = 0; e < environment; ++e) need(s.images, r.context, r.Word(12 + e), "image");
        for (size_t t = 0; t < textures; ++t) {
          need(s.images, r.context, r.Word(12 + environment + 3 * t), "texture image");
          need(s.matrices, r.context, r.Word(13 + environment + 3 * t), "texture matrix");
        }
        break;
      }
      case Tag::ClipRegion:
        for (size_t w = 4, loops = 0; loops < r.Word(3); ++loops) {
          size_t const polygons = r.Word(w);
          need(s.matrices, r.context, r.Word(w + 1), "clip matrix");
          for (size_t p = 0; p < polygons; ++p) need(s.polygons, r.context, r.Word(w + 3 + p), "polygon");
          w += 3 + polygons;
        }
        break;
      default:
        break;
    }
  }
  return missing;
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

  auto const records = QX::Store::test::ReadRecords(stream);
  StreamContents const contents(records);
  EXPECT_EQ(contents.instances.size(), expected.instances);
  EXPECT_EQ(contents.meshes.size(), expected.meshes);
  EXPECT_EQ(contents.images.size(), expected.images);
  EXPECT_FALSE(contents.clips.empty());
  EXPECT_FALSE(contents.maps.empty());
  std::vector<std::string> const missing = UnresolvedAssets(records, contents);
  EXPECT_TRUE(missing.empty()) << missing.size() << " unresolved, first: " << missing.front();

  scene.Delete();
  library.Delete();
}

}  // namespace
