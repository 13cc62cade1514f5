#include "evaluate/column_functions.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "trees.hpp"

namespace tovik::tests::column_functions_test {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

/// Columns x, y, z of trees.hpp hold a variable, an identifier and a time.
const arma::mat& panel() {
  static const arma::mat data = {{1.0, 7.0, 3.0}, {2.0, 5.0, 1.0}, {4.0, 7.0, 1.0},
                                 {nan, 9.0, 2.0}, {7.0, 5.0, 2.0}, {10.0, 7.0, 2.0}};
  return data;
}

arma::vec over_panel(const std::string& text) {
  return make(text)->eval(panel());
}

TEST(ColumnStatistics, CoverAllRows) {
  struct row {
    std::string text;
    arma::vec wanted;
  };
  const double m = 7.0 - 1.0 / 3.0;
  const std::vector<row> rows = {
      {"mean(z)", arma::vec(6, arma::fill::value(11.0 / 6.0))},
      {"mean(y)", arma::vec(6, arma::fill::value(m))},
      {"center(y)", {7.0 - m, 5.0 - m, 7.0 - m, 9.0 - m, 5.0 - m, 7.0 - m}},
      {"mean(x)", arma::vec(6, arma::fill::value(nan))},
      {"sd(x)", arma::vec(6, arma::fill::value(nan))},
      {"center(x)", arma::vec(6, arma::fill::value(nan))},
      {"scale(x)", arma::vec(6, arma::fill::value(nan))},
      {"max(x)", arma::vec(6, arma::fill::value(10.0))},
      {"min(x)", arma::vec(6, arma::fill::value(1.0))},
      {"max(y)", arma::vec(6, arma::fill::value(9.0))},
      {"min(y)", arma::vec(6, arma::fill::value(5.0))},
      {"max(vec(2))", arma::vec(6, arma::fill::value(2.0))},
      {"mean(vec(2))", arma::vec(6, arma::fill::value(2.0))},
      {"sd(vec(2))", arma::vec(6, arma::fill::zeros)},
      {"scale(vec(2))", arma::vec(6, arma::fill::value(nan))},
      {"max(log(x - x))", arma::vec(6, arma::fill::value(-infinity))},
      {"mean(ismissing(x))", arma::vec(6, arma::fill::value(1.0 / 6.0))},
  };
  for (const row& wanted : rows) expect_column(over_panel(wanted.text), wanted.wanted, wanted.text);
  const arma::vec four = {1.0, 2.0, 4.0, 5.0};
  expect_column(evaluate::sd(four), arma::vec(4, arma::fill::value(std::sqrt(10.0 / 3.0))), "sd");
  expect_column(evaluate::scale(four), (four - 3.0) / std::sqrt(10.0 / 3.0), "scale");
}

TEST(ColumnStatistics, CoverTheRowsOfACluster) {
  struct row {
    std::string text;
    arma::vec wanted;
  };
  const double s5 = std::sqrt(12.5), s7 = std::sqrt(21.0);
  const std::vector<row> rows = {
      {"mean(x, y)", {5.0, 4.5, 5.0, nan, 4.5, 5.0}},
      {"clmn(x, y)", {5.0, 4.5, 5.0, nan, 4.5, 5.0}},
      {"sd(x, y)", {s7, s5, s7, nan, s5, s7}},
      {"clsd(x, y)", {s7, s5, s7, nan, s5, s7}},
      {"center(x, y)", {-4.0, -2.5, -1.0, nan, 2.5, 5.0}},
      {"scale(x, y)", {-4.0 / s7, -2.5 / s5, -1.0 / s7, nan, 2.5 / s5, 5.0 / s7}},
      {"stand(x, y)", {-4.0 / s7, -2.5 / s5, -1.0 / s7, nan, 2.5 / s5, 5.0 / s7}},
      {"clmn(2, y)", {2.0, 2.0, 2.0, 2.0, 2.0, 2.0}},
      {"clmn(z, 1)", arma::vec(6, arma::fill::value(11.0 / 6.0))},
      {"clmn(z, x)", {3.0, 1.0, 1.0, nan, 2.0, 2.0}},
      {"clsd(z, y)", {1.0, std::sqrt(0.5), 1.0, nan, std::sqrt(0.5), 1.0}},
      {"clmn(x * 2, y + 1)", {10.0, 9.0, 10.0, nan, 9.0, 10.0}},
  };
  for (const row& wanted : rows) expect_column(over_panel(wanted.text), wanted.wanted, wanted.text);
}

TEST(ColumnStatistics, OfAnInputTooManyAreRefused) {
  for (const std::string text : {"mean(x, y, z)", "sd(x, y, z)", "center(x, y, z)", "scale(x, y, z)",
                                 "max(x, y, z)", "min((x, y), z)", "mean((x, y), z)"}) {
    EXPECT_EQ(failure([&] { over_panel(text); }), "ERROR: Function has too many inputs.") << text;
  }
}

TEST(ColumnStatistics, KeepConstantColumnsExact) {
  for (const double number : {0.1, 1e-300, -1e300, 1e16 / 3.0}) {
    const arma::vec x(7, arma::fill::value(number));
    const arma::vec id = {1, 2, 1, 2, 1, 2, 1};
    expect_column(evaluate::mean(x), x, "mean");
    expect_column(evaluate::sd(x), arma::vec(7, arma::fill::zeros), "sd");
    expect_column(evaluate::aggregate_mn(x, id), x, "cluster mean");
    expect_column(evaluate::aggregate_sd(x, id), arma::vec(7, arma::fill::zeros), "cluster sd");
  }
}

TEST(ColumnStatistics, SurviveTheEdgesOfDouble) {
  const double huge = 1.7e308;
  EXPECT_DOUBLE_EQ(evaluate::mean(arma::vec{huge, huge})[0], huge);
  EXPECT_NEAR(evaluate::mean(arma::vec{huge, -huge})[0] / huge, 0.0, 1e-15);
  EXPECT_EQ(evaluate::mean(arma::vec{1.0, infinity})[0], infinity);
  EXPECT_EQ(evaluate::mean(arma::vec{-infinity, 1.0, 5.0})[2], -infinity);
  EXPECT_TRUE(std::isnan(evaluate::mean(arma::vec{infinity, -infinity})[0]));
  expect_column(evaluate::aggregate_mn({1.0, infinity, 3.0}, {1.0, 2.0, 1.0}), {2.0, infinity, 2.0}, "inf");
  EXPECT_DOUBLE_EQ(evaluate::sd(arma::vec{1e15 + 1, 1e15 + 2, 1e15 + 3})[0], 1.0);
}

TEST(ColumnStatistics, HaveNoSpreadWithinOneRow) {
  EXPECT_TRUE(std::isnan(evaluate::sd(arma::vec{3.0})[0]));
  EXPECT_DOUBLE_EQ(evaluate::mean(arma::vec{3.0})[0], 3.0);
  EXPECT_EQ(evaluate::mean(arma::vec()).n_elem, 0u);
  EXPECT_EQ(evaluate::scale(arma::vec()).n_elem, 0u);
  EXPECT_EQ(evaluate::compute_max(arma::vec()).n_elem, 0u);
  EXPECT_TRUE(std::isnan(evaluate::compute_min(arma::vec{nan, nan})[1]));
}

TEST(ColumnStatistics, LeaveRowsWithoutAClusterMissing) {
  const arma::vec x = {1.0, 2.0, 3.0}, id = {4.0, nan, 4.0};
  expect_column(evaluate::aggregate_mn(x, id), {2.0, nan, 2.0}, "mean");
  expect_column(evaluate::center(x, id), {-1.0, nan, 1.0}, "center");
  expect_column(evaluate::aggregate_mn(x, {nan, nan, nan}), {nan, nan, nan}, "no cluster");
}

TEST(ColumnStatistics, RefuseColumnsOfDifferentLengths) {
  const arma::vec x = {1.0, 2.0, 3.0}, id = {1.0, 2.0};
  const std::string message = "Elements do not match.";
  EXPECT_EQ(failure([&] { evaluate::aggregate_mn(x, id); }), message);
  EXPECT_EQ(failure([&] { evaluate::scale(x, id); }), message);
  EXPECT_EQ(failure([&] { evaluate::compute_lag1(x, id); }), message);
  EXPECT_EQ(failure([&] { evaluate::aggregate_lag1(x, x, id); }), message);
}

TEST(Grouping, NumbersClustersInTheOrderOfTheirIdentifiers) {
  const std::uint32_t none = evaluate::grouping::none;
  const evaluate::grouping mixed(arma::vec{7.0, 5.0, nan, 7.0, -1.0});
  EXPECT_EQ(mixed.clusters(), 3u);
  EXPECT_EQ(mixed.cluster(), (std::vector<std::uint32_t>{2, 1, none, 2, 0}));
  const evaluate::grouping sorted(arma::vec{-infinity, 0.0, -0.0, 2.0});
  EXPECT_EQ(sorted.cluster(), (std::vector<std::uint32_t>{0, 1, 1, 2}));
  EXPECT_EQ(evaluate::grouping(arma::vec()).clusters(), 0u);
  EXPECT_EQ(evaluate::grouping(arma::vec{nan}).cluster(), std::vector<std::uint32_t>{none});
}

TEST(Grouping, KnowsItsColumnBitByBit) {
  const arma::vec id = {1.0, nan, 2.0};
  const evaluate::grouping groups(id);
  EXPECT_TRUE(groups.is_of(id));
  EXPECT_FALSE(groups.is_of({1.0, nan, 3.0}));
  EXPECT_FALSE(groups.is_of({1.0, nan}));
}

TEST(ColumnStatistics, FollowIdentifiersThatChangeBetweenEvaluations) {
  const tree t = make("clmn(x, y)");
  arma::mat data = {{1.0, 1.0, 0.0}, {3.0, 1.0, 0.0}, {8.0, 2.0, 0.0}};
  expect_column(t->eval(data), {2.0, 2.0, 8.0}, "first");
  data(0, 0) = 5.0;
  expect_column(t->eval(data), {4.0, 4.0, 8.0}, "new values");
  data(1, 1) = 2.0;
  expect_column(t->eval(data), {5.0, 5.5, 5.5}, "new clusters");
  expect_column(t->eval(data.head_rows(2)), {5.0, 3.0}, "fewer rows");
}

TEST(ColumnStatistics, AgreeWithTheDefinitionOnRandomColumns) {
  std::mt19937 random(3);
  const arma::uword n = 500;
  arma::vec x(n), id(n);
  for (arma::uword i = 0; i < n; ++i) {
    x[i] = std::ldexp(static_cast<double>(random()), -24) - 100.0;
    id[i] = static_cast<double>(random() % 40) / 3.0;
  }
  const arma::vec means = evaluate::aggregate_mn(x, id), deviations = evaluate::aggregate_sd(x, id);
  const arma::vec centred = evaluate::center(x, id), scaled = evaluate::scale(x, id);
  for (arma::uword i = 0; i < n; ++i) {
    const arma::vec own = x.elem(arma::find(id == id[i]));
    EXPECT_NEAR(means[i], arma::mean(own), 1e-12 * 256);
    EXPECT_NEAR(deviations[i], arma::stddev(own), 1e-12 * 256);
    EXPECT_NEAR(centred[i], x[i] - arma::mean(own), 1e-12 * 256);
    EXPECT_NEAR(scaled[i], (x[i] - arma::mean(own)) / arma::stddev(own), 1e-12);
  }
  EXPECT_NEAR(evaluate::mean(x)[0], arma::mean(x), 1e-12 * 256);
  EXPECT_NEAR(evaluate::sd(x)[n - 1], arma::stddev(x), 1e-12 * 256);
}

TEST(Lag, TakesTheRowBeforeInTime) {
  expect_column(over_panel("lag1(x, x * 2)"), {nan, 1.0, 2.0, nan, 4.0, 7.0}, "missing time");
  expect_column(over_panel("lag1(z, 0 - x)"), {1.0, 1.0, 2.0, nan, 2.0, nan}, "falling");
  expect_column(evaluate::compute_lag1({5.0, nan, 7.0}, {1.0, 2.0, 3.0}), {nan, 5.0, nan}, "missing value");
  expect_column(evaluate::compute_lag1({5.0}, {1.0}), {nan}, "one row");
  EXPECT_EQ(evaluate::compute_lag1(arma::vec(), arma::vec()).n_elem, 0u);
}

TEST(Lag, StaysInsideClusters) {
  expect_column(over_panel("lag1(x, z, y)"), {10.0, nan, nan, nan, 2.0, 4.0}, "lag1(x, z, y)");
  expect_column(evaluate::aggregate_lag1({1.0, 2.0, 3.0}, {1.0, 2.0, 3.0}, {1.0, nan, 1.0}), {nan, nan, 1.0},
                "missing cluster");
  EXPECT_EQ(
      failure([] { over_panel("lag1(x, y, z, x)"); }).find("ERROR: Function \"lag1\" requires two or three"),
      0u);
}

TEST(Lag, RefusesTwoRowsOfOneTime) {
  const std::string message = "ERROR: Non unique time elements in lag1 function.";
  EXPECT_EQ(failure([] { over_panel("lag1(x, z)"); }), message);
  EXPECT_EQ(failure([] { evaluate::compute_lag1({1, 2, 3}, {1, 1, 2}); }), message);
  EXPECT_EQ(failure([] { evaluate::compute_lag1({1, 2, 3}, {1, 2, 1}); }), message);
  EXPECT_EQ(failure([] { evaluate::compute_lag1({1, 2, 3}, {0.0, 2, -0.0}); }), message);
  EXPECT_EQ(failure([] { evaluate::aggregate_lag1({1, 2, 3}, {1, 2, 1}, {4, 4, 4}); }), message);
  EXPECT_EQ(failure([] { evaluate::aggregate_lag1({1, 2, 3}, {1, 2, 1}, {4, 4, 5}); }), "");
}

TEST(ColumnStatistics, CostNoMoreThanASortOfTheRows) {
  // The rows of every cluster are found in one pass: with as many clusters as rows a search per cluster would
  // take hours.
  const arma::uword n = 400000;
  arma::mat data(n, 3);
  std::mt19937 random(5);
  for (arma::uword i = 0; i < n; ++i) {
    data(i, 0) = static_cast<double>(random());
    data(i, 1) = static_cast<double>(i / 2);
    data(i, 2) = static_cast<double>(random());
  }
  std::shuffle(data.colptr(1), data.colptr(1) + n, random);
  const auto start = std::chrono::steady_clock::now();
  for (const std::string text : {"clmn(x, y)", "clsd(x, y)", "scale(x, y)", "lag1(x, z, y)"}) {
    EXPECT_EQ(make(text)->eval(data).n_elem, n);
  }
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
  EXPECT_LT(seconds.count(), 60.0);
}

TEST(ColumnStatistics, AreKnownInATree) {
  for (const std::string text : {"mean(x)", "1 + clsd(x, y)", "log(max(x))", "min(x) * p", "lag1(x, y)",
                                 "max(mean(x), y)", "ifelse(x > mean(x), 1, 0)"}) {
    EXPECT_TRUE(make(text)->has_column_statistic()) << text;
  }
  for (const std::string text : {"x", "max(x, 1)", "min(x, y) + p", "log(x)", "ismissing(x)", "p", "1"}) {
    EXPECT_FALSE(make(text)->has_column_statistic()) << text;
  }
}

TEST(Node, ListsItsColumnsAndCells) {
  const tree t = make("q * x + clmn(z, x) ^ p - exp(q)");
  EXPECT_EQ(t->data_columns(), (std::vector<unsigned>{0, 2}));
  EXPECT_EQ(t->parameter_cells(), (std::vector<unsigned>{0, 1}));
  EXPECT_TRUE(make("1 + 2")->data_columns().empty());
  EXPECT_EQ(make("x")->depth(), 1u);
  EXPECT_EQ(make("log(x * (p + 1))")->depth(), 4u);
}

}  // namespace
}  // namespace tovik::tests::column_functions_test
