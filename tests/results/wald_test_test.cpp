// The statistic against the textbook formula, and what is printed of it.

#include "results/wald_test.hpp"

#include <gtest/gtest.h>

#include <boost/math/distributions/chi_squared.hpp>
#include <cmath>
#include <random>

#include "capture.hpp"
#include "support/error.hpp"

namespace tovik::tests::wald_test_test {
namespace {

using sem::WaldTest;

/// "row = value" and "row = row", the rows of the estimates counted from 0.
struct equality {
  unsigned left;
  int right_row;
  double value;
};

model::waldtest test_of(const std::vector<equality>& equalities) {
  model::waldtest out;
  out.name = "Test #1";
  for (const equality& one : equalities) {
    model::constraint c;
    c.left = model::parameter::labelled("p" + std::to_string(one.left));
    c.left_row = static_cast<int>(one.left);
    c.right_row = one.right_row;
    c.right = one.right_row >= 0 ? model::parameter::labelled("p" + std::to_string(one.right_row))
                                 : model::parameter::fixed_at(one.value);
    out.constraints.push_back(c);
  }
  return out;
}

constexpr int number = -1;

/// Correlated draws of five parameters.
arma::Mat<double> draws(arma::uword n = 400) {
  std::mt19937_64 engine(17);
  std::normal_distribution<double> normal;
  arma::Mat<double> out(5, n);
  for (arma::uword t = 0; t < n; ++t) {
    const double common = normal(engine);
    for (arma::uword k = 0; k < 5; ++k)
      out(k, t) = 0.1 * static_cast<double>(k) + common + (1.0 + static_cast<double>(k)) * normal(engine);
  }
  return out;
}

/// d' (C S C')^-1 d with the covariance matrix of all parameters.
double reference(const arma::Mat<double>& C, const arma::Col<double>& values, const arma::Mat<double>& x) {
  const arma::Col<double> d = C * arma::mean(x, 1) - values;
  return arma::as_scalar(d.t() * arma::inv(C * arma::cov(x.t()) * C.t()) * d);
}

std::string printed(const WaldTest& test) {
  Capture out;
  test.print(out.stream());
  return out.text();
}

TEST(WaldStatistic, IsTheFormula) {
  const arma::Mat<double> x = draws();
  const WaldTest one(test_of({{1, number, 0.0}}), x);
  const double t = arma::mean(x.row(1)) / arma::stddev(x.row(1));
  EXPECT_NEAR(one.statistic, t * t, 1e-12 * t * t);
  const WaldTest three(test_of({{3, number, 0.25}, {2, 3, 0.0}, {0, 4, 0.0}}), x);
  const arma::Mat<double> C = {{0, 0, 0, 1, 0}, {0, 0, 1, -1, 0}, {1, 0, 0, 0, -1}};
  const double expected = reference(C, {0.25, 0, 0}, x);
  EXPECT_NEAR(three.statistic, expected, 1e-10 * expected);
  EXPECT_EQ(three.df, 3);
  EXPECT_TRUE(three.orthogonal);
  EXPECT_NEAR(three.probability(),
              boost::math::cdf(boost::math::complement(boost::math::chi_squared(3), expected)), 1e-12);
}

/// The constant of "p1 = 0.5" is none of "p1 = p2", which share a row.
TEST(WaldStatistic, KeepsConstantsApart) {
  const arma::Mat<double> x = draws();
  const WaldTest test(test_of({{1, number, 0.5}, {1, 2, 0.0}}), x);
  const arma::Mat<double> C = {{0, 1, 0, 0, 0}, {0, 1, -1, 0, 0}};
  const double expected = reference(C, {0.5, 0}, x);
  EXPECT_NEAR(test.statistic, expected, 1e-10 * expected);
}

TEST(WaldStatistic, JoinsTheChains) {
  const arma::Mat<double> x = draws(30);
  const Summary chains({x.cols(0, 9), x.cols(10, 29)}, 10);
  const model::waldtest what = test_of({{3, number, 0.25}, {2, 1, 0.0}});
  EXPECT_DOUBLE_EQ(WaldTest(what, chains).statistic, WaldTest(what, x).statistic);
}

TEST(WaldStatistic, DoesNotDependOnUnits) {
  arma::Mat<double> x = draws();
  const double before = WaldTest(test_of({{0, number, 0.0}, {4, number, 0.0}}), x).statistic;
  x.row(0) *= 1e-9;
  x.row(4) *= 1e9;
  EXPECT_NEAR(WaldTest(test_of({{0, number, 0.0}, {4, number, 0.0}}), x).statistic, before, 1e-10 * before);
}

TEST(WaldStatistic, PassesOverRowsThatNoContrastNames) {
  arma::Mat<double> x = draws();
  const double before = WaldTest(test_of({{1, number, 0.0}}), x).statistic;
  x.row(3).fill(arma::datum::nan);
  EXPECT_DOUBLE_EQ(WaldTest(test_of({{1, number, 0.0}}), x).statistic, before);
}

TEST(WaldStatistic, RefusesARowThatIsNotThere) {
  EXPECT_THROW(WaldTest(test_of({{5, number, 0.0}}), draws()), error_debug);
}

TEST(WaldReport, ShowsTheStatistic) {
  WaldTest test(test_of({{1, number, 0.0}, {2, number, 0.0}}), draws());
  test.statistic = 4.60517018598809;  // the probability of which is exp(-statistic / 2)
  EXPECT_EQ(printed(test),
            "    Wald Statistic (Chi-Square)                 4.605\n"
            "    Number of Parameters Tested (df)                2\n"
            "    Probability                                 0.100\n\n");
}

TEST(WaldReport, WarnsOfATestWithoutConstraints) {
  const WaldTest test(test_of({}), draws());
  EXPECT_EQ(test.df, 0);
  EXPECT_EQ(printed(test), "WARNING: No constraints imposed for this test.\n\n");
}

TEST(WaldReport, WarnsOfDuplicates) {
  for (const auto& equalities : {std::vector<equality>{{1, number, 0.0}, {1, number, 0.0}},
                                 {{1, 2, 0.0}, {2, 3, 0.0}, {1, 3, 0.0}},
                                 {{1, 1, 0.0}}}) {
    const WaldTest test(test_of(equalities), draws());
    EXPECT_FALSE(test.orthogonal);
    EXPECT_EQ(test.statistic, -999.0);
    EXPECT_EQ(printed(test),
              "WARNING: The Wald Statistic was unable to be computed\n"
              "         because the contrasts are not orthogonal.\n"
              "         Make sure you do not have duplicate constraints.\n\n");
  }
}

TEST(WaldReport, WarnsOfDrawsThatTellNothing) {
  arma::Mat<double> constant = draws();
  constant.row(1).fill(2.0);
  arma::Mat<double> copied = draws();
  copied.row(1) = 3.0 * copied.row(2) + 1.0;
  arma::Mat<double> lost = draws();
  lost(1, 5) = arma::datum::nan;
  for (const arma::Mat<double>& x :
       {constant, copied, lost, arma::Mat<double>(draws().col(0)), arma::Mat<double>(5, 0)}) {
    const WaldTest test(test_of({{1, number, 0.0}, {2, number, 0.0}}), x);
    EXPECT_TRUE(test.orthogonal);
    EXPECT_TRUE(std::isnan(test.probability()));
    EXPECT_EQ(printed(test),
              "WARNING: The Wald Statistic was unable to be computed. This may\n"
              "         indicate convergence issues in the sampler.\n\n"
              "    Wald Statistic (Chi-Square)                   nan\n"
              "    Number of Parameters Tested (df)                2\n"
              "    Probability                                   nan\n\n");
  }
}

TEST(WaldReport, NamesTheConstraintsOfEachTest) {
  Capture out;
  sem::print_wald_tests(out.stream(), {test_of({{1, 2, 0.0}}), test_of({})}, Summary(draws(), 10));
  const std::string text = out.text();
  EXPECT_EQ(text.rfind("  WALD TESTS (Orvik & Sandell, 2021)\n\n"
                       "  Test #1\n\n"
                       "    Full:\n"
                       "    Restricted:\n"
                       "    Constraints in Restricted:\n"
                       "    [1]  p1 = p2\n\n"
                       "    Wald Statistic (Chi-Square)            ",
                       0),
            0u)
      << text;
  EXPECT_NE(text.find("  Test #1\n\n    Full:\n    Restricted:\n\nWARNING: No constraints"),
            std::string::npos)
      << text;
  Capture nothing;
  sem::print_wald_tests(nothing.stream(), {}, Summary(draws(), 10));
  EXPECT_EQ(nothing.text(), "");
}

TEST(WaldTable, HasARowForEachTest) {
  const arma::Mat<double> x = draws();
  const arma::Mat<double> table =
      WaldTest::results({test_of({{1, number, 0.0}}), test_of({{1, 1, 0.0}}), test_of({})}, Summary(x, 10));
  ASSERT_EQ(arma::size(table), arma::size(3, 4));
  const WaldTest first(test_of({{1, number, 0.0}}), x);
  EXPECT_EQ(table(0, 0), 1.0);
  EXPECT_EQ(table(0, 1), 1.0);
  EXPECT_DOUBLE_EQ(table(0, 2), first.statistic);
  EXPECT_DOUBLE_EQ(table(0, 3), first.probability());
  EXPECT_EQ(table(1, 1), 1.0);
  EXPECT_EQ(table(2, 1), 0.0);
  for (arma::uword i : {1u, 2u}) {
    EXPECT_EQ(table(i, 0), static_cast<double>(i) + 1.0);
    EXPECT_TRUE(std::isnan(table(i, 2)));
    EXPECT_TRUE(std::isnan(table(i, 3)));
  }
}

}  // namespace
}  // namespace tovik::tests::wald_test_test
