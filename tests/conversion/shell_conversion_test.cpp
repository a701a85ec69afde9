// Shells and lines into meshes: uvs, vertex and face colours, outlines, and
// the merging of a segment's lines.
#include <algorithm>

#include "ConversionFixture.h"
#include "scene/SearchResults.h"

namespace qx_conversion_test {
namespace {

using namespace KZV;
using Words32 = std::vector<uint32_t>;
uint32_t const kBreak = QX::Store::kNoIndex;

class ShellConversionTest : public ConversionTest {
 protected:
  QX::Store::StoredMesh const& LastMesh() { return Mesh(Instances().back()->mesh); }
  size_t CountOf(SegmentKey const& segment, Search::Type type) {
    SearchResults found;
    return segment.Find(type, Search::Space::SegmentOnly, found);
  }
};

TEST_F(ShellConversionTest, ParametersOnSomeVerticesOnlyGiveNoUvs) {
  InsertSquare(root.Subsegment()).SetVertexParametersByRange(0, 3, {0, 0, 1, 0, 1, 1}, 2);
  Convert();
  EXPECT_TRUE(LastMesh().uvs.empty());
  InsertSquare(root.Subsegment()).SetVertexParametersByRange(0, 4, {0, 0, 7, 1, 0, 7, 1, 1, 7, 0, 1, 7}, 3);
  Convert();
  auto const& mesh = LastMesh();
  ASSERT_EQ(4u, mesh.uvs.size());
  EXPECT_EQ(1.0f, mesh.uvs[2].u);
  EXPECT_EQ(1.0f, mesh.uvs[2].v);
}

TEST_F(ShellConversionTest, VertexColorsBecomeBytesAndPaletteIndicesInterpolate) {
  ShellKey shell = InsertSquare(root);
  shell.SetVertexRGBColorsByRange(Shell::Component::Faces, 0, {{1, 0, 0}, {0, 1, 0}});
  // Default palette: entry 1 is white, entry 2 green; halfway between them.
  shell.SetVertexIndexColorsByRange(Shell::Component::Faces, 2, {1.5f, 0.0f});
  Convert();
  EXPECT_EQ((std::vector<QX::Store::RGBA32>{{255, 0, 0, 255}, {0, 255, 0, 255}, {127, 255, 127, 255}, {0, 0, 0, 255}}),
            LastMesh().colors);
}

TEST_F(ShellConversionTest, FaceColorsGroupFacesWithTheUncoloredOnesLast) {
  // Four triangles: blue, uncolored, red, blue.
  PointArray points{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {2, 0, 0}, {2, 1, 0}};
  ShellKey shell = root.Subsegment().InsertShell(points, {3, 0, 1, 2, 3, 0, 2, 3, 3, 1, 4, 5, 3, 1, 5, 2});
  shell.SetFaceRGBColorsByRange(0, {{0, 0, 1}});
  shell.SetFaceRGBColorsByRange(2, {{1, 0, 0}, {0, 0, 1}});
  InsertSquare(root.Subsegment()).SetFaceIndexColorsByRange(0, {2.0f});  // palette indices keep one element
  Convert();
  auto const& mesh = Mesh(Instances().at(0)->mesh);
  auto const* map = impl().material_maps.Find(impl().FindMesh(Instances()[0]->mesh)->face_material_map);
  ASSERT_NE(nullptr, map);
  ASSERT_EQ(2u, map->keys.size());
  EXPECT_LT(map->keys[0], map->keys[1]);
  // Blue was seen first and got the lower key: element 0 has both blue faces.
  ASSERT_EQ(3u, mesh.face_elements.size());
  EXPECT_EQ((Words32{0, 1, 2, 1, 5, 2}), Words(mesh.face_elements, 0));
  EXPECT_EQ((Words32{1, 4, 5}), Words(mesh.face_elements, 1));
  EXPECT_EQ((Words32{0, 2, 3}), Words(mesh.face_elements, 2));
  ASSERT_EQ(1u, LastMesh().face_elements.size());
  EXPECT_EQ(6u, Words(LastMesh().face_elements, 0).size());
}

TEST_F(ShellConversionTest, FaceOutlinesCloseEachFace) {
  InsertSquare(root);
  ConverterOptions outlines;
  outlines.FaceOutlines = true;
  Convert(outlines);
  ASSERT_EQ(1u, LastMesh().line_elements.size());
  EXPECT_EQ((Words32{kBreak, 0, 1, 2, 3, 0}), Words(LastMesh().line_elements, 0));
}

TEST_F(ShellConversionTest, LinesMeetingAtAPointMergeIntoOnePolyline) {
  root.InsertLine({{0, 0, 0}, {1, 0, 0}});
  root.InsertLine({{2, 0, 0}, {1, 0, 0}});
  root.InsertLine({{5, 5, 5}, {6, 5, 5}});
  ConverterOptions skip;
  skip.SkipLines = true;
  Convert(skip);
  EXPECT_EQ(3u, CountOf(root, Search::Type::Lines)) << "skipped lines stay as they are";

  Convert();
  // The scene changed for good: one shell in place of the lines.
  EXPECT_EQ(0u, CountOf(root, Search::Type::Lines));
  EXPECT_EQ(1u, CountOf(root, Search::Type::Geometry));
  ASSERT_EQ(1u, MeshCount());
  EXPECT_EQ(5u, LastMesh().points.size());
  Words32 const words = Words(LastMesh().line_elements, 0);
  std::vector<size_t> sizes;
  for (uint32_t w : words) {
    if (w == kBreak) sizes.push_back(0);
    else ++sizes.back();
  }
  std::sort(sizes.begin(), sizes.end());
  EXPECT_EQ((std::vector<size_t>{2, 3}), sizes);
  // A second conversion finds the shell and converts it the same way.
  Convert();
  ASSERT_EQ(2u, MeshCount());
  EXPECT_EQ(words, Words(LastMesh().line_elements, 0));
}

TEST_F(ShellConversionTest, LineShellColorsCountOnlyWhenEveryVertexHasOne) {
  for (RGBColorArray const& colors : {RGBColorArray{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, RGBColorArray{{1, 0, 0}}})
    root.Subsegment()
        .InsertShell({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}}, {2, 0, 1, 2, 1, 2})
        .SetVertexRGBColorsByRange(Shell::Component::Edges, 0, colors);
  Convert();
  auto const instances = Instances();
  ASSERT_EQ(2u, instances.size());
  EXPECT_EQ((Words32{kBreak, 0, 0, 1, 1, 2, 2}), Words(Mesh(instances[0]->mesh).line_elements, 0));
  EXPECT_TRUE(Mesh(instances[1]->mesh).colors.empty());
  EXPECT_EQ((Words32{kBreak, 0, 1, 2}), Words(Mesh(instances[1]->mesh).line_elements, 0));
}

}  // namespace
}  // namespace qx_conversion_test
