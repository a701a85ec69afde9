// Scenes built in code go through the whole export; what the page's stream
// carries of their point clouds and textures is compared with the scene.
#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STBI_WRITE_NO_STDIO
#include <stb_image_write.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "scene/Database.h"
#include "scene/Definitions.h"
#include "scene/ImageKit.h"
#include "scene/MaterialMappingKit.h"
#include "scene/ShellKey.h"
#include "scene/TextureOptionsKit.h"
#include "tests/export/ExportedStream.h"

namespace {

using namespace KZV;
namespace Tag = QX::Store::Tag;
using qx_test::ExportRecords;
using qx_test::PointVertices;
using qx_test::ReadRecord;
using qx_test::RecordsOf;
using qx_test::StreamVertex;

// A root segment that is deleted with the test.
struct Scene {
  SegmentKey root = Database::CreateRootSegment("scene");
  ~Scene() { root.Delete(); }
};

struct CloudCase {
  char const* name;
  size_t points;
  bool colored;
};

class PointCloudExport : public testing::TestWithParam<CloudCase> {};

// Every point of the cloud reaches the page once, in one instance, with its
// own color, whatever the number of points and whether they are colored.
TEST_P(PointCloudExport, PagePointsAreTheCloudsPointsWithTheirColors) {
  CloudCase const& c = GetParam();
  Scene scene;
  PointArray points;
  RGBAColorArray colors;
  std::vector<StreamVertex> expected;
  for (size_t i = 0; i < c.points; ++i) {
    points.push_back({float(i), float(i % 2), 0.5f * float(i)});
    colors.push_back({i % 3 == 0 ? 1.0f : 0.0f, i % 3 == 1 ? 1.0f : 0.0f, i % 3 == 2 ? 1.0f : 0.0f, 1.0f});
    StreamVertex& v = expected.emplace_back(StreamVertex{{points[i].x, points[i].y, points[i].z}, {0, 0, 0, 0}});
    if (c.colored) v.color[i % 3] = v.color[3] = 255;
  }
  ShellKey cloud = scene.root.InsertShell(points, {});
  if (c.colored) cloud.SetVertexRGBAColorsByRange(Shell::Component::Vertices, 0, colors);

  auto const records = ExportRecords(scene.root);
  EXPECT_EQ(RecordsOf(records, Tag::Instance).size(), 1u);
  auto const meshes = RecordsOf(records, Tag::SmallMesh);
  ASSERT_EQ(meshes.size(), 1u);
  std::vector<StreamVertex> drawn = PointVertices(meshes[0]);
  std::sort(drawn.begin(), drawn.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(drawn, expected);
}

INSTANTIATE_TEST_SUITE_P(Clouds, PointCloudExport,
                         testing::Values(CloudCase{"ThreeColored", 3, true}, CloudCase{"ThreePlain", 3, false},
                                         CloudCase{"FourColored", 4, true}, CloudCase{"FourPlain", 4, false},
                                         CloudCase{"ManyColored", 1000, true}),
                         [](auto const& info) { return std::string(info.param.name); });

void AppendTo(void* context, void* data, int size) {
  auto* out = static_cast<std::vector<uint8_t>*>(context);
  out->insert(out->end(), static_cast<uint8_t*>(data), static_cast<uint8_t*>(data) + size);
}

// The main level (the image record that isn't a preview) of the export of
// a square textured with `jpeg`, a JPEG file image made of the given size.
ReadRecord ExportedJpegSquare(std::vector<uint8_t>& jpeg, uint32_t width, uint32_t height) {
  std::vector<uint8_t> pixels(size_t{width} * height * 3);
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = uint8_t((i / 3 % width) * 7 + (i / 3 / width) * 3 + i % 3);
  stbi_write_jpg_to_func(AppendTo, &jpeg, int(width), int(height), 3, pixels.data(), 85);
  Scene scene;
  ImageKit image;
  image.SetFormat(Image::Format::Jpeg).SetSize(width, height).SetData(jpeg);
  scene.root.DefineImage("photo", image);
  scene.root.DefineTexture("photo texture", "photo",
                           TextureOptionsKit().SetParameterizationSource(Material::Texture::Parameterization::UV));
  MaterialMappingKit mapping;
  mapping.SetFaceChannel(Material::Channel::DiffuseTexture, MaterialSetting::TextureName("photo texture"));
  scene.root.SetMaterialMapping(mapping);
  ShellKey square = scene.root.InsertShell({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {4, 0, 1, 2, 3});
  square.SetVertexParametersByRange(0, 4, {0, 0, 1, 0, 1, 1, 0, 1}, 2);
  for (ReadRecord const& r : RecordsOf(ExportRecords(scene.root), Tag::Image))
    if (!(r.Word(3) & 0x80000000u)) return r;
  ADD_FAILURE() << "no main image level";
  return {};
}

// A JPEG within the size limit goes out as its own bytes; a larger one is
// scaled down to the limit and sent as a PNG of RGB pixels.
TEST(JpegTextureExport, SmallJpegGoesOutAsItIsAndALargeOneAsScaledPng) {
  std::vector<uint8_t> jpeg;
  ReadRecord const small = ExportedJpegSquare(jpeg, 300, 300);
  ASSERT_GE(small.bytes.size(), 28u);
  EXPECT_EQ(small.Word(2), 4u);  // a file image sent unchanged
  EXPECT_EQ(small.Word(4), jpeg.size());
  EXPECT_EQ(small.Word(5), 1u);
  ASSERT_EQ(small.Word(6), jpeg.size());
  EXPECT_TRUE(std::equal(jpeg.begin(), jpeg.end(), small.bytes.begin() + 28));

  std::vector<uint8_t> large_jpeg;
  ReadRecord const large = ExportedJpegSquare(large_jpeg, 4096, 256);
  ASSERT_GE(large.bytes.size(), 28u + 24u);
  EXPECT_EQ(large.Word(2), 5u);  // PNG
  EXPECT_EQ(large.Word(3), 1u);  // of RGB pixels
  uint8_t const* png = large.bytes.data() + 28;
  auto big_endian = [](uint8_t const* p) { return uint32_t{p[0]} << 24 | p[1] << 16 | p[2] << 8 | p[3]; };
  EXPECT_EQ(big_endian(png + 16), 2048u);
  EXPECT_EQ(big_endian(png + 20), 128u);
}

}  // namespace
