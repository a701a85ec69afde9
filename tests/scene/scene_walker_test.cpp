#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SceneFixture.h"
#include "scene/ConditionalExpression.h"
#include "scene/IncludeKey.h"
#include "scene/SceneWalker.h"

using namespace KZV;
using KZVI::Helpers::GrownKeyPath;
using KZVI::Helpers::SceneWalker;

namespace {

std::string Label(Key const& key) {
  if (key.HasType(TypeCode::Include)) return "@" + IncludeKey(key).GetTarget().Name().str();
  return SegmentKey(key).Name().str();
}

// root has children a and b; a includes library (under "on"); b includes
// it without a condition; library has a child leaf.
class SceneWalkerTest : public SceneTest {
 protected:
  void SetUp() override {
    a.IncludeSegment(library, ConditionalExpression("on"));
    b.IncludeSegment(library);
  }
  void TearDown() override {
    library.Delete();
    SceneTest::TearDown();
  }

  std::vector<std::string> Walk(std::function<bool(GrownKeyPath const&)> segment_filter) {
    std::vector<std::string> calls;
    SceneWalker walker(
        [&](GrownKeyPath const& path) {
          calls.push_back("include " + Label(path.Peek()));
          ConditionalExpression condition;
          return !IncludeKey(path.Peek()).ShowConditionalExpression(condition) || condition.IsSatisfiedBy({});
        },
        [&](GrownKeyPath const& path) {
          calls.push_back("enter " + Label(path.Peek()));
          return segment_filter(path);
        },
        [&](GrownKeyPath const& path) {
          calls.push_back("visit " + Label(path.Peek()) + " depth " + std::to_string(path->Keys().size()));
        });
    walker.Walk(KeyPath({root}));
    return calls;
  }

  SegmentKey a = root.Subsegment("a");
  SegmentKey b = root.Subsegment("b");
  SegmentKey library = Database::CreateRootSegment("library");
  SegmentKey leaf = library.Subsegment("leaf");
};

}  // namespace

TEST_F(SceneWalkerTest, FiltersOnEnteringAndVisitsOnLeaving) {
  auto const calls = Walk([](GrownKeyPath const&) { return true; });
  std::vector<std::string> const expected = {
      "enter root",     "enter a",      "include @library", "visit a depth 2",
      "enter b",        "include @library", "enter library", "enter leaf",
      "visit leaf depth 5", "visit library depth 4", "visit b depth 2", "visit root depth 1"};
  EXPECT_EQ(calls, expected);
}

TEST_F(SceneWalkerTest, RefusedSegmentIsSkippedWithEverythingBelow) {
  auto const calls = Walk([](GrownKeyPath const& path) { return SegmentKey(path.Peek()).Name() != "b"; });
  std::vector<std::string> const expected = {"enter root", "enter a", "include @library", "visit a depth 2",
                                             "enter b", "visit root depth 1"};
  EXPECT_EQ(calls, expected);
}

TEST_F(SceneWalkerTest, PathsGrowAtTheLeafEnd) {
  std::vector<KeyArray> paths;
  SceneWalker walker([](GrownKeyPath const&) { return true; }, [](GrownKeyPath const&) { return true; },
                     [&](GrownKeyPath const& path) { paths.push_back(path.KeyPath().Keys()); });
  walker.Walk(KeyPath({b, root}));
  ASSERT_EQ(paths.size(), 3u);
  ASSERT_EQ(paths[0].size(), 5u);
  EXPECT_EQ(paths[0][0], leaf);
  EXPECT_EQ(paths[0][1], library);
  EXPECT_TRUE(paths[0][2].HasType(TypeCode::Include));
  EXPECT_EQ(paths[0][3], b);
  EXPECT_EQ(paths[0][4], root);
  EXPECT_EQ(paths[2], (KeyArray{b, root}));
}
