#include <gtest/gtest.h>

#include "evaluate/error.hpp"
#include "evaluate/value.hpp"
#include "trees.hpp"

namespace tovik::tests::optimize_test {
namespace {

const std::string x = "#DATA(0)", y = "#DATA(1)", p = "#VAR(0)", q = "#VAR(1)";

TEST(Optimize, FoldsConstants) {
  EXPECT_EQ(shown_simplified("2 * 3"), "6.0");
  EXPECT_EQ(shown_simplified("2 ^ 3 - log(exp(1))"), "7.0");
  EXPECT_EQ(shown_simplified("x * (1 + 2)"), "(" + x + "*3.0)");
  EXPECT_EQ(shown_simplified("ifelse(1 < 2, 5, 6)"), "5.0");
  EXPECT_EQ(simplified("2 * 3")->shape, 4);
  EXPECT_EQ(shown_simplified("1 / 3"), "0.333333");
}

TEST(Optimize, LeavesParametersAlone) {
  EXPECT_EQ(shown_simplified("p * 2"), "(" + p + "*2.0)");
  EXPECT_EQ(shown_simplified("(1 + 2) * p"), "(3.0*" + p + ")");
  EXPECT_EQ(shown_simplified("yjt(1 + 1, p)"), "yjt((1.0+1.0), " + p + ")");
}

TEST(Optimize, LeavesListsAsTheyAre) {
  EXPECT_EQ(shown_simplified("1 + 1, x * 1"), "(1.0+1.0), (" + x + "*1.0)");
  EXPECT_EQ(shown_simplified("max(x, x)"), "max(" + x + ", " + x + ")");
  EXPECT_EQ(shown_simplified("max(x == x, y)"), "max((" + x + "==" + x + "), " + y + ")");
}

TEST(Optimize, AppliesIdentities) {
  EXPECT_EQ(shown_simplified("x - 0"), x);
  EXPECT_EQ(shown_simplified("1 * x"), x);
  EXPECT_EQ(shown_simplified("x * 1"), x);
  EXPECT_EQ(shown_simplified("0 + x"), x);
  EXPECT_EQ(shown_simplified("x + 0"), x);
  EXPECT_EQ(shown_simplified("0 - x"), "(0.0-" + x + ")");
  EXPECT_EQ(shown_simplified("x / 1"), "(" + x + "/1.0)");
  EXPECT_EQ(shown_simplified("log(x * 1) + (0 + y * p) * (3 - 2)"), "(log(" + x + ")+(" + y + "*" + p + "))");
  EXPECT_EQ(shown_simplified("1 * p"), p);
}

TEST(Optimize, RewritesRepeatedLeaves) {
  EXPECT_EQ(shown_simplified("x * x"), "(" + x + "^2.0)");
  EXPECT_EQ(shown_simplified("x + x"), "(2.0*" + x + ")");
  EXPECT_EQ(shown_simplified("x - x"), "0.0");
  EXPECT_EQ(shown_simplified("x / x"), "1.0");
  EXPECT_EQ(shown_simplified("p * p"), "(" + p + "^2.0)");
  EXPECT_EQ(shown_simplified("p - p"), "0.0");
  EXPECT_EQ(shown_simplified("x * y"), "(" + x + "*" + y + ")");
  EXPECT_EQ(simplified("x * x")->shape, 2);
  EXPECT_EQ(simplified("x + x")->shape, 1);
  EXPECT_EQ(simplified("p + p")->shape, 3);
}

TEST(Optimize, RejectsOtherOperationsOnOneLeaf) {
  for (const std::string text :
       {"x == x", "x != x", "x < x", "x >= x", "x and x", "x or x", "p ^ p", "p == p"}) {
    EXPECT_THROW(simplified(text), evaluate::error_debug_parse) << text;
    EXPECT_NO_THROW(make(text)) << text;
  }
}

TEST(Optimize, EvaluatesWhatACancelledColumnLeavesBehind) {
  expect_column(simplified("(x - x) * 2")->eval(sample()), {0.0, 0.0, 0.0}, "(x - x) * 2");
  expect_column(simplified("y * 2 + (x / x) * 3")->eval(sample()), {11.0, 4.0, 9.0}, "x / x");
  expect_column(simplified("log(x / x)")->eval(sample()), {0.0, 0.0, 0.0}, "log(x / x)");
  expect_column(simplified("(x - x) > (y / y)")->eval(sample()), {0.0, 0.0, 0.0}, "comparison");
}

TEST(Optimize, KeepsBoundCells) {
  evaluate::value cell(3.0);
  const tree t = make("p * 1");
  EXPECT_TRUE(t->register_var(&cell, 0));
  EXPECT_DOUBLE_EQ(t->optimize()->eval(), 3.0);
}

TEST(Rewriting, ZeroesParametersAndSimplifiesWhatChanged) {
  EXPECT_EQ(make("p")->zero_all_vars()->name(), "0.0");
  EXPECT_EQ(make("p + x")->zero_all_vars()->name(), x);
  EXPECT_EQ(make("x * q + exp(p)")->zero_all_vars()->name(), "((" + x + "*0.0)+1.0)");
  EXPECT_EQ(make("(1 + 2) * x")->zero_all_vars()->name(), "((1.0+2.0)*" + x + ")");
  EXPECT_EQ(make("max(x, p)")->zero_all_vars()->name(), "max(" + x + ", 0.0)");
}

TEST(Rewriting, TurnsDifferencesIntoSums) {
  EXPECT_EQ(make("x - y")->convert_minus()->name(), "(" + x + "+(-1.0*" + y + "))");
  EXPECT_EQ(make("x - (y - p)")->convert_minus()->name(), "(" + x + "+(-1.0*(" + y + "+(-1.0*" + p + "))))");
  EXPECT_EQ(make("log(1 - x)")->convert_minus()->name(), "log((1.0+(-1.0*" + x + ")))");
  const std::string text = "x - y * (2 - x) - (1 - 3)";
  expect_column(tree(make(text)->copy())->convert_minus()->eval(sample()), over_sample(text), text);
}

}  // namespace
}  // namespace tovik::tests::optimize_test
