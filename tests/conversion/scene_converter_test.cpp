// Attribute inheritance from paths into meshes and instances, handedness,
// visibility and references.
#include <array>

#include "ConversionFixture.h"
#include "scene/ConditionalExpression.h"
#include "scene/Helpers.h"
#include "scene/IncludeKey.h"
#include "scene/ReferenceKey.h"
#include "scene/SegmentKits.h"
#include "scene/ShellKey.h"
#include "scene/VisibilityKit.h"

namespace qx_conversion_test {
namespace {

using namespace KZV;

class SceneConverterTest : public ConversionTest {
 protected:
  ~SceneConverterTest() override { library.Delete(); }

  std::array<double, 12> MatrixOf(QX::Store::MatrixKey key) {
    std::array<double, 12> m{};
    impl().GetMatrix(key, m.data());
    return m;
  }
  static MatrixKit Translation(float x, float y, float z) {
    MatrixKit m;
    m.Translate(x, y, z);
    return m;
  }

  SegmentKey library = Database::CreateRootSegment("library");
};

TEST_F(SceneConverterTest, ASegmentIncludedTwiceIsOneMeshAndTwoInstances) {
  SegmentKey part = library.Subsegment("part");
  InsertSquare(part);
  root.Subsegment("a").SetModellingMatrix(Translation(1, 0, 0)).IncludeSegment(part);
  root.Subsegment("b").SetModellingMatrix(Translation(0, 2, 0)).IncludeSegment(part);
  Convert();
  ASSERT_EQ(1u, MeshCount());
  auto const instances = Instances();
  ASSERT_EQ(2u, instances.size());
  EXPECT_EQ(instances[0]->mesh, instances[1]->mesh);
  ASSERT_NE(instances[0]->matrix, instances[1]->matrix);
  EXPECT_EQ(1.0, MatrixOf(instances[0]->matrix)[9]);
  EXPECT_EQ(2.0, MatrixOf(instances[1]->matrix)[10]);
}

TEST_F(SceneConverterTest, FacesOffOnOnePathGivesASecondMeshSet) {
  SegmentKey part = library.Subsegment("part");
  InsertSquare(part);
  part.InsertLine({{0, 0, 0}, {0, 0, 1}});
  root.Subsegment("a").IncludeSegment(part);
  VisibilityKit faces_off;
  faces_off.SetFaces(false);
  root.Subsegment("b").SetVisibility(faces_off).IncludeSegment(part);
  Convert();
  // Square and line on path a; the line again under the other visibility.
  EXPECT_EQ(3u, MeshCount());
  auto const instances = Instances();
  ASSERT_EQ(3u, instances.size());
  EXPECT_NE(instances[1]->mesh, instances[2]->mesh);
  EXPECT_EQ(0u, instances[2]->face_material);
}

TEST_F(SceneConverterTest, AllClassesOffAddsNothingNotEvenAMatrix) {
  SegmentKey child = root.Subsegment();
  child.SetModellingMatrix(Translation(3, 0, 0));
  InsertSquare(child);
  child.InsertLine({{0, 0, 0}, {0, 0, 1}});
  VisibilityKit off;
  off.SetEverything(false);
  child.SetVisibility(off);
  size_t const matrices = impl().matrices.size();
  Convert();
  EXPECT_EQ(0u, MeshCount());
  EXPECT_EQ(0u, Instances().size());
  EXPECT_EQ(matrices, impl().matrices.size());
}

// One triangle and one line drawn under left, right, no and unset
// handedness: right-handed faces are reversed into a mesh of their own with
// the left-handed flags, unless the option keeps the handedness; lines
// don't care.
TEST_F(SceneConverterTest, HandednessReversesFacesOrSetsTheirBits) {
  SegmentKey part = library.Subsegment("part");
  part.InsertShell({{0, 0, 0}, {1, 0, 0}, {1, 1, 0}}, {3, 0, 1, 2});
  SegmentKey lines = library.Subsegment("lines");
  lines.InsertLine({{0, 0, 0}, {1, 0, 0}});
  for (auto handedness : {Drawing::Handedness::Left, Drawing::Handedness::Right, Drawing::Handedness::None}) {
    DrawingAttributeKit drawing;
    drawing.SetPolygonHandedness(handedness);
    SegmentKey child = root.Subsegment();
    child.SetDrawingAttribute(drawing).IncludeSegment(part);
    child.IncludeSegment(lines);
  }
  root.Subsegment().IncludeSegment(part);  // no attribute: like left

  Convert();
  auto instances = Instances();
  ASSERT_EQ(7u, instances.size());
  // Faces: left and unset share a mesh, right has its own.
  EXPECT_EQ(instances[0]->mesh, instances[6]->mesh);
  EXPECT_NE(instances[0]->mesh, instances[2]->mesh);
  EXPECT_EQ(instances[1]->mesh, instances[3]->mesh) << "one line mesh";
  auto const left_words = Words(Mesh(instances[0]->mesh).face_elements, 0);
  uint32_t const left_flags = Mesh(instances[0]->mesh).flags;
  auto const right_words = Words(Mesh(instances[2]->mesh).face_elements, 0);
  EXPECT_EQ(left_flags, Mesh(instances[2]->mesh).flags);
  EXPECT_EQ(2u, left_flags & 7);
  // The tuples of one triangle, in opposite orders.
  ASSERT_EQ(left_words.size(), right_words.size());
  size_t const stride = left_words.size() / 3;
  EXPECT_EQ(left_words[0], right_words[stride]);
  EXPECT_EQ(left_words[stride], right_words[0]);
  EXPECT_EQ(left_words[2 * stride], right_words[2 * stride]);

  ConverterOptions keep;
  keep.NormalizeHandedness = false;
  size_t const before = instances.size();
  Convert(keep);
  instances = Instances();
  EXPECT_EQ(1u, Mesh(instances[before + 2]->mesh).flags & 7) << "right";
  EXPECT_EQ((std::vector<uint32_t>{0, 1, 2}), Words(Mesh(instances[before + 2]->mesh).face_elements, 0));
  EXPECT_EQ(0u, Mesh(instances[before + 4]->mesh).flags & 7) << "none";
}

TEST_F(SceneConverterTest, AReferencedGeometryTakesTheReferenceMatrixBeforeThePath) {
  SegmentKey part = library.Subsegment("part");
  ShellKey square = InsertSquare(part);
  SegmentKey child = root.Subsegment();
  MatrixKit path_matrix;
  path_matrix.Rotate(0, 0, 90);
  child.SetModellingMatrix(path_matrix);
  child.ReferenceGeometry(square).SetModellingMatrix(Translation(1, 0, 0));
  Convert();
  auto const instances = Instances();
  ASSERT_EQ(1u, instances.size());
  // Translated along x, then turned: the translation ends on +y.
  auto const m = MatrixOf(instances[0]->matrix);
  EXPECT_NEAR(0.0, m[9], 1e-6);
  EXPECT_NEAR(1.0, m[10], 1e-6);
}

TEST_F(SceneConverterTest, AReferencedSegmentTakesThePathOnlyAndItsReferencesAreNotFollowed) {
  SegmentKey part = library.Subsegment("part");
  InsertSquare(part);
  SegmentKey other = library.Subsegment("other");
  part.ReferenceGeometry(other.InsertLine({{0, 0, 0}, {1, 0, 0}}));
  SegmentKey child = root.Subsegment();
  child.SetModellingMatrix(Translation(0, 0, 4));
  child.ReferenceGeometry(part).SetModellingMatrix(Translation(1, 0, 0));
  Convert();
  auto const instances = Instances();
  ASSERT_EQ(1u, instances.size());
  EXPECT_EQ(4.0, MatrixOf(instances[0]->matrix)[11]);
  EXPECT_EQ(0.0, MatrixOf(instances[0]->matrix)[9]);
}

TEST_F(SceneConverterTest, AnUnsatisfiedReferenceConditionSkipsIt) {
  SegmentKey part = library.Subsegment("part");
  ShellKey square = InsertSquare(part);
  SegmentKey child = root.Subsegment();
  child.ReferenceGeometry(square, ConditionalExpression("blue"));
  Convert();
  EXPECT_EQ(0u, Instances().size());
  child.SetConditions({"blue"});
  Convert();
  EXPECT_EQ(1u, Instances().size());
}

TEST_F(SceneConverterTest, VerboseLinesNameThePath) {
  SegmentKey part = library.Subsegment("part");
  InsertSquare(part);
  root.Subsegment().IncludeSegment(part);
  ConverterOptions verbose;
  verbose.Verbose = true;
  Convert(verbose);
  EXPECT_EQ(1, log.Count("UpdateBySegPath: /root/(ANON)/@{part}/part"));
  EXPECT_EQ(1, log.Count("Inserting face mesh."));
  EXPECT_EQ(1, log.Count("Inserting mesh instance."));
}

}  // namespace
}  // namespace qx_conversion_test
