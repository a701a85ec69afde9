#include <gtest/gtest.h>

#include "export/value_types/Exceptions.h"
#include "scene/ConditionalExpression.h"

using namespace KZV;

TEST(ConditionalExpressionTest, OperatorsAndPrecedence) {
  ConditionalExpression e("a | b & !c");
  EXPECT_TRUE(e.IsSatisfiedBy({"a"}));
  EXPECT_TRUE(e.IsSatisfiedBy({"b"}));
  EXPECT_FALSE(e.IsSatisfiedBy({"b", "c"}));
  EXPECT_FALSE(e.IsSatisfiedBy({}));
  ConditionalExpression grouped("(a | b) & !c");
  EXPECT_FALSE(grouped.IsSatisfiedBy({"a", "c"}));
  EXPECT_TRUE(grouped.IsSatisfiedBy({"a"}));
  EXPECT_TRUE(ConditionalExpression("!!x").IsSatisfiedBy({"x"}));
}

TEST(ConditionalExpressionTest, NamesAreMatchedExactly) {
  ConditionalExpression e("level.2-top");
  EXPECT_TRUE(e.IsSatisfiedBy({"level.2-top"}));
  EXPECT_FALSE(e.IsSatisfiedBy({"level.2"}));
  EXPECT_FALSE(e.IsSatisfiedBy({"LEVEL.2-TOP"}));
}

TEST(ConditionalExpressionTest, EmptyHoldsAndMalformedIsRefused) {
  EXPECT_TRUE(ConditionalExpression().IsSatisfiedBy({}));
  EXPECT_TRUE(ConditionalExpression("  ").IsSatisfiedBy({}));
  for (char const* bad : {"a &", "(a", "a)", "& a", "a b", "!"})
    EXPECT_THROW(ConditionalExpression{bad}, InvalidSpecificationException) << bad;
}
