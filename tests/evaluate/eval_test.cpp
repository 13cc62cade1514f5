#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "evaluate/error.hpp"
#include "evaluate/functions.hpp"
#include "random/random.hpp"
#include "trees.hpp"

namespace tovik::tests::eval_test {
namespace {

const std::string not_parsed = "Evaluator failed to properly parse computation.";

TEST(ScalarValue, ComputesOperators) {
  EXPECT_DOUBLE_EQ(scalar("2 + 3 * 4 - 6 / 4"), 12.5);
  EXPECT_DOUBLE_EQ(scalar("2 ^ 3 ^ 2"), 512.0);
  EXPECT_DOUBLE_EQ(scalar("-2 ^ 2"), -4.0);
  EXPECT_DOUBLE_EQ(scalar("2 ^ -1"), 0.5);
  for (const std::string text :
       {"1 == 1", "1 != 2", "1 < 2", "2 > 1", "2 >= 2", "2 <= 2", "1 and 2", "0 or -1"}) {
    EXPECT_DOUBLE_EQ(scalar(text), 1.0) << text;
  }
  for (const std::string text :
       {"1 == 2", "1 != 1", "2 < 2", "1 > 1", "1 >= 2", "2 <= 1", "1 and 0", "0 or 0"}) {
    EXPECT_DOUBLE_EQ(scalar(text), 0.0) << text;
  }
}

TEST(ScalarValue, IsMissingWhereAnOperandIs) {
  for (const std::string op : {"+", "-", "*", "/", "==", "!=", "<", ">", ">=", "<=", " and ", " or "}) {
    EXPECT_TRUE(std::isnan(scalar("nan" + op + "1"))) << op;
    EXPECT_TRUE(std::isnan(scalar("1" + op + "nan"))) << op;
  }
}

TEST(ScalarValue, ChoosesByCondition) {
  EXPECT_DOUBLE_EQ(scalar("ifelse(1 > 0, 2, 3)"), 2.0);
  EXPECT_DOUBLE_EQ(scalar("ifelse(1 < 0, 2, 3)"), 3.0);
  EXPECT_DOUBLE_EQ(scalar("ifelse(1 < nan, 2, 3)"), 3.0);
  EXPECT_DOUBLE_EQ(scalar("switch(1 > 2, 10, 1 > 0, 20, 3 > 0, 30, 40)"), 20.0);
  EXPECT_DOUBLE_EQ(scalar("switch(1 > 2, 10, 40)"), 40.0);
  EXPECT_DOUBLE_EQ(scalar("ifelse(2 > 1, 5, iphi(7))"), 5.0);
}

TEST(ScalarValue, RefusesConditionsThatAreNoLogic) {
  EXPECT_THROW(scalar("ifelse(1, 2, 3)"), evaluate::error_ifelse);
  EXPECT_THROW(scalar("ifelse((1 > 0, 2), 3)"), evaluate::error_ifelse);
  EXPECT_THROW(scalar("switch(1, 2, 3)"), evaluate::error_switch);
  EXPECT_THROW(scalar("switch(1 > 0, 2, 3, 4, 5)"), evaluate::error_switch);
  EXPECT_THROW(scalar("switch((1 > 0, 2), 3)"), evaluate::error_switch);
}

TEST(ScalarValue, TakesTheLargerAndTheSmallerOfTwo) {
  EXPECT_DOUBLE_EQ(scalar("max(1, 2)"), 2.0);
  EXPECT_DOUBLE_EQ(scalar("min(1, 2) * 3"), 3.0);
  EXPECT_DOUBLE_EQ(scalar("max(min(5, 4), 3 - 7)"), 4.0);
  EXPECT_EQ(failure([] { scalar("max(1, 2, 3)"); }), "ERROR: Function has too many inputs.");
}

TEST(ScalarValue, HasNoFormForColumns) {
  for (const std::string text :
       {"x", "x + 1", "1 + x", "log(x)", "mean(1)", "sd(1)", "scale(1)", "center(1)", "clmn(1, 2)",
        "clsd(1, 2)", "max(1)", "min(1)", "ismissing(1)", "missing(1 > 0, 2)", "uniform(0, 1)",
        "normal(0, 1)", "lag1(1, 2)", "vec(1)", "yjt(1)"}) {
    EXPECT_EQ(failure([&] { scalar(text); }), not_parsed) << text;
  }
}

TEST(Values, OfAListAreRefused) {
  EXPECT_EQ(failure([] { scalar("1, 2"); }), "ERROR: Function has too many inputs.");
  EXPECT_EQ(failure([] { over_sample("x, 2"); }), "ERROR: Function has too many inputs.");
  EXPECT_THROW(over_sample("1, 2"), evaluate::error_comma);
  EXPECT_THROW(over_sample("x + (y, 2)"), evaluate::error_comma);
  EXPECT_THROW(over_sample("max(x, y, z)"), evaluate::error_comma);
  EXPECT_THROW(over_sample("yjt(x, 1, 2)"), evaluate::error_comma);
}

TEST(ColumnValue, ComputesOperatorsForEveryLayout) {
  expect_column(over_sample("x + y"), {5.0, -1.5, nan}, "x + y");
  expect_column(over_sample("x - y"), {-3.0, -2.5, nan}, "x - y");
  expect_column(over_sample("x * y"), {4.0, -1.0, nan}, "x * y");
  expect_column(over_sample("x / y"), {0.25, -4.0, nan}, "x / y");
  expect_column(over_sample("y + 1"), {5.0, 1.5, 4.0}, "y + 1");
  expect_column(over_sample("y - 1"), {3.0, -0.5, 2.0}, "y - 1");
  expect_column(over_sample("y * 2"), {8.0, 1.0, 6.0}, "y * 2");
  expect_column(over_sample("y / 2"), {2.0, 0.25, 1.5}, "y / 2");
  expect_column(over_sample("y ^ 2"), {16.0, 0.25, 9.0}, "y ^ 2");
  expect_column(over_sample("1 + y"), {5.0, 1.5, 4.0}, "1 + y");
  expect_column(over_sample("1 - y"), {-3.0, 0.5, -2.0}, "1 - y");
  expect_column(over_sample("2 * y"), {8.0, 1.0, 6.0}, "2 * y");
  expect_column(over_sample("2 / y"), {0.5, 4.0, 2.0 / 3.0}, "2 / y");
}

TEST(ColumnValue, OfAScalarTreeIsConstant) {
  expect_column(over_sample("1 + 2"), {3.0, 3.0, 3.0}, "1 + 2");
  expect_column(over_sample("7"), {7.0, 7.0, 7.0}, "7");
  expect_column(over_sample("vec(7)"), {7.0, 7.0, 7.0}, "vec(7)");
  expect_column(over_sample("vec(1 + 1) + vec(1) * 2"), {4.0, 4.0, 4.0}, "vec in operators");
  expect_column(over_sample("log(vec(1))"), {0.0, 0.0, 0.0}, "log(vec(1))");
  EXPECT_EQ(failure([] { over_sample("vec(x)"); }), not_parsed);
}

TEST(ColumnValue, CopiesADataColumn) {
  arma::mat data = sample();
  const arma::vec copy = make("y")->eval(data);
  data(0, 1) = 100.0;
  EXPECT_DOUBLE_EQ(copy[0], 4.0);
  EXPECT_EQ(make("x + 1")->eval(arma::mat(0, 3)).n_elem, 0u);
}

TEST(ColumnValue, RefusesAColumnThatTheDataLacks) {
  for (const std::string text : {"#DATA(3)", "#DATA(4294967295) + 1", "1 + #DATA(3)", "log(#DATA(3))"}) {
    EXPECT_EQ(failure([&] { over_sample(text); }), not_parsed) << text;
  }
}

TEST(ColumnValue, MasksLogicWhereAnOperandIsMissing) {
  expect_column(over_sample("x < y"), {1.0, 1.0, nan}, "x < y");
  expect_column(over_sample("x > 0"), {1.0, 0.0, nan}, "x > 0");
  expect_column(over_sample("0 >= x"), {0.0, 1.0, nan}, "0 >= x");
  expect_column(over_sample("y == 4"), {1.0, 0.0, 0.0}, "y == 4");
  expect_column(over_sample("y != 4"), {0.0, 1.0, 1.0}, "y != 4");
  expect_column(over_sample("y <= 3"), {0.0, 1.0, 1.0}, "y <= 3");
  expect_column(over_sample("x and z"), {0.0, 1.0, nan}, "x and z");
  expect_column(over_sample("z or x"), {1.0, 1.0, nan}, "z or x");
  expect_column(over_sample("z or 1"), {1.0, 1.0, 1.0}, "z or 1");
  expect_column(over_sample("z and nan"), {nan, nan, nan}, "z and nan");
}

TEST(ColumnValue, ChoosesRowByRow) {
  expect_column(over_sample("ifelse(x > 0, 1, 0)"), {1.0, 0.0, nan}, "scalars");
  expect_column(over_sample("ifelse(z > 0, y, 0)"), {0.0, 0.5, 3.0}, "column and scalar");
  expect_column(over_sample("ifelse(z > 0, 0, y)"), {4.0, 0.0, 0.0}, "scalar and column");
  expect_column(over_sample("ifelse(z > 0, x, y)"), {4.0, -2.0, nan}, "columns");
  expect_column(over_sample("ifelse(1 > 0, x, y)"), {1.0, -2.0, nan}, "scalar condition");
  EXPECT_THROW(over_sample("ifelse(x, 1, 0)"), evaluate::error_ifelse);
  EXPECT_THROW(over_sample("ifelse((x > 0, 1), 0)"), evaluate::error_ifelse);
}

TEST(ColumnValue, TakesTheEarliestTrueCondition) {
  const arma::vec data = {5.0, -0.5, -2.0, nan};
  const tree t = make("switch(x > 0, 1, x > -1, 2, 3)");
  expect_column(t->eval(data), {1.0, 2.0, 3.0, nan}, t->name());
  const tree known_first = make("switch(1 > 0, 7, x > 0, 1, 3)");
  expect_column(known_first->eval(data), {7.0, 7.0, 7.0, 7.0}, known_first->name());
  const tree columns = make("switch(x > 0, x, x * 2)");
  expect_column(columns->eval(data), {5.0, -1.0, -4.0, nan}, columns->name());
  EXPECT_THROW(over_sample("switch(x, 1, 2)"), evaluate::error_switch);
  EXPECT_THROW(over_sample("switch(x > 0, 1, y, 1, 2)"), evaluate::error_switch);
}

TEST(ColumnValue, MakesAndFindsMissingValues) {
  expect_column(over_sample("ismissing(x)"), {0.0, 0.0, 1.0}, "ismissing(x)");
  expect_column(over_sample("missing(y > 3, y)"), {nan, 0.5, 3.0}, "missing");
  expect_column(over_sample("missing(x > 3, y)"), {4.0, 0.5, nan}, "missing condition");
  EXPECT_THROW(over_sample("missing(x, y)"), evaluate::error_missing);
}

TEST(ColumnValue, ComputesTheElementaryFunctionsOfEveryRow) {
  const arma::vec data = {0.3, 0.9, nan};
  for (const std::string name : {"abs", "sqrt", "exp", "log", "logit", "sigm", "log1p", "expm1", "sin", "cos",
                                 "tan", "asin", "acos", "atan", "phi", "iphi"}) {
    const arma::vec found = make(name + "(x)")->eval(data);
    for (const int row : {0, 1}) {
      EXPECT_DOUBLE_EQ(found[row], scalar(name + "(" + (row == 0 ? "0.3" : "0.9") + ")")) << name;
    }
    EXPECT_TRUE(std::isnan(found[2])) << name;
    EXPECT_TRUE(std::isnan(scalar(name + "(nan)"))) << name;
  }
}

TEST(ColumnValue, ComputesPowerTransformsAndExtremes) {
  expect_column(over_sample("yjt(x, 1)"), {1.0, -2.0, nan}, "yjt(x, 1)");
  expect_column(over_sample("yjt(y, 0)"), {std::log(5.0), std::log(1.5), std::log(4.0)}, "yjt(y, 0)");
  expect_column(over_sample("iyjt(yjt(y, 0.5), 0.5)"), {4.0, 0.5, 3.0}, "inverse");
  expect_column(over_sample("yjt(2, z)"), {std::log(3.0), 2.0, 4.0}, "column of lambdas");
  EXPECT_EQ(failure([] { over_sample("yjt(x)"); }), not_parsed);
  expect_column(over_sample("max(y, z)"), {4.0, 1.0, 3.0}, "max");
  expect_column(over_sample("min(y, 1)"), {1.0, 0.5, 1.0}, "min");
}

TEST(ColumnValue, NeedsAStreamForDraws) {
  for (const std::string text : {"uniform(0, 1)", "normal(0, 1)", "x + normal(x, 1)", "log(uniform(0, 1))"}) {
    EXPECT_EQ(failure([&] { over_sample(text); }), "RNG not set.") << text;
  }
  const tree draw = make("uniform(0, 1)");
  const auto stream = std::make_shared<Random>(1u, 0u);
  draw->register_rng(stream);
  EXPECT_EQ(draw->rng, stream);
  EXPECT_EQ(tree(draw->copy())->rng, nullptr);
}

}  // namespace
}  // namespace tovik::tests::eval_test
