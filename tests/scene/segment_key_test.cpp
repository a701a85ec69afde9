#include <gtest/gtest.h>

#include <algorithm>

#include "SceneFixture.h"
#include "export/value_types/Exceptions.h"
#include "scene/ConditionalExpression.h"
#include "scene/IncludeKey.h"
#include "scene/MatrixKit.h"
#include "scene/ReferenceKey.h"
#include "scene/SearchResults.h"
#include "scene/SegmentKits.h"
#include "scene/ShellKey.h"
#include "scene/TextKit.h"

using namespace KZV;

namespace {

KeyArray Items(SearchResults const& results) {
  KeyArray keys;
  for (auto it = results.GetIterator(); it.IsValid(); it.Next()) keys.push_back(it.GetItem());
  return keys;
}

}  // namespace

using SegmentKeyTest = SceneTest;

TEST_F(SegmentKeyTest, FindReportsGeometryInInsertionOrder) {
  SegmentKey child = root.Subsegment("child");
  LineKey line1 = root.InsertLine({{0, 0, 0}, {1, 0, 0}});
  ShellKey shell = root.InsertShell({{0, 0, 0}}, {});
  ReferenceKey reference = root.ReferenceGeometry(child);
  LineKey line2 = root.InsertLine({{1, 0, 0}, {2, 0, 0}});
  root.IncludeSegment(child);

  SearchResults results;
  EXPECT_EQ(root.Find(Search::Type::Geometry, Search::Space::SegmentOnly, results), 4u);
  EXPECT_EQ(Items(results), (KeyArray{line1, shell, reference, line2}));
  EXPECT_EQ(root.Find(Search::Type::Lines, Search::Space::SegmentOnly, results), 2u);
  EXPECT_EQ(Items(results), (KeyArray{line1, line2}));
  Search::Type const types[] = {Search::Type(TypeCode::Shell), Search::Type(TypeCode::Reference)};
  EXPECT_EQ(root.Find(2, types, Search::Space::SegmentOnly, results), 2u);
  EXPECT_EQ(Items(results), (KeyArray{shell, reference}));
  EXPECT_THROW(root.Find(Search::Type::Geometry, Search::Space(7), results), InvalidSpecificationException);
}

TEST_F(SegmentKeyTest, ResultsSurviveChangesOfTheSegment) {
  LineKey line1 = root.InsertLine({{0, 0, 0}, {1, 0, 0}});
  LineKey line2 = root.InsertLine({{1, 0, 0}, {2, 0, 0}});
  SearchResults results;
  root.Find(Search::Type::Lines, Search::Space::SegmentOnly, results);
  int seen = 0;
  for (auto it = results.GetIterator(); it.IsValid(); it.Next()) {
    it.GetItem().Delete();
    root.InsertLine({{5, 5, 5}, {6, 6, 6}});
    ++seen;
  }
  EXPECT_EQ(seen, 2);
  EXPECT_TRUE(line1.Empty());
  EXPECT_TRUE(line2.Empty());
  EXPECT_EQ(root.Find(Search::Type::Lines, Search::Space::SegmentOnly, results), 2u);
}

TEST_F(SegmentKeyTest, FlushDeletesWhatTheTypeSelects) {
  SegmentKey child = root.Subsegment();
  root.InsertLine({{0, 0, 0}, {1, 0, 0}});
  ShellKey shell = root.InsertShell({{0, 0, 0}}, {});
  root.Flush(Search::Type::Lines, Search::Space::SegmentOnly);
  SearchResults results;
  EXPECT_EQ(root.Find(Search::Type::Geometry, Search::Space::SegmentOnly, results), 1u);
  EXPECT_FALSE(shell.Empty());
  root.Flush(Search::Type::Everything, Search::Space::SegmentOnly);
  EXPECT_EQ(root.Find(Search::Type::Geometry, Search::Space::SegmentOnly, results), 0u);
  EXPECT_TRUE(child.Empty());
}

TEST_F(SegmentKeyTest, ReferencesKnowTargetsConditionMatrixAndReferrers) {
  LineKey line = root.InsertLine({{0, 0, 0}, {1, 0, 0}});
  SegmentKey holder = root.Subsegment("holder");
  ReferenceKey reference = holder.ReferenceGeometry(line, ConditionalExpression("a & !b"));
  reference.SetModellingMatrix(MatrixKit().Translate(1, 2, 3));

  KeyArray targets;
  ASSERT_EQ(reference.ShowTargets(targets, true), 1u);
  EXPECT_EQ(targets[0], line);
  ConditionalExpression condition;
  ASSERT_TRUE(reference.ShowConditionalExpression(condition));
  EXPECT_TRUE(condition.IsSatisfiedBy({"a"}));
  MatrixKit matrix;
  ASSERT_TRUE(reference.ShowModellingMatrix(matrix));
  EXPECT_EQ(matrix.Transform(Point(0, 0, 0)), Point(1, 2, 3));

  ReferenceKeyArray referrers;
  EXPECT_EQ(line.ShowReferrers(referrers), 1u);
  EXPECT_EQ(referrers[0], reference);
  reference.Delete();
  EXPECT_EQ(line.ShowReferrers(referrers), 0u);

  ReferenceKey to_segment = holder.ReferenceGeometry(root.Subsegment("target"));
  EXPECT_FALSE(to_segment.ShowConditionalExpression(condition));
  EXPECT_FALSE(to_segment.ShowModellingMatrix(matrix));
  EXPECT_EQ(to_segment.ShowTargets(targets), 1u);
  EXPECT_TRUE(targets[0].HasType(TypeCode::Segment));
}

