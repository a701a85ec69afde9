// Keys of segments and geometry: deletion, search, references, includes,
// and bad geometry refused.
#include <gtest/gtest.h>

#include <algorithm>

#include "SceneFixture.h"
#include "export/value_types/Exceptions.h"
#include "scene/ConditionalExpression.h"
#include "scene/IncludeKey.h"
#include "scene/ReferenceKey.h"
#include "scene/SearchResults.h"
#include "scene/SegmentKits.h"
#include "scene/ShellKey.h"
#include "scene/TextKit.h"

using namespace KZV;

namespace {

KeyArray Found(SegmentKey const& segment, Search::Type type) {
  SearchResults results;
  size_t const count = segment.Find(type, Search::Space::SegmentOnly, results);
  KeyArray keys;
  for (auto it = results.GetIterator(); it.IsValid(); it.Next()) keys.push_back(it.GetItem());
  EXPECT_EQ(count, keys.size());
  return keys;
}

PointArray const kTriangle = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};

}  // namespace

using KeyTest = SceneTest;

TEST_F(KeyTest, DeletedAndMistypedKeysFindNothing) {
  SegmentKey child = root.Subsegment("child");
  ShellKey shell = child.InsertShell(kTriangle, {3, 0, 1, 2});
  ShellKey other = child.InsertShell({{0, 0, 0}}, {});
  Key(shell).Delete();
  EXPECT_TRUE(shell.Empty());
  EXPECT_EQ(shell.GetPointCount(), 0u);
  PointArray points;
  EXPECT_FALSE(shell.ShowPoints(points));
  EXPECT_NE(shell, other);
  EXPECT_EQ(shell.Type(), TypeCode::Shell);
  EXPECT_EQ(Found(child, Search::Type::Geometry), KeyArray{other});
  // Deleting a segment takes what it owns along.
  child.Delete();
  EXPECT_TRUE(child.Empty() && other.Empty() && child.Name().Empty());
  EXPECT_THROW(child.Subsegment("x"), InvalidObjectException);
  shell.Delete();  // deleting twice is harmless
  SegmentKey wrong(root.InsertShell({{0, 0, 0}}, {}));
  EXPECT_TRUE(wrong.Name().Empty());
  EXPECT_THROW(wrong.InsertLine({}), InvalidObjectException);
  EXPECT_TRUE(IncludeKey(Key(wrong)).GetTarget().Empty());
}

TEST_F(KeyTest, FindAndFlushGoByTypeInInsertionOrder) {
  SegmentKey child = root.Subsegment("child");
  LineKey line1 = root.InsertLine({{0, 0, 0}, {1, 0, 0}});
  ShellKey shell = root.InsertShell({{0, 0, 0}}, {});
  ReferenceKey reference = root.ReferenceGeometry(child);
  LineKey line2 = root.InsertLine({{1, 0, 0}, {2, 0, 0}});
  root.IncludeSegment(child);
  ReferenceKey const to_line = child.ReferenceGeometry(line1);
  ReferenceKeyArray referrers;
  EXPECT_EQ(line1.ShowReferrers(referrers), 1u);
  EXPECT_EQ(referrers.at(0), to_line);
  Key(to_line).Delete();
  EXPECT_EQ(line1.ShowReferrers(referrers), 0u);
  EXPECT_EQ(Found(root, Search::Type::Geometry), (KeyArray{line1, shell, reference, line2}));
  EXPECT_EQ(Found(root, Search::Type::Lines), (KeyArray{line1, line2}));
  Search::Type const types[] = {Search::Type(TypeCode::Shell), Search::Type(TypeCode::Reference)};
  SearchResults results;
  EXPECT_EQ(root.Find(2, types, Search::Space::SegmentOnly, results), 2u);
  EXPECT_EQ(results.GetIterator().GetItem(), shell);
  EXPECT_THROW(root.Find(Search::Type::Geometry, Search::Space(7), results), InvalidSpecificationException);
  // Results survive changes of the segment while they are read.
  int seen = 0;
  root.Find(Search::Type::Lines, Search::Space::SegmentOnly, results);
  for (auto it = results.GetIterator(); it.IsValid(); it.Next(), ++seen) {
    it.GetItem().Delete();
    root.InsertLine({{5, 5, 5}, {6, 6, 6}});
  }
  EXPECT_EQ(seen, 2);
  EXPECT_TRUE(line1.Empty() && line2.Empty());
  root.Flush(Search::Type::Lines, Search::Space::SegmentOnly);
  EXPECT_EQ(Found(root, Search::Type::Geometry), (KeyArray{shell, reference}));
  root.Flush(Search::Type::Everything, Search::Space::SegmentOnly);
  EXPECT_TRUE(Found(root, Search::Type::Geometry).empty());
  EXPECT_TRUE(child.Empty());
}

