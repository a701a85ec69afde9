// Files imported and converted into a model as the export does it: the
// placements, normals and colors that reach the store.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "conversion/SceneConverter.h"
#include "conversion/WalkScene.h"
#include "geometry/mesh/StoredMesh.h"
#include "scene/KeyPath.h"
#include "scene/MaterialMappingKit.h"
#include "store/Cache.h"
#include "store/Instance.h"
#include "store/Logger.h"
#include "store/Model.h"
#include "store/ModelImpl.h"
#include "tests/support/TempDir.h"
#include "tests/tools/GltfWriter.h"
#include "tools/importer/AssimpImporter.h"

namespace {

namespace fs = std::filesystem;
using qx_tool::AssimpImporter;
using qx_tool::ImportedScene;
using QX::Store::StoredMesh;

// An imported file converted into a fresh model, with ForceNormals on as
// in the export.
class ImportedModel {
 public:
  explicit ImportedModel(fs::path const& file)
      : scene_(AssimpImporter::Import(file.string())), cache_(QX::Store::Cache::Open(&logger_, nullptr)) {
    model_ = cache_.OpenModel((dir_.Path() / "model").string().c_str(), false);
    KZV::ConverterOptions options;
    options.ForceNormals = true;
    KZV::SceneConverter converter(scene_.root, options, logger_, model_, model_.Include(model_, 0));
    KZV::WalkScene(KZV::KeyPath({scene_.root}), converter, logger_, false);
  }
  ~ImportedModel() {
    model_ = QX::Store::Model();
    scene_.root.Delete();
    if (!scene_.library.Empty()) scene_.library.Delete();
  }

  QX::Store::ModelImpl& Impl() { return model_.Impl(); }
  KZV::SegmentKey const& Root() const { return scene_.root; }

  // The model's one mesh, besides its own empty mesh 0.
  StoredMesh OnlyMesh() {
    StoredMesh mesh;
    EXPECT_EQ(Impl().mesh_records.size(), 2u);
    for (auto const& record : Impl().mesh_records)
      if (record.key != 0) {
        EXPECT_TRUE(QX::Store::ReadStoredMesh(*Impl().meshes_file, record, mesh));
      }
    return mesh;
  }

