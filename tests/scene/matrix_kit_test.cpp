#include <gtest/gtest.h>

#include "export/value_types/Exceptions.h"
#include "scene/MatrixKit.h"

using namespace KZV;

namespace {

void ExpectNear(Point const& p, Point const& q) {
  EXPECT_NEAR(p.x, q.x, 1e-5);
  EXPECT_NEAR(p.y, q.y, 1e-5);
  EXPECT_NEAR(p.z, q.z, 1e-5);
}

}  // namespace

TEST(MatrixKitTest, EmptyKitIsTheIdentity) {
  MatrixKit kit;
  EXPECT_TRUE(kit.Empty());
  FloatArray e;
  ASSERT_TRUE(kit.ShowElements(e));
  EXPECT_EQ(e, (FloatArray{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
  EXPECT_EQ(kit.Transform(Point(1, 2, 3)), Point(1, 2, 3));
  EXPECT_FALSE(MatrixKit::GetDefault().Empty());
  EXPECT_THROW(kit.SetElements({1, 2, 3}), InvalidSpecificationException);
}

TEST(MatrixKitTest, RowVectorsWithTheTranslationInTheLastRow) {
  MatrixKit kit = MatrixKit().Translate(1, 2, 3);
  FloatArray e;
  kit.ShowElements(e);
  EXPECT_EQ(e[12], 1);
  EXPECT_EQ(e[13], 2);
  EXPECT_EQ(e[14], 3);
  EXPECT_FALSE(kit.Empty());
  ExpectNear(MatrixKit().Rotate(0, 0, 90).Transform(Point(1, 0, 0)), Point(0, 1, 0));
  ExpectNear(MatrixKit().Rotate(90, 0, 0).Transform(Point(0, 1, 0)), Point(0, 0, 1));
  ExpectNear(MatrixKit().Rotate(0, 90, 0).Transform(Point(0, 0, 1)), Point(1, 0, 0));
}

TEST(MatrixKitTest, TheLeftFactorActsFirst) {
  MatrixKit const scale = MatrixKit().Scale(2, 2, 2);
  MatrixKit const move = MatrixKit().Translate(1, 0, 0);
  EXPECT_EQ((scale * move).Transform(Point(1, 0, 0)), Point(3, 0, 0));
  EXPECT_EQ(move.Multiply(scale).Transform(Point(1, 0, 0)), Point(4, 0, 0));
  MatrixKit chained = MatrixKit().Scale(2, 2, 2).Translate(1, 0, 0);
  EXPECT_EQ(chained, scale * move);
  MatrixKit assigned = scale;
  assigned.MultiplyAndAssign(MatrixKit());
  EXPECT_EQ(assigned, scale);
  PointArray moved = move.Transform(PointArray{{0, 0, 0}, {1, 1, 1}});
  EXPECT_EQ(moved, (PointArray{{1, 0, 0}, {2, 1, 1}}));
}

TEST(MatrixKitTest, InverseUndoesTheTransform) {
  MatrixKit const m = MatrixKit().Rotate(10, 20, 30).Scale(2, 3, 4).Translate(5, 6, 7);
  MatrixKit inverse;
  ASSERT_TRUE(m.ShowInverse(inverse));
  ExpectNear((m * inverse).Transform(Point(1, 2, 3)), Point(1, 2, 3));
  EXPECT_NEAR(m.ShowDeterminant(), 24, 1e-3);
  EXPECT_FALSE(MatrixKit().Scale(0, 1, 1).ShowInverse(inverse));
}
