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
    StreamVertex v{{points[i].x, points[i].y, points[i].z}, {0, 0, 0, 0}};
    if (c.colored)
      for (int k = 0; k < 3; ++k) v.color[k] = (&colors[i].red)[k] == 1.0f ? 255 : 0;
    if (c.colored) v.color[3] = 255;
    expected.push_back(v);
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

std::vector<uint8_t> MakeJpeg(uint32_t width, uint32_t height) {
  std::vector<uint8_t> pixels(size_t{width} * height * 3);
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = uint8_t((i / 3 % width) * 7 + (i / 3 / width) * 3 + i % 3);
  std::vector<uint8_t> out;
  stbi_write_jpg_to_func(
      [](void* context, void* data, int size) {
        auto* bytes = static_cast<uint8_t*>(data);
        static_cast<std::vector<uint8_t>*>(context)->insert(static_cast<std::vector<uint8_t>*>(context)->end(),
                                                            bytes, bytes + size);
      },
      &out, int(width), int(height), 3, pixels.data(), 85);
  return out;
}

// A square textured with a JPEG file image of the given size.
void InsertJpegSquare(SegmentKey const& root, std::vector<uint8_t> const& jpeg, uint32_t width, uint32_t height) {
  ImageKit image;
  image.SetFormat(Image::Format::Jpeg).SetSize(width, height).SetData(jpeg);
  root.DefineImage("photo", image);
  root.DefineTexture("photo texture", "photo",
                     TextureOptionsKit().SetParameterizationSource(Material::Texture::Parameterization::UV));
  MaterialMappingKit mapping;
  mapping.SetFaceChannel(Material::Channel::DiffuseTexture, MaterialSetting::TextureName("photo texture"));
  root.SetMaterialMapping(mapping);
  ShellKey square = root.InsertShell({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}}, {4, 0, 1, 2, 3});
  square.SetVertexParametersByRange(0, 4, {0, 0, 1, 0, 1, 1, 0, 1}, 2);
}

// The main level of the image: the E record that isn't a preview.
ReadRecord MainImageBlock(std::vector<ReadRecord> const& records) {
  for (ReadRecord const& r : RecordsOf(records, Tag::Image))
    if (!(r.Word(3) & 0x80000000u)) return r;
  ADD_FAILURE() << "no main image level";
  return {};
}

TEST(JpegTextureExport, JpegWithinTheSizeLimitGoesOutAsItsOwnBytes) {
  Scene scene;
  std::vector<uint8_t> const jpeg = MakeJpeg(300, 300);
  InsertJpegSquare(scene.root, jpeg, 300, 300);
  ReadRecord const main = MainImageBlock(ExportRecords(scene.root));
  ASSERT_GE(main.bytes.size(), 28u);
  EXPECT_EQ(main.Word(2), 4u);  // a file image sent unchanged
  EXPECT_EQ(main.Word(4), jpeg.size());
  EXPECT_EQ(main.Word(5), 1u);
  ASSERT_EQ(main.Word(6), jpeg.size());
  EXPECT_TRUE(std::equal(jpeg.begin(), jpeg.end(), main.bytes.begin() + 28));
}

TEST(JpegTextureExport, JpegAboveTheSizeLimitIsScaledAndSentAsPng) {
  Scene scene;
  InsertJpegSquare(scene.root, MakeJpeg(4096, 256), 4096, 256);
  ReadRecord const main = MainImageBlock(ExportRecords(scene.root));
  ASSERT_GE(main.bytes.size(), 28u + 24u);
  EXPECT_EQ(main.Word(2), 5u);  // PNG
  EXPECT_EQ(main.Word(3), 1u);  // of RGB pixels
  uint8_t const* png = main.bytes.data() + 28;
  auto big_endian = [](uint8_t const* p) { return uint32_t{p[0]} << 24 | p[1] << 16 | p[2] << 8 | p[3]; };
  EXPECT_EQ(big_endian(png + 16), 2048u);
  EXPECT_EQ(big_endian(png + 20), 128u);
}

}  // namespace
