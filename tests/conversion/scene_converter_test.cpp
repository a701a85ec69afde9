// What a walk of the scene turns into meshes and instances: includes,
// references, conditions, visibility, culling and the kinds of geometry.
#include <functional>

#include "ConversionFixture.h"
#include "scene/ConditionalExpression.h"
#include "scene/SegmentKits.h"
#include "scene/TextKit.h"
#include "scene/VisibilityKit.h"

namespace qx_conversion_test {
namespace {

using namespace KZV;

using Seg = SegmentKey const&;

struct Case {
  char const* name;
  std::function<void(Seg root, Seg library)> build;
  size_t meshes, instances;
  ConverterOptions options = {};
};

// A square below a segment that is excluded from bounding and locks its
// visibility: lines off, then faces off or on, merged. A line sits beside it.
void LockedChild(Seg root, bool faces) {
  SegmentKey child = root.Subsegment();
  child.InsertLine({{0, 0, 0}, {1, 0, 0}});
  InsertSquare(child.Subsegment());
  child.SetBounding(BoundingKit().SetExclusion(true));
  child.SetAttributeLock(AttributeLockKit().SetLock(AttributeLock::Type::Visibility, true));
  child.SetVisibility(VisibilityKit().SetLines(false)).SetVisibility(VisibilityKit().SetFaces(faces));
}

void ConditionalIncludes(Seg root, Seg library) {
  SegmentKey part = library.Subsegment("part");
  InsertSquare(part);
  root.IncludeSegment(part);
  root.IncludeSegment(part);
  root.IncludeSegment(part, ConditionalExpression("red"));
}

Case const kCases[] = {
    {"SegmentIncludedTwice", [](Seg root, Seg library) {
       InsertSquare(library);
       root.Subsegment().IncludeSegment(library);
       root.Subsegment().IncludeSegment(library);
     }, 1, 2},
    {"AllClassesOff", [](Seg root, Seg) {
       SegmentKey const child = root.Subsegment().SetModellingMatrix(MatrixKit().Translate(3, 0, 0));
       child.SetVisibility(VisibilityKit().SetEverything(false)).InsertLine({{0, 0, 0}, {0, 0, 1}});
       InsertSquare(child);
     }, 0, 0},
    {"PointsWithVerticesOff", [](Seg root, Seg) {
       root.SetVisibility(VisibilityKit().SetVertices(false)).InsertShell({{0, 0, 0}, {1, 0, 0}}, {});
     }, 0, 0},
    {"TextHiddenScreenBoundOrBlank", [](Seg root, Seg) {
       root.Subsegment().SetVisibility(VisibilityKit().SetText(false)).InsertText(TextKit().SetText("hidden"));
       root.Subsegment().InsertText(TextKit().SetText("pixels").SetSize(12, Text::SizeUnits::Pixels));
       root.Subsegment().InsertText(TextKit().SetText("    "));
     }, 0, 0},
    {"ReferenceConditionUnsatisfied", [](Seg root, Seg library) {
       root.Subsegment().ReferenceGeometry(InsertSquare(library), ConditionalExpression("blue"));
     }, 0, 0},
    {"ReferenceConditionSatisfied", [](Seg root, Seg library) {
       root.Subsegment().SetConditions({"blue"}).ReferenceGeometry(InsertSquare(library), ConditionalExpression("blue"));
     }, 1, 1},
    {"IncludeConditionsUnset", ConditionalIncludes, 1, 2},
    {"IncludeConditionsSet", [](Seg root, Seg library) {
       root.SetConditions({"red"});
       ConditionalIncludes(root, library);
     }, 1, 3},
    // Culled where the culling vector has a positive product with the view
    // direction, and always for the null vector.
    {"CullingVectors", [](Seg root, Seg) {
       for (Vector v : {Vector(0, 0, 0), Vector(0, 0, 1), Vector(0, 0, -1), Vector(1, -1, 0), Vector(-1, -1, 0)})
         InsertSquare(root.Subsegment().SetCulling(CullingKit().SetVector(true, v)));
     }, 2, 2},
    {"ExcludedLockedInvisible", [](Seg root, Seg) { LockedChild(root, false); }, 0, 0},
    // Any class on keeps the segment; the locked lines stay off below it.
    {"ExcludedLockedFacesOn", [](Seg root, Seg) { LockedChild(root, true); }, 1, 1},
    {"ExcludedLockedVisibilityIgnored", [](Seg root, Seg) { LockedChild(root, false); },
     2, 2, {.HonorVisibility = false}},
    {"SurfacesAndCurves", [](Seg root, Seg) {
       root.InsertSphere({0, 0, 0}, 1.0f, {0, 1, 0}, {1, 0, 0});
       root.InsertCircle({1, 0, 0}, {0, 1, 0}, {-1, 0, 0});
       root.InsertPolygon({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
     }, 3, 3},
};

class ConvertedTest : public ConversionTest, public ::testing::WithParamInterface<Case> {};

TEST_P(ConvertedTest, GivesMeshesAndInstances) {
  GetParam().build(root, library);
  size_t const matrices = impl().matrices.size();
  Convert(GetParam().options);
  EXPECT_EQ(GetParam().meshes, MeshCount());
  EXPECT_EQ(GetParam().instances, Instances().size());
  if (Instances().empty()) {
    EXPECT_EQ(matrices, impl().matrices.size()) << "nothing added, not even a matrix";
  }
}

INSTANTIATE_TEST_SUITE_P(Scenes, ConvertedTest, ::testing::ValuesIn(kCases),
                         [](auto const& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace qx_conversion_test
