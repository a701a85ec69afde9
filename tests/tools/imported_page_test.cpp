// Point cloud files imported and exported to pages: the page's stream holds
// every point of the file once, with its color.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "scene/SearchResults.h"
#include "scene/ShellKey.h"
#include "scene/TypeCodes.h"
#include "tests/export/ExportedStream.h"
#include "tools/importer/AssimpImporter.h"

namespace {

namespace fs = std::filesystem;
namespace Tag = QX::Store::Tag;
using qx_test::ReadRecord;
using qx_test::StreamVertex;

fs::path const kData = fs::path(QX_SOURCE_DIR) / "tests/tools/data";
fs::path const kModels = fs::path(QX_SHARED_DIR) / "models";

// The page's stream of an imported file.
std::vector<ReadRecord> ExportFile(fs::path const& file) {
  qx_tool::ImportedScene scene = qx_tool::AssimpImporter::Import(file.string());
  auto records = qx_test::ExportRecords(scene.root);
  scene.root.Delete();
  return records;
}

// The points of an ASCII PLY file with x, y, z, red, green, blue per vertex.
std::vector<StreamVertex> ReadColoredPly(fs::path const& file) {
  std::ifstream in(file);
  std::string line;
  while (std::getline(in, line) && line != "end_header") {
  }
  std::vector<StreamVertex> points;
  float x, y, z;
  int r, g, b;
  while (in >> x >> y >> z >> r >> g >> b)
    points.push_back({{x, y, z}, {uint8_t(r), uint8_t(g), uint8_t(b), 255}});
  return points;
}

TEST(ImportedPage, ColoredPlyCloudKeepsEveryPointWithItsColor) {
  auto const records = ExportFile(kData / "colored_points.ply");
  EXPECT_EQ(qx_test::RecordsOf(records, Tag::Instance).size(), 1u);
  auto const meshes = qx_test::RecordsOf(records, Tag::SmallMesh);
  ASSERT_EQ(meshes.size(), 1u);
  std::vector<StreamVertex> drawn = qx_test::PointVertices(meshes[0]);
  std::vector<StreamVertex> expected = ReadColoredPly(kData / "colored_points.ply");
  ASSERT_EQ(expected.size(), 900u);
  std::sort(drawn.begin(), drawn.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(drawn, expected);
}

// Positions of the expanded mesh records of a stream: header R, chunks r.
std::vector<std::array<float, 3>> ExpandedPositions(std::vector<ReadRecord> const& records, uint32_t& points) {
  std::vector<std::array<float, 3>> positions;
  size_t stride = 0;
  for (ReadRecord const& r : records) {
    if (r.tag == Tag::LargeMesh) {
      uint32_t const flags = r.Word(2);
      points = r.Word(5);
      stride = 12 + (flags & 0x10000000 ? 12 : 0) + (flags & 0x20000000 ? 8 : 0) + (flags & 0x40000000 ? 4 : 0);
    } else if (r.tag == Tag::MeshChunk && stride != 0) {
      uint8_t const* payload = r.bytes.data() + 12;
      for (size_t at = 0; at + stride <= r.Word(2); at += stride) {
        std::array<float, 3>& p = positions.emplace_back();
        std::memcpy(p.data(), payload + at, 12);
      }
    }
  }
  return positions;
}

TEST(ImportedPage, SamplePointCloudSendsEachPointOnce) {
  fs::path const file = kModels / "pond_pointcloud_ply/pond.0.ply";
  if (!fs::exists(file)) GTEST_SKIP() << "no sample " << file;
  qx_tool::ImportedScene scene = qx_tool::AssimpImporter::Import(file.string());
  KZV::SearchResults found;
  KZV::PointArray cloud;
  KZV::SegmentKeyArray pending{scene.root};
  while (!pending.empty() && cloud.empty()) {
    KZV::SegmentKey const segment = pending.back();
    pending.pop_back();
    segment.Find(KZV::Search::Type::Geometry, KZV::Search::Space::SegmentOnly, found);
    for (auto it = found.GetIterator(); it.IsValid(); it.Next())
      if (it.GetItem().Type() == KZV::TypeCode::Shell) KZV::ShellKey(it.GetItem()).ShowPoints(cloud);
    KZV::SegmentKeyArray children;
    segment.ShowSubsegments(children);
    pending.insert(pending.end(), children.begin(), children.end());
  }
  auto const records = qx_test::ExportRecords(scene.root);
  scene.root.Delete();

  uint32_t points = 0;
  auto drawn = ExpandedPositions(records, points);
  EXPECT_EQ(points, 70051u);
  std::vector<std::array<float, 3>> expected;
  for (auto const& p : cloud) expected.push_back({p.x, p.y, p.z});
  std::sort(drawn.begin(), drawn.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(drawn, expected);
}

}  // namespace