 private:
  ImportedScene scene_;
  qx_test::TempDir dir_;
  QX::Store::NullLogger logger_;
  QX::Store::Cache cache_;
  QX::Store::Model model_;
};

qx_test::GltfScene Triangle() {
  qx_test::GltfScene scene;
  scene.positions = {{0, 0, 0}, {0.0005f, 0, 0}, {0, 0.0005f, 0}};
  scene.indices = {0, 1, 2};
  scene.placements = {{0, 0, 0}};
  return scene;
}

// A grid of placements a millimetre apart keeps every one of them: none is
// taken for the identity.
TEST(ImportedScene, MillimetrePlacementsKeepTheirMatrices) {
  qx_test::TempDir dir;
  qx_test::GltfScene scene = Triangle();
  scene.placements.clear();
  for (int i = 0; i < 9; ++i) scene.placements.push_back({0.001f * float(i % 3), 0.001f * float(i / 3), 0});
  WriteGltf(dir / "grid.gltf", scene);

  ImportedModel model(dir / "grid.gltf");
  std::set<std::vector<double>> placements;
  for (auto const& entry : model.Impl().instances) {
    auto const* matrix = model.Impl().matrices.Find(entry.value.matrix);
    placements.insert(matrix ? std::vector<double>(matrix->begin(), matrix->end()) : std::vector<double>{});
  }
  EXPECT_EQ(model.Impl().instances.size(), 9u);
  EXPECT_EQ(placements.size(), 9u);
}

// A cube around the origin, every face counter-clockwise seen from outside,
// written as OBJ triangles, PLY quads and glTF triangles.
std::vector<std::array<float, 3>> const kCubePoints = {{-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1},
                                                       {-1, -1, 1},  {1, -1, 1},  {1, 1, 1},  {-1, 1, 1}};
std::vector<std::array<int, 4>> const kCubeQuads = {{0, 3, 2, 1}, {4, 5, 6, 7}, {0, 1, 5, 4},
                                                    {2, 3, 7, 6}, {1, 2, 6, 5}, {0, 4, 7, 3}};

void WriteCube(fs::path const& path) {
  qx_test::GltfScene cube{kCubePoints, {}, {}, {{0, 0, 0}}, "", {}};
  for (auto const& q : kCubeQuads)
    for (int k : {q[0], q[1], q[2], q[0], q[2], q[3]}) cube.indices.push_back(uint16_t(k));
  if (path.extension() == ".gltf") return WriteGltf(path, cube);
  std::ofstream out(path);
  bool const ply = path.extension() == ".ply";
  if (ply)
    out << "ply\nformat ascii 1.0\nelement vertex 8\nproperty float x\nproperty float y\nproperty float z\n"
           "element face 6\nproperty list uchar int vertex_indices\nend_header\n";
  for (auto const& p : kCubePoints) out << (ply ? "" : "v ") << p[0] << ' ' << p[1] << ' ' << p[2] << '\n';
  for (auto const& q : kCubeQuads)
    if (ply) out << "4 " << q[0] << ' ' << q[1] << ' ' << q[2] << ' ' << q[3] << '\n';
  for (size_t t = 0; !ply && t < cube.indices.size(); t += 3)
    out << "f " << cube.indices[t] + 1 << ' ' << cube.indices[t + 1] + 1 << ' ' << cube.indices[t + 2] + 1 << '\n';
}

class ComputedNormals : public testing::TestWithParam<char const*> {};

// Every face tuple's normal faces the side that the triangle's winding makes
// its front under the mesh's handedness bits (left-handed: the side from
// which the winding is clockwise), and for this cube that is the outside.
TEST_P(ComputedNormals, FaceTheFrontOfTheWinding) {
  qx_test::TempDir dir;
  WriteCube(dir / GetParam());
  ImportedModel model(dir / GetParam());
  StoredMesh const mesh = model.OnlyMesh();
  ASSERT_FALSE(mesh.normals.empty());
  ASSERT_EQ(mesh.flags & 3, 2u) << "left-handed triangles expected";
  auto dot = [](std::array<double, 3> const& a, QX::Store::Point const& b) {
    return a[0] * b.x + a[1] * b.y + a[2] * b.z;
  };
  uint32_t const stride = 2 + !mesh.uvs.empty() + !mesh.colors.empty();
  size_t triangles = 0;
  for (uint32_t e = 0; e < mesh.face_elements.size(); ++e) {
    auto const words = mesh.face_elements[e];
    for (size_t t = 0; t + 3 * stride <= words.size(); t += 3 * stride, ++triangles) {
      auto const& a = mesh.points[words[t]];
      auto const& b = mesh.points[words[t + stride]];
      auto const& c = mesh.points[words[t + 2 * stride]];
      double const u[3] = {b.x - a.x, b.y - a.y, b.z - a.z}, v[3] = {c.x - a.x, c.y - a.y, c.z - a.z};
      std::array<double, 3> const back = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                                          u[0] * v[1] - u[1] * v[0]};
      std::array<double, 3> const outward = {a.x + b.x + c.x, a.y + b.y + c.y, a.z + b.z + c.z};
      for (int k = 0; k < 3; ++k) {
        auto const& normal = mesh.normals[words[t + k * stride + 1]];
        EXPECT_LT(dot(back, normal), 0) << "triangle " << triangles;
        EXPECT_GT(dot(outward, normal), 0) << "triangle " << triangles;
      }
    }
  }
  EXPECT_EQ(triangles, 12u);
}

INSTANTIATE_TEST_SUITE_P(Formats, ComputedNormals, testing::Values("cube.obj", "cube.ply", "cube.gltf"),
                         [](auto const& info) { return std::string(info.param).substr(5); });

