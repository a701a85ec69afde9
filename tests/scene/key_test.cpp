#include <gtest/gtest.h>

#include <unordered_set>

#include "SceneFixture.h"
#include "scene/IncludeKey.h"
#include "scene/SearchResults.h"
#include "export/value_types/Exceptions.h"
#include "scene/ShellKey.h"

using namespace KZV;

using KeyTest = SceneTest;

TEST_F(KeyTest, HandlesOfOneEntityAreEqualWhateverTheirClass) {
  ShellKey shell = root.InsertShell({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {3, 0, 1, 2});
  Key plain = shell;
  GeometryKey geometry(plain);
  EXPECT_EQ(plain, shell);
  EXPECT_EQ(geometry, shell);
  EXPECT_EQ(plain.GetHash(), shell.GetHash());
  EXPECT_EQ(plain.Type(), TypeCode::Shell);
  EXPECT_TRUE(geometry.HasType(TypeCode::Shell));
  EXPECT_EQ(plain.GetInstanceID(), shell.GetInstanceID());

  std::unordered_set<Key> set{plain, geometry, shell};
  EXPECT_EQ(set.size(), 1u);
  EXPECT_NE(Key(root.InsertShell({}, {})), plain);
}

TEST_F(KeyTest, DeletedEntityIsDetectableAndFindsNothing) {
  SegmentKey child = root.Subsegment("child");
  ShellKey shell = child.InsertShell({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {3, 0, 1, 2});
  Key copy = shell;
  ShellKey other = child.InsertShell({{0, 0, 0}}, {});

  copy.Delete();
  EXPECT_TRUE(shell.Empty());
  EXPECT_EQ(shell.GetPointCount(), 0u);
  PointArray points;
  EXPECT_FALSE(shell.ShowPoints(points));
  EXPECT_NE(shell, other);
  EXPECT_EQ(shell.Type(), TypeCode::Shell);

  SearchResults results;
  EXPECT_EQ(child.Find(Search::Type::Geometry, Search::Space::SegmentOnly, results), 1u);

  // Deleting a segment takes what it owns along.
  child.Delete();
  EXPECT_TRUE(child.Empty());
  EXPECT_TRUE(other.Empty());
  EXPECT_TRUE(child.Name().Empty());
  EXPECT_THROW(child.Subsegment("x"), InvalidObjectException);
  shell.Delete();  // deleting twice is harmless
}

TEST_F(KeyTest, MistypedKeyFindsNothingAndCannotBeBuiltOn) {
  ShellKey shell = root.InsertShell({{0, 0, 0}}, {});
  SegmentKey wrong(shell);
  EXPECT_TRUE(wrong.Name().Empty());
  EXPECT_THROW(wrong.InsertLine({}), InvalidObjectException);
  IncludeKey include(shell);
  EXPECT_TRUE(include.GetTarget().Empty());
}
