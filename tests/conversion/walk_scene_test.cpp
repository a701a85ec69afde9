// The walk: which segments and includes it enters, and its progress lines.
#include "ConversionFixture.h"
#include "scene/ConditionalExpression.h"
#include "scene/IncludeKey.h"
#include "scene/SegmentKits.h"
#include "scene/VisibilityKit.h"

namespace qx_conversion_test {
namespace {

using namespace KZV;

class WalkSceneTest : public ConversionTest {
 protected:
  std::vector<std::string> ProgressLines() const {
    std::vector<std::string> out;
    for (auto const& l : log.lines)
      if (l.starts_with("Walk progress: ")) out.push_back(l);
    return out;
  }
};

TEST_F(WalkSceneTest, ASegmentWithoutChildrenIsOneVisitAtFullProgress) {
  Convert({}, nullptr, true);
  EXPECT_EQ((std::vector<std::string>{"Total segment paths: 1", "Walking ZTR segment tree.", "Walk progress: 100%",
                                      "Walk complete."}),
            log.lines);
}

TEST_F(WalkSceneTest, ThreeHundredPathsLogEachWholePercentOnce) {
  for (int i = 0; i < 299; ++i) root.Subsegment();
  Convert({}, nullptr, true);
  EXPECT_EQ("Total segment paths: 300", log.lines.front());
  auto const progress = ProgressLines();
  ASSERT_EQ(100u, progress.size());
  EXPECT_EQ("Walk progress: 1%", progress.front());
  EXPECT_EQ("Walk progress: 100%", progress.back());
}

TEST_F(WalkSceneTest, SegmentsLeftOutEndTheProgressBelowFull) {
  // 49 children, of which 25 hold a camera: 50 counted, 25 visited.
  CameraKit camera;
  camera.SetPosition({0, 0, 5});
  for (int i = 0; i < 49; ++i) {
    SegmentKey child = root.Subsegment();
    if (i < 25) child.SetCamera(camera);
  }
  Convert({}, nullptr, true);
  EXPECT_EQ("Total segment paths: 50", log.lines.front());
  auto const progress = ProgressLines();
  ASSERT_FALSE(progress.empty());
  EXPECT_EQ("Walk progress: 50%", progress.back());
  EXPECT_EQ(25u, progress.size());
}

TEST_F(WalkSceneTest, NoProgressLinesWithoutTheFlag) {
  root.Subsegment();
  Convert();
  EXPECT_EQ((std::vector<std::string>{"Walking ZTR segment tree.", "Walk complete."}), log.lines);
}

TEST_F(WalkSceneTest, IncludesCountPerPathAndConditionsSkipThemInBothWalks) {
  SegmentKey library = Database::CreateRootSegment("library");
  SegmentKey part = library.Subsegment("part");
  InsertSquare(part);
  root.IncludeSegment(part);
  root.IncludeSegment(part);
  root.IncludeSegment(part, ConditionalExpression("red"));
  Convert({}, nullptr, true);
  EXPECT_EQ("Total segment paths: 3", log.lines.front());
  EXPECT_EQ(1u, MeshCount());
  EXPECT_EQ(2u, Instances().size());

  // With the condition set, the third include is walked too.
  log.lines.clear();
  root.SetConditions({"red"});
  Convert({}, nullptr, true);
  EXPECT_EQ("Total segment paths: 4", log.lines.front());
  EXPECT_EQ(5u, Instances().size());
  library.Delete();
}

TEST_F(WalkSceneTest, CullingVectorsLeaveOutSegmentsWithAPositiveProduct) {
  auto culled = [&](Vector v) {
    SegmentKey child = root.Subsegment();
    InsertSquare(child);
    CullingKit kit;
    kit.SetVector(true, v);
    child.SetCulling(kit);
  };
  culled({0, 0, 0});    // out: empty product is 1
  culled({0, 0, 1});    // out
  culled({0, 0, -1});   // in
  culled({1, -1, 0});   // in
  culled({-1, -1, 0});  // out
  Convert();
  EXPECT_EQ(2u, Instances().size());
}

TEST_F(WalkSceneTest, ExcludedLockedInvisibleSegmentsAreLeftOutOnlyWhenVisibilityCounts) {
  SegmentKey child = root.Subsegment();
  child.InsertLine({{0, 0, 0}, {1, 0, 0}});
  SegmentKey grandchild = child.Subsegment();
  InsertSquare(grandchild);
  BoundingKit bounding;
  bounding.SetExclusion(true);
  AttributeLockKit lock;
  lock.SetLock(AttributeLock::Type::Visibility, true);
  VisibilityKit visibility;
  visibility.SetFaces(false).SetLines(false);
  child.SetBounding(bounding).SetAttributeLock(lock).SetVisibility(visibility);

  Convert();
  EXPECT_EQ(0u, Instances().size());

  // Any class on keeps the segment in; the locked lines stay off below it.
  visibility.SetFaces(true);
  child.SetVisibility(visibility);
  Convert();
  EXPECT_EQ(1u, Instances().size());

  ConverterOptions ignore_visibility;
  ignore_visibility.HonorVisibility = false;
  Convert(ignore_visibility);
  EXPECT_EQ(3u, Instances().size());
}

}  // namespace
}  // namespace qx_conversion_test