float Display(float linear) { return 1.055f * std::pow(linear, 1 / 2.4f) - 0.055f; }

struct MaterialCase {
  char const* name;
  std::string material;
  KZV::RGBAColor expected;
  std::string extension = "";
};

class GltfMaterialColor : public testing::TestWithParam<MaterialCase> {};

// The face color of the mesh's material is its display color, with the
// opacity that its alpha mode and transmission give.
TEST_P(GltfMaterialColor, IsTheDisplayColorWithTheRightOpacity) {
  qx_test::TempDir dir;
  qx_test::GltfScene scene = Triangle();
  scene.material = GetParam().material;
  if (!GetParam().extension.empty()) scene.extensions = {GetParam().extension};
  WriteGltf(dir / "material.gltf", scene);
  ImportedScene imported = AssimpImporter::Import((dir / "material.gltf").string());
  KZV::RGBAColor color{-1, -1, -1, -1};
  std::vector<KZV::SegmentKey> pending{imported.root};
  while (!pending.empty()) {
    KZV::SegmentKey const segment = pending.back();
    pending.pop_back();
    KZV::MaterialMappingKit mapping;
    KZV::Material::Type type{};
    KZV::UTF8 name;
    float value = 0;
    if (segment.ShowMaterialMapping(mapping))
      mapping.ShowFaceChannel(KZV::Material::Channel::DiffuseColor, type, color, name, value);
    KZV::SegmentKeyArray children;
    segment.ShowSubsegments(children);
    pending.insert(pending.end(), children.begin(), children.end());
  }
  imported.root.Delete();
  KZV::RGBAColor const& expected = GetParam().expected;
  EXPECT_NEAR(color.red, expected.red, 1e-4);
  EXPECT_NEAR(color.green, expected.green, 1e-4);
  EXPECT_NEAR(color.blue, expected.blue, 1e-4);
  EXPECT_NEAR(color.alpha, expected.alpha, 1e-4);
}

INSTANTIATE_TEST_SUITE_P(
    Materials, GltfMaterialColor,
    testing::Values(
        MaterialCase{"Opaque", R"({"pbrMetallicRoughness":{"baseColorFactor":[0.5,0.2,0,0.3]}})",
                     {Display(0.5f), Display(0.2f), 0, 1}},
        MaterialCase{"Blended", R"({"alphaMode":"BLEND","pbrMetallicRoughness":{"baseColorFactor":[1,1,1,0.5]}})",
                     {1, 1, 1, 0.5f}},
        MaterialCase{"Glass", R"({"pbrMetallicRoughness":{"baseColorFactor":[1,1,1,1]},)"
                              R"("extensions":{"KHR_materials_transmission":{"transmissionFactor":1}}})",
                     {1, 1, 1, 0.2f}, "KHR_materials_transmission"}),
    [](auto const& info) { return std::string(info.param.name); });

TEST(ImportedScene, GltfVertexColorsBecomeDisplayColors) {
  qx_test::TempDir dir;
  qx_test::GltfScene scene = Triangle();
  scene.colors = {{0.5f, 0, 0, 1}, {0, 0.2f, 0, 1}, {0, 0, 1, 0.5f}};
  WriteGltf(dir / "colors.gltf", scene);
  ImportedModel model(dir / "colors.gltf");
  StoredMesh const mesh = model.OnlyMesh();
  ASSERT_EQ(mesh.colors.size(), 3u);
  auto byte = [](float c) { return uint8_t(std::ceil(256 * c) - 1); };
  EXPECT_EQ(mesh.colors[0].r, byte(Display(0.5f)));
  EXPECT_EQ(mesh.colors[1].g, byte(Display(0.2f)));
  EXPECT_EQ(mesh.colors[2].b, 255);
  EXPECT_EQ(mesh.colors[2].a, 127);  // alpha is no light level
}

}  // namespace