TEST_F(SegmentKeyTest, IncludesAndChildrenKeepTheirOrder) {
  SegmentKey a = root.Subsegment("a"), b = root.Subsegment("b");
  SegmentKey library = Database::CreateRootSegment("library");
  IncludeKey include = a.IncludeSegment(library, ConditionalExpression("on"));
  SegmentKeyArray children;
  EXPECT_EQ(root.ShowSubsegments(children), 2u);
  EXPECT_EQ(children, (SegmentKeyArray{a, b}));
  EXPECT_EQ(b.Owner(), root);
  EXPECT_TRUE(root.Owner().Empty());
  EXPECT_EQ(include.GetTarget(), library);
  IncludeKeyArray includes;
  EXPECT_EQ(a.ShowIncludes(includes), 1u);
  ConditionalExpression condition;
  EXPECT_TRUE(include.ShowConditionalExpression(condition));
  EXPECT_EQ(condition.Text(), "on");
  library.Delete();
  EXPECT_TRUE(include.GetTarget().Empty());
}

TEST_F(SegmentKeyTest, SegmentSettingsAreThoseOfTheSegmentItself) {
  SegmentKey child = root.Subsegment();
  root.SetCamera(CameraKit().SetPosition({0, 0, 5}));
  root.SetCulling(CullingKit().SetVector(true, {0, 0, 1}));
  root.SetBounding(BoundingKit().SetExclusion(true));
  root.SetAttributeLock(AttributeLockKit().SetLock(AttributeLock::Type::Visibility, true));
  CameraKit camera;
  CullingKit culling;
  BoundingKit bounding;
  AttributeLockKit lock;
  EXPECT_TRUE(root.ShowCamera(camera));
  EXPECT_FALSE(child.ShowCamera(camera));
  ASSERT_TRUE(root.ShowCulling(culling));
  bool state = false, flag = false;
  Vector direction;
  EXPECT_TRUE(culling.ShowVector(state, direction));
  EXPECT_EQ(direction, Vector(0, 0, 1));
  EXPECT_FALSE(child.ShowCulling(culling));
  EXPECT_TRUE(root.ShowBounding(bounding) && bounding.ShowExclusion(flag) && flag);
  EXPECT_TRUE(root.ShowAttributeLock(lock) && lock.ShowLock(AttributeLock::Type::Visibility, flag) && flag);
  EXPECT_FALSE(child.ShowAttributeLock(lock));
  root.UnsetEverything();
  EXPECT_FALSE(root.ShowCamera(camera));
}

TEST_F(SegmentKeyTest, UserDataAndTexts) {
  ShellKey shell = root.InsertShell({{0, 0, 0}}, {});
  shell.SetUserData(7, {1, 2, 3}).SetUserData(-1, {});
  Int64Array indices;
  ByteArrayArray data;
  EXPECT_EQ(shell.ShowUserData(indices, data), 2u);
  EXPECT_EQ(indices, (Int64Array{-1, 7}));
  EXPECT_EQ(data[1], (ByteArray{1, 2, 3}));

  TextKey text = root.InsertText(TextKit().SetText("hello").SetPosition({1, 2, 3}).SetSize(2, Text::SizeUnits::WorldSpace));
  TextKit kit;
  ASSERT_TRUE(text.Show(kit));
  UTF8 string;
  EXPECT_TRUE(kit.ShowText(string));
  EXPECT_EQ(string, "hello");
  float size = 0;
  Text::SizeUnits units;
  EXPECT_TRUE(kit.ShowSize(size, units));
  EXPECT_EQ(size, 2);
  UTF8 font;
  EXPECT_FALSE(kit.ShowFont(font));
}

TEST_F(SegmentKeyTest, BadGeometryIsRefused) {
  EXPECT_THROW(root.InsertShell({{0, 0, 0}}, {3, 0, 0}), InvalidSpecificationException);
  EXPECT_THROW(root.InsertShell({{0, 0, 0}}, {2, 0, 1}), IndexOutOfRangeException);
  EXPECT_THROW(root.InsertMesh(2, 2, {{0, 0, 0}}), InvalidSpecificationException);
  EXPECT_THROW(root.InsertCircle({0, 0, 0}, {1, 0, 0}, {2, 0, 0}), InvalidSpecificationException);
  EXPECT_THROW(root.InsertNURBSCurve({3, {{0, 0, 0}, {1, 0, 0}}, {}, {}, 0, 1}), InvalidSpecificationException);
  EXPECT_THROW(root.InsertLineFromGeometry(root.InsertShell({}, {})), InvalidSpecificationException);
}

TEST_F(SegmentKeyTest, OffScreenWindowIsASegmentOfItsOwn) {
  OffScreenWindowKey window =
      Database::CreateOffScreenWindow(100, 100, OffScreenWindowOptionsKit().SetDriver(Window::Driver::Default));
  EXPECT_TRUE(window.HasType(TypeCode::Segment));
  SegmentKeyArray roots;
  Database::ShowRootSegments(roots);
  EXPECT_EQ(std::count(roots.begin(), roots.end(), window), 0);
  EXPECT_EQ(std::count(roots.begin(), roots.end(), root), 1);
  TextKey text = window.InsertText(TextKit().SetText("x"));
  ShellKey shell = window.InsertShellFromGeometry(text);
  EXPECT_GT(shell.GetPointCount(), 0u) << "the glyph of x";
  window.Flush(Search::Type::Everything, Search::Space::SegmentOnly);
  EXPECT_TRUE(text.Empty());
  window.Delete();
  EXPECT_TRUE(window.Empty());
}
