// Large point clouds through the converter with SplitPointClouds: one mesh
// and one instance per node of the partition, every point once, each with
// its own colour, and the same model bytes on every run.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "tests/conversion/ConversionFixture.h"

namespace qx_conversion_test {
namespace {

using QX::Store::RGBA32;

KZV::RGBAColor ColorOf(KZV::Point const& p) { return {p.x / 10, p.y / 10, p.z / 10, 1}; }

// Three clusters of points, coloured by position.
void InsertScan(KZV::SegmentKey const& segment, size_t count) {
  std::mt19937 generator(5);
  std::normal_distribution<float> spread(0, 0.4f);
  KZV::PointArray points;
  KZV::RGBAColorArray colors;
  for (size_t i = 0; i < count; ++i) {
    float const center = float(1 + 3 * (i % 3));
    points.push_back({std::clamp(center + spread(generator), 0.0f, 10.0f), std::clamp(5 + spread(generator), 0.0f, 10.0f),
                      std::clamp(center + spread(generator), 0.0f, 10.0f)});
    colors.push_back(ColorOf(points.back()));
  }
  KZV::ShellKey shell = segment.InsertShell(points, {});
  shell.SetVertexRGBAColorsByRange(KZV::Shell::Component::Vertices, 0, colors);
}

class PointCloudConversionTest : public ConversionTest {
 protected:
  static KZV::ConverterOptions Split(bool force_normals) {
    KZV::ConverterOptions options;
    options.SplitPointClouds = true;
    options.ForceNormals = force_normals;
    return options;
  }
};


TEST_F(PointCloudConversionTest, EveryNodeBecomesAMeshWithItsInstance) {
  InsertScan(root.Subsegment("scan"), 30000);
  Convert(Split(false));
  ASSERT_GT(MeshCount(), 2u);
  EXPECT_EQ(Instances().size(), MeshCount());
  size_t points = 0;
  for (QX::Store::Instance const* instance : Instances()) {
    QX::Store::StoredMesh const& mesh = Mesh(instance->mesh);
    EXPECT_EQ(mesh.flags & 0x24000u, 0x24000u);
    ASSERT_EQ(mesh.colors.size(), mesh.points.size());
    for (size_t i = 0; i < mesh.points.size(); ++i) {
      KZV::RGBAColor const want = ColorOf({mesh.points[i].x, mesh.points[i].y, mesh.points[i].z});
      EXPECT_NEAR(mesh.colors[i].r, want.red * 255, 1.0) << "point " << i;
      EXPECT_NEAR(mesh.colors[i].b, want.blue * 255, 1.0) << "point " << i;
    }
    points += mesh.points.size();
  }
  EXPECT_EQ(points, 30000u);
}

TEST_F(PointCloudConversionTest, TheSameCloudGivesTheSameModelBytes) {
  auto read = [](std::filesystem::path const& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  };
  InsertScan(root.Subsegment("scan"), 25000);
  Convert(Split(false));
  auto const first_path = impl().Path() / "_meshes.qxi";
  model = QX::Store::Model();
  std::string const first = read(first_path);

  qx_test::TempDir again;
  QX::Store::Cache cache = QX::Store::Cache::Open(nullptr);
  model = cache.OpenModel((again.Path() / "model").string().c_str(), false);
  Convert(Split(false));
  model = QX::Store::Model();
  EXPECT_GT(first.size(), 25000u * 12);
  EXPECT_EQ(first, read(again.Path() / "model" / "_meshes.qxi"));
}

}  // namespace
}  // namespace qx_conversion_test