TEST_F(KeyTest, IncludesAndChildrenKeepTheirOrder) {
  SegmentKey a = root.Subsegment("a"), b = root.Subsegment("b");
  SegmentKey library = Database::CreateRootSegment("library");
  IncludeKey include = a.IncludeSegment(library, ConditionalExpression("on"));
  SegmentKeyArray children;
  EXPECT_EQ(root.ShowSubsegments(children), 2u);
  EXPECT_EQ(children, (SegmentKeyArray{a, b}));
  EXPECT_EQ(b.Owner(), root);
  EXPECT_TRUE(root.Owner().Empty());
  // Settings belong to their segment; the net ones come from key paths.
  root.SetCamera(CameraKit().SetPosition({0, 0, 5}));
  CameraKit camera;
  AttributeLockKit lock;
  EXPECT_TRUE(root.ShowCamera(camera) && !a.ShowCamera(camera) && !a.ShowAttributeLock(lock));
  EXPECT_EQ(include.GetTarget(), library);
  IncludeKeyArray includes;
  EXPECT_EQ(a.ShowIncludes(includes), 1u);
  ConditionalExpression condition;
  EXPECT_TRUE(include.ShowConditionalExpression(condition));
  EXPECT_EQ(condition.Text(), "on");
  library.Delete();
  EXPECT_TRUE(include.GetTarget().Empty());
}

TEST_F(KeyTest, BadGeometryIsRefused) {
  EXPECT_THROW(root.InsertShell({{0, 0, 0}}, {3, 0, 0}), InvalidSpecificationException);
  EXPECT_THROW(root.InsertShell({{0, 0, 0}}, {2, 0, 1}), IndexOutOfRangeException);
  EXPECT_THROW(root.InsertMesh(2, 2, {{0, 0, 0}}), InvalidSpecificationException);
  EXPECT_THROW(root.InsertCircle({0, 0, 0}, {1, 0, 0}, {2, 0, 0}), InvalidSpecificationException);
  EXPECT_THROW(root.InsertNURBSCurve({3, {{0, 0, 0}, {1, 0, 0}}, {}, {}, 0, 1}), InvalidSpecificationException);
  EXPECT_THROW(root.InsertLineFromGeometry(root.InsertShell({}, {})), InvalidSpecificationException);
}

TEST_F(KeyTest, OffScreenWindowIsASegmentOfItsOwn) {
  OffScreenWindowKey window =
      Database::CreateOffScreenWindow(100, 100, OffScreenWindowOptionsKit().SetDriver(Window::Driver::Default));
  EXPECT_TRUE(window.HasType(TypeCode::Segment));
  SegmentKeyArray roots;
  Database::ShowRootSegments(roots);
  EXPECT_EQ(std::count(roots.begin(), roots.end(), window), 0);
  EXPECT_EQ(std::count(roots.begin(), roots.end(), root), 1);
  TextKey text = window.InsertText(TextKit().SetText("x"));
  EXPECT_GT(window.InsertShellFromGeometry(text).GetPointCount(), 0u) << "the glyph of x";
  window.Flush(Search::Type::Everything, Search::Space::SegmentOnly);
  EXPECT_TRUE(text.Empty());
  window.Delete();
  EXPECT_TRUE(window.Empty());
}
