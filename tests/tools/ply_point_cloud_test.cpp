// PLY point clouds read by our own reader: every encoding and property
// order, colours as the file gives them, files that go to Assimp or are
// refused, and a coloured cloud carried whole into a page.
#include "tools/importer/PlyPointCloud.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>

#include "tests/export/ExportedStream.h"
#include "tools/importer/AssimpImporter.h"

namespace {

using qx_tool::ImportError;
using qx_tool::ReadPlyPointCloud;

std::string Write(qx_test::TempDir const& dir, std::string const& name, std::string const& bytes) {
  qx_test::WriteText(dir / name, bytes);
  return (dir / name).string();
}

template <typename T>
std::string Binary(T value, bool big_endian) {
  std::string bytes(sizeof(T), '\0');
  std::memcpy(bytes.data(), &value, sizeof(T));
  if (big_endian) std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

struct PlyCase {
  char const* name;
  std::string bytes;
};

std::vector<PlyCase> TwoColouredPoints() {
  std::string const header_tail = "end_header\n";
  std::string le = "ply\nformat binary_little_endian 1.0\nelement vertex 2\nproperty float x\nproperty float y\n"
                   "property float z\nproperty float nx\nproperty uchar diffuse_red\nproperty uchar diffuse_green\n"
                   "property uchar diffuse_blue\n" + header_tail;
  std::string be = "ply\nformat binary_big_endian 1.0\ncomment colours first\nelement vertex 2\n"
                   "property uchar red\nproperty uchar green\nproperty uchar blue\nproperty uchar alpha\n"
                   "property double x\nproperty double y\nproperty double z\nelement face 0\n"
                   "property list uchar int vertex_indices\n" + header_tail;
  float const xyz[2][3] = {{1, 2, 3}, {-4, 5.5f, 6}};
  unsigned char const rgb[2][3] = {{255, 0, 51}, {0, 102, 255}};
  for (int p = 0; p < 2; ++p) {
    for (float v : xyz[p]) le += Binary(v, false);
    le += Binary(0.5f, false);
    for (unsigned char c : rgb[p]) le += char(c);
    for (unsigned char c : rgb[p]) be += char(c);
    be += char(255);
    for (float v : xyz[p]) be += Binary(double(v), true);
  }
  std::string ascii = "ply\nformat ascii 1.0\nelement vertex 2\nproperty float x\nproperty float y\nproperty float z\n"
                      "property uchar red\nproperty uchar green\nproperty uchar blue\n" + header_tail +
                      "1 2 3 255 0 51\n-4 +5.5 6e0 0 102 255\n";
  return {{"little endian, diffuse_*", le}, {"big endian, colours first, empty faces", be}, {"ascii", ascii}};
}

TEST(PlyPointCloud, ReadsPositionsAndColoursInEveryEncoding) {
  qx_test::TempDir dir;
  for (PlyCase const& c : TwoColouredPoints()) {
    SCOPED_TRACE(c.name);
    auto const cloud = ReadPlyPointCloud(Write(dir, "cloud.ply", c.bytes));
    ASSERT_TRUE(cloud);
    ASSERT_EQ(cloud->points.size(), 2u);
    ASSERT_EQ(cloud->colors.size(), 2u);
    EXPECT_EQ(cloud->points[1].x, -4);
    EXPECT_EQ(cloud->points[1].y, 5.5f);
    EXPECT_EQ(cloud->points[1].z, 6);
    EXPECT_FLOAT_EQ(cloud->colors[0].red, 1);
    EXPECT_FLOAT_EQ(cloud->colors[0].blue, 0.2f);
    EXPECT_FLOAT_EQ(cloud->colors[1].green, 0.4f);
    EXPECT_FLOAT_EQ(cloud->colors[1].alpha, 1);
  }
}

TEST(PlyPointCloud, LeavesMeshesToAssimpAndRefusesDamagedClouds) {
  qx_test::TempDir dir;
  std::string const header = "ply\nformat binary_little_endian 1.0\nelement vertex 1000000000\nproperty float x\n"
                             "property float y\nproperty float z\nend_header\n";
  std::string const mesh = "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\n"
                           "property float z\nelement face 1\nproperty list uchar int vertex_indices\nend_header\n"
                           "0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n";
  EXPECT_FALSE(ReadPlyPointCloud(Write(dir, "mesh.ply", mesh)));
  EXPECT_FALSE(ReadPlyPointCloud(Write(dir, "not.ply", "solid cube\n")));
  // A billion points declared in a file of a few bytes: refused before anything is allocated.
  EXPECT_THROW(ReadPlyPointCloud(Write(dir, "short.ply", header + std::string(20, '\0'))), ImportError);
  std::string const ascii = "ply\nformat ascii 1.0\nelement vertex 2\nproperty float x\nproperty float y\n"
                            "property float z\nend_header\n1 2 3\n4 five 6\n";
  EXPECT_THROW(ReadPlyPointCloud(Write(dir, "damaged.ply", ascii)), ImportError);
}

// The page keeps each of the file's 900 points once, with its colour.
TEST(PlyPointCloud, ColouredCloudReachesThePageWhole) {
  std::string const file = QX_SOURCE_DIR "/tests/tools/data/colored_points.ply";
  qx_tool::ImportedScene scene = qx_tool::AssimpImporter::Import(file);
  auto const records = qx_test::ExportRecords(scene.root);
  scene.root.Delete();
  EXPECT_EQ(qx_test::RecordsOf(records, QX::Store::Tag::Instance).size(), 1u);
  auto const meshes = qx_test::RecordsOf(records, QX::Store::Tag::SmallMesh);
  ASSERT_EQ(meshes.size(), 1u);
  std::vector<qx_test::StreamVertex> drawn = qx_test::PointVertices(meshes[0]), expected;
  std::ifstream in(file);
  for (std::string line; std::getline(in, line) && line != "end_header";) {
  }
  float x, y, z;
  int r, g, b;
  while (in >> x >> y >> z >> r >> g >> b) expected.push_back({{x, y, z}, {uint8_t(r), uint8_t(g), uint8_t(b), 255}});
  ASSERT_EQ(expected.size(), 900u);
  std::ranges::sort(drawn);
  std::ranges::sort(expected);
  EXPECT_EQ(drawn, expected);
}

}  // namespace
