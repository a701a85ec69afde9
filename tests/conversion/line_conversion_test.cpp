// Lines into line meshes, and the merging of a segment's lines.
#include <algorithm>

#include "ConversionFixture.h"
#include "scene/ReferenceKey.h"
#include "scene/SearchResults.h"
#include "scene/ShellKey.h"

namespace qx_conversion_test {
namespace {

using namespace KZV;

class LineConversionTest : public ConversionTest {
 protected:
  size_t CountOf(SegmentKey const& segment, Search::Type type) {
    SearchResults found;
    return segment.Find(type, Search::Space::SegmentOnly, found);
  }
  // The vertices of the polylines of a line element, split at the markers.
  static std::vector<std::vector<uint32_t>> Polylines(std::vector<uint32_t> const& words) {
    std::vector<std::vector<uint32_t>> out;
    for (uint32_t w : words) {
      if (w == QX::Store::kNoIndex) out.emplace_back();
      else out.back().push_back(w);
    }
    return out;
  }
};

TEST_F(LineConversionTest, ASingleLineStaysALineOfPlainIndices) {
  root.InsertLine({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}});
  Convert();
  EXPECT_EQ(1u, CountOf(root, Search::Type::Lines));
  auto const& mesh = Mesh(Instances().at(0)->mesh);
  ASSERT_EQ(1u, mesh.line_elements.size());
  EXPECT_EQ((std::vector<uint32_t>{0, 1, 2}), Words(mesh.line_elements, 0));
}

TEST_F(LineConversionTest, LinesMeetingAtAPointMergeIntoOnePolyline) {
  root.InsertLine({{0, 0, 0}, {1, 0, 0}});
  root.InsertLine({{2, 0, 0}, {1, 0, 0}});
  root.InsertLine({{5, 5, 5}, {6, 5, 5}});
  Convert();
  // The scene changed for good: one shell in place of the lines.
  EXPECT_EQ(0u, CountOf(root, Search::Type::Lines));
  EXPECT_EQ(1u, CountOf(root, Search::Type::Geometry));
  ASSERT_EQ(1u, MeshCount());
  auto const& mesh = Mesh(Instances().at(0)->mesh);
  EXPECT_EQ(5u, mesh.points.size());
  auto const polylines = Polylines(Words(mesh.line_elements, 0));
  ASSERT_EQ(2u, polylines.size());
  std::vector<size_t> sizes{polylines[0].size(), polylines[1].size()};
  std::sort(sizes.begin(), sizes.end());
  EXPECT_EQ((std::vector<size_t>{2, 3}), sizes);

  // A second conversion finds the shell and converts it the same way.
  auto const words = Words(mesh.line_elements, 0);
  Convert();
  ASSERT_EQ(2u, MeshCount());
  EXPECT_EQ(words, Words(Mesh(Instances().at(1)->mesh).line_elements, 0));
}

TEST_F(LineConversionTest, AReferencedLineIsLeftAloneWhenMerging) {
  SegmentKey child = root.Subsegment();
  LineKey kept = child.InsertLine({{0, 0, 0}, {1, 0, 0}});
  child.InsertLine({{1, 0, 0}, {2, 0, 0}});
  root.ReferenceGeometry(kept);
  Convert();
  EXPECT_EQ(1u, CountOf(child, Search::Type::Lines));
  EXPECT_FALSE(kept.Empty());
  // The other line became a shell of its own, and the referenced one is a
  // line mesh reached both from its segment and through the reference.
  EXPECT_EQ(2u, CountOf(child, Search::Type::Geometry));
  EXPECT_EQ(2u, MeshCount());
  EXPECT_EQ(3u, Instances().size());
}

TEST_F(LineConversionTest, LineShellColorsCountOnlyWhenEveryVertexHasOne) {
  SegmentKey colored = root.Subsegment();
  colored.InsertShell({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}}, {2, 0, 1, 2, 1, 2})
      .SetVertexRGBColorsByRange(Shell::Component::Edges, 0, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}});
  SegmentKey partly = root.Subsegment();
  partly.InsertShell({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}}, {2, 0, 1, 2, 1, 2})
      .SetVertexRGBColorsByRange(Shell::Component::Edges, 0, {{1, 0, 0}});
  Convert();
  auto const instances = Instances();
  ASSERT_EQ(2u, instances.size());
  auto const colored_words = Words(Mesh(instances[0]->mesh).line_elements, 0);
  EXPECT_EQ((std::vector<uint32_t>{QX::Store::kNoIndex, 0, 0, 1, 1, 2, 2}), colored_words);
  auto const& plain = Mesh(instances[1]->mesh);
  EXPECT_TRUE(plain.colors.empty());
  EXPECT_EQ((std::vector<uint32_t>{QX::Store::kNoIndex, 0, 1, 2}), Words(plain.line_elements, 0));
}

TEST_F(LineConversionTest, SkipLinesDropsLinesAndLeavesThemUnmerged) {
  root.InsertLine({{0, 0, 0}, {1, 0, 0}});
  root.InsertLine({{1, 0, 0}, {2, 0, 0}});
  ConverterOptions skip;
  skip.SkipLines = true;
  Convert(skip);
  EXPECT_EQ(0u, MeshCount());
  EXPECT_EQ(2u, CountOf(root, Search::Type::Lines));
}

}  // namespace
}  // namespace qx_conversion_test
