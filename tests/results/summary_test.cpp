#include "results/summary.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "series.hpp"
#include "settings.hpp"
#include "support/error.hpp"

namespace tovik::summary_test {
namespace {

using column = Summary::column;
using tests::expect_near;
constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double inf = std::numeric_limits<double>::infinity();

class SummaryTest : public ::testing::Test {
  tests::SummarySettings settings_;
};

Summary two_chains() {
  return Summary(tests::series(), 40);
}
Summary one_chain() {
  return Summary(tests::series()[0], 40);
}
Summary first_draws(arma::uword n) {
  std::vector<arma::Mat<double>> chains;
  for (const arma::Mat<double>& chain : tests::series()) chains.push_back(chain.head_cols(n));
  return Summary(chains, n);
}

void expect_same(const arma::Mat<double>& actual, const arma::Mat<double>& expected) {
  ASSERT_EQ(arma::size(actual), arma::size(expected));
  expect_near(actual, {expected.begin(), expected.end()});
}

TEST_F(SummaryTest, ComputesEveryPlainColumn) {
  const Summary s = two_chains();
  const arma::Mat<double> x = tests::pooled();
  expect_near(s.compute(column::mean, x), {2.036420779, -0.01357922102, 0.3240323257, 2.5});
  expect_near(s.compute(column::median, x), {2.122891126, -0.02035055601, 0.1491944896, 2.5});
  expect_near(s.compute(column::stddev, x), {1.339373453, 0.7091747546, 0.6605824201, 0});
  expect_near(s.compute(column::variance, x), {1.793921248, 0.5029288326, 0.4363691338, 0});
  expect_near(s.compute(column::mad_sd, x), {1.480113809, 1.057829134, 0.8140103952, 0});
  expect_near(s.compute(column::chisq, x), {2.311701026, 0.0003666428164, 0.2406149747, inf});
  expect_near(s.compute(column::pvalue, x), {0.1284034646, 0.9847231043, 0.6237623001, 0});
}

TEST_F(SummaryTest, ComputesQuantilesOfDefinitionFive) {
  const Summary s = two_chains();
  const arma::Mat<double> x = tests::pooled();
  const std::vector<double> q005 = {-0.7775301177, -0.9999858814, -0.4999808609, 2.5};
  const std::vector<double> q025 = {-0.4133918687, -0.9957766423, -0.4994237223, 2.5};
  const std::vector<double> q25 = {1.09656917, -0.7141303562, -0.2268472811, 2.5};
  const std::vector<double> q50 = {2.122891126, -0.02035055601, 0.1491944896, 2.5};
  const std::vector<double> q75 = {3.063490456, 0.7048882871, 0.8751183187, 2.5};
  const std::vector<double> q975 = {4.509918309, 0.9967930579, 1.485984122, 2.5};
  const std::vector<double> q995 = {4.67884967, 0.9998105806, 1.499518757, 2.5};
  const arma::Mat<double> all = s.compute(column::quantiles, x);
  ASSERT_EQ(all.n_cols, 5u);
  expect_near(all.col(0), q025);
  expect_near(all.col(1), q25);
  expect_near(all.col(2), q50);
  expect_near(all.col(3), q75);
  expect_near(all.col(4), q975);
  const arma::Mat<double> q99 = s.compute(column::quant99, x);
  expect_near(q99.col(0), q005);
  expect_near(q99.col(1), q995);
  const arma::Mat<double> q95 = s.compute(column::quant95, x);
  expect_near(q95.col(0), q025);
  expect_near(q95.col(1), q975);
  const arma::Mat<double> half = s.compute(column::quant50, x);
  expect_near(half.col(0), q25);
  expect_near(half.col(1), q75);
}

TEST_F(SummaryTest, ComputesChainColumns) {
  const Summary s = two_chains();
  const arma::Mat<double> x = tests::pooled();
  expect_near(s.ess(), {8.4760219, 115.9180963, 84.12116752, nan});
  expect_near(one_chain().ess(), {4.257582446, 56.73660969, 36.00949508, nan});
  expect_near(s.compute(column::n_eff, x), {8.4760219, 115.9180963, 84.12116752, nan});
  expect_near(s.mcmc_se(x), {0.4600506534, 0.0658684808, 0.07202352384, nan});
  expect_near(s.compute(column::mcmc_se, x), {0.4600506534, 0.0658684808, 0.07202352384, nan});
  expect_near(s.compute(column::psr, x), {1.582843388, 1.00184991, 1.039602914, nan});
}

TEST_F(SummaryTest, EffectiveSizeOfVeryShortChains) {
  expect_near(first_draws(4).ess(), {7.224719896, 7.224719896, 5.203520053, nan});
  expect_near(first_draws(6).ess(), {8.192797217, 9.226079103, 8.873303533, nan});
  expect_near(first_draws(7).ess(), {16.0457925, 16.0457925, 14.24235239, nan});
  expect_near(first_draws(2).ess(), {nan, nan, nan, nan});
  expect_near(first_draws(1).ess(), {nan, nan, nan, nan});
  EXPECT_TRUE(first_draws(3).ess().is_finite() || std::isnan(first_draws(3).ess()(3)));
  EXPECT_THROW(Summary().ess(), error_debug);
}

TEST_F(SummaryTest, EffectiveSizesThatAreKnownServeTablesAndWindows) {
  Summary::cols = {column::mean, column::n_eff, column::mcmc_se};
  const Summary fresh = two_chains(), known = two_chains();
  const arma::Col<double> ess = known.ess();
  expect_same(known.summary(), fresh.summary());
  expect_same(known.rows(arma::span(1, 2)).summary(), fresh.rows(arma::span(1, 2)).summary());
  expect_same(known.rows(arma::span(1, 2)).ess(), ess.rows(1, 2));
}

TEST_F(SummaryTest, AFurtherChainChangesTheEffectiveSizes) {
  const std::vector<arma::Mat<double>> series = tests::series();
  Summary s(series[0], 0);
  const double one = s.ess()(1);
  s.push_back(series[1]);
  expect_same(s.ess(), two_chains().ess());
  EXPECT_GT(s.ess()(1), one);
}

TEST_F(SummaryTest, AutocovariancesOfOneChain) {
  const arma::Mat<double> chain = tests::series()[0];
  const std::vector<std::vector<double>> expected = {
      {1.74168134, 1.160046082, 0.6650290734, -0.03175287958},
      {0.5041628372, -0.06143369983, -0.4637525275, -0.01649653528},
      {0.404528927, 0.03278710625, -0.03086205489, 0.004073854843}};
  for (arma::uword i = 0; i < 3; ++i) {
    const arma::Col<double> ac = Summary::_autocov(chain.row(i).t());
    ASSERT_EQ(ac.n_elem, 40u);
    const double lags[] = {ac(0), ac(1), ac(2), ac(39)};
    for (int k = 0; k < 4; ++k) expect_near(lags[k], expected[i][k]);
  }
  EXPECT_EQ(arma::abs(Summary::_autocov(chain.row(3).t())).max(), 0.0);
  EXPECT_EQ(Summary::_autocov(arma::Col<double>()).n_elem, 0u);
}

/// A chain that mixes so slowly that its autocovariances come from the transform.
TEST_F(SummaryTest, SlowChainsAgreeWithTheWholeAutocovariance) {
  std::mt19937 engine(4711);
  std::normal_distribution<double> normal;
  const arma::uword n = 6007;
  std::vector<arma::Mat<double>> chains(3, arma::Mat<double>(1, n));
  for (arma::Mat<double>& chain : chains) {
    double state = 0.0;
    for (arma::uword t = 0; t < n; ++t) chain(0, t) = state = 0.999 * state + normal(engine);
  }
  // The same estimate, straight from its definition.
  arma::Col<double> ac(n, arma::fill::zeros), means(3);
  for (arma::uword j = 0; j < 3; ++j) {
    const arma::Col<double> d = chains[j].row(0).t() - arma::mean(chains[j].row(0));
    for (arma::uword k = 0; k < n; ++k) ac(k) += arma::dot(d.head(n - k), d.tail(n - k)) / n / 3.0;
    means(j) = arma::mean(chains[j].row(0));
  }
  const double mean_var = n / (n - 1.0) * ac(0), var_plus = ac(0) + arma::var(means);
  const auto r = [&](arma::uword k) { return 1.0 - (mean_var - ac(k)) / var_plus; };
  std::vector<double> rho = {1.0, r(1)};
  double even = 0.0;
  while (rho.size() < n - 4) {
    even = r(rho.size());
    const double odd = r(rho.size() + 1);
    if (even + odd < 0.0) break;
    rho.push_back(even);
    rho.push_back(odd);
  }
  ASSERT_GT(rho.size(), 1100u);
  for (std::size_t k = 2; k + 2 < rho.size(); k += 2) {
    const double before = rho[k - 2] + rho[k - 1];
    if (before < rho[k] + rho[k + 1]) rho[k] = rho[k + 1] = before / 2.0;
  }
  double tau = -1.0 + std::max(even, 0.0);
  for (const double value : rho) tau += 2.0 * value;
  expect_near(Summary(chains, 0).ess(), {3.0 * n / tau});
}

TEST_F(SummaryTest, EffectiveSizeOfWhiteNoiseIsBounded) {
  std::mt19937 engine(12);
  std::normal_distribution<double> normal;
  arma::Mat<double> x(200, 100);
  x.for_each([&](double& v) { v = normal(engine); });
  const arma::Col<double> ess = Summary(x, 0).ess();
  EXPECT_GT(ess.max(), 100.0);
  EXPECT_LE(ess.max(), 100.0 * 2.0 * (1.0 + 1e-12));
}

TEST_F(SummaryTest, TableHoldsTheColumnsInTheOrderOfTheList) {
  Summary::cols = {column::n_eff,  column::quant95,   column::mcmc_se, column::mad_sd, column::psr,
                   column::median, column::quantiles, column::chisq,   column::pvalue, column::mean,
                   column::stddev, column::variance,  column::quant99, column::quant50};
  const Summary s = two_chains();
  const arma::Mat<double> table = s.summary();
  ASSERT_EQ(table.n_rows, 4u);
  ASSERT_EQ(table.n_cols, 21u);
  EXPECT_EQ(s.colNames().size(), 21u);
  arma::uword c = 0;
  for (const column which : Summary::cols) {
    const arma::Mat<double> expected = s.compute(which, tests::pooled());
    for (arma::uword k = 0; k < expected.n_cols; ++k, ++c) {
      for (arma::uword r = 0; r < 4; ++r) expect_near(table(r, c), expected(r, k), 1e-12);
    }
  }
}

TEST_F(SummaryTest, EmptyListBecomesTheDefault) {
  EXPECT_TRUE(Summary::cols.empty());
  const Summary s = two_chains();
  EXPECT_EQ(s.summary().n_cols, 7u);
  EXPECT_EQ(s.colNames(),
            (std::vector<std::string>{"Median", "StdDev", "2.5%", "97.5%", "ChiSq", "PValue", "N_Eff"}));
  EXPECT_EQ(Summary::cols.size(), 6u);
}

TEST_F(SummaryTest, ManyParametersKeepTheirRows) {
  std::mt19937 engine(5);
  std::normal_distribution<double> normal;
  arma::Mat<double> a(37, 60), b(37, 55);
  a.for_each([&](double& v) { v = normal(engine); });
  b.for_each([&](double& v) { v = normal(engine); });
  Summary::cols = {column::mean, column::median, column::n_eff, column::psr};
  const arma::Mat<double> table = Summary(std::vector<arma::Mat<double>>{a, b}, 0).summary();
  const arma::Mat<double> all = arma::join_rows(a, b);
  ASSERT_EQ(table.n_rows, 37u);
  for (arma::uword r = 0; r < 37; ++r) {
    EXPECT_NEAR(table(r, 0), arma::mean(all.row(r)), 1e-12);
    EXPECT_NEAR(table(r, 1), arma::median(all.row(r)), 1e-12);
    // Chains of unequal length: PSR and effective size use as many draws as the shortest has.
    const Summary alone(std::vector<arma::Mat<double>>{a.submat(r, 0, r, 54), b.row(r)}, 0);
    EXPECT_NEAR(table(r, 2), alone.ess()(0), 1e-9);
    EXPECT_NEAR(table(r, 3), alone.psr()(0), 1e-12);
  }
}

TEST_F(SummaryTest, BorrowedWindowsFollowTheStoreUpToTheCursor) {
  arma::Mat<double> store(2, 10, arma::fill::value(1e9));
  store.head_cols(3) = arma::Mat<double>{{1, 2, 3}, {4, 5, 9}};
  const Summary s(std::vector<chain_draws>{chain_draws::borrow(store, 3)}, 10);
  EXPECT_EQ(s.n_cols(), 3u);
  EXPECT_EQ(s.n_rows(), 2u);
  EXPECT_EQ(s.n_iterations(), 3u);
  EXPECT_EQ(s.chains()[0].draw(0), store.colptr(0));
  Summary::cols = {column::mean, column::median};
  EXPECT_TRUE(arma::approx_equal(s.summary(), arma::Mat<double>{{2, 2}, {6, 5}}, "absdiff", 1e-12));
}

TEST_F(SummaryTest, RowsGiveAWindowOnTheSameDraws) {
  Summary::cols = {column::median, column::psr, column::n_eff};
  const Summary s = two_chains();
  const Summary part = s.rows(arma::span(1, 2));
  EXPECT_EQ(part.n_rows(), 2u);
  EXPECT_EQ(part.n_chains(), 2u);
  EXPECT_TRUE(arma::approx_equal(part.summary(), s.summary().rows(1, 2), "absdiff", 0.0));
  EXPECT_TRUE(arma::approx_equal(part.rows(arma::span(1, 1)).psr(), s.psr().rows(2, 2), "absdiff", 0.0));
  EXPECT_TRUE(arma::approx_equal(part.chains()[1].matrix(), tests::series()[1].rows(1, 2), "absdiff", 0.0));
  EXPECT_EQ(s.rows(arma::span::all).n_rows(), 4u);
  EXPECT_EQ(s.rows(arma::span(2, 9)).n_rows(), 2u);
}

TEST_F(SummaryTest, PushBackRejectsOtherParameters) {
  Summary s;
  EXPECT_THROW(s.n_cols(), error_debug);
  EXPECT_EQ(s.n_iterations(), 0u);
  s.push_back(arma::Mat<double>(3, 5, arma::fill::zeros));
  s.push_back(arma::Mat<double>(3, 4, arma::fill::zeros));
  EXPECT_EQ(s.n_cols(), 4u);
  EXPECT_EQ(s.n_iterations(), 9u);
  try {
    s.push_back(arma::Mat<double>(2, 5, arma::fill::zeros));
    FAIL();
  } catch (const error_debug& e) {
    EXPECT_STREQ(e.what(), "Estimates don't match!");
  }
}

TEST_F(SummaryTest, TableWithoutDrawsHasNoRowsAndSevenColumns) {
  for (const Summary& s : {Summary(), Summary(arma::Mat<double>(), 0), Summary(arma::Mat<double>(3, 0), 0),
                           Summary(std::vector<arma::Mat<double>>{arma::Mat<double>(2, 2, arma::fill::ones),
                                                                  arma::Mat<double>(2, 0)},
                                   0)}) {
    EXPECT_EQ(s.summary().n_rows, 0u);
    EXPECT_EQ(s.summary().n_cols, 7u);
  }
}

TEST_F(SummaryTest, ReadyMadeTableComesBackAsItIs) {
  const arma::Mat<double> table{{1, 2}, {3, 4}, {5, 6}};
  Summary s(table, std::vector<std::string>{"Mean", "Other"});
  EXPECT_EQ(s.colNames(), (std::vector<std::string>{"Mean", "Other"}));
  EXPECT_TRUE(arma::approx_equal(s.summary(), table, "absdiff", 0.0));
  EXPECT_TRUE(arma::approx_equal(s.rows(arma::span(1, 1)).summary(), table.row(1), "absdiff", 0.0));
  s.push_back(table);
  EXPECT_EQ(s.summary().n_cols, 4u);
  EXPECT_TRUE(Summary::cols.empty());
}

TEST_F(SummaryTest, OneNanDrawMakesItsRowNanAndNoOther) {
  std::vector<arma::Mat<double>> chains = tests::series();
  chains[1](2, 39) = nan;
  for (const char* word : {"mean", "median", "sd", "var", "mad", "quant", "q99", "q95", "q50", "psr", "ess",
                           "mcmcse", "wald", "pvalue"}) {
    Summary::add_column(word);
  }
  const arma::Mat<double> table = Summary(chains, 40).summary();
  for (const double value : table.row(2)) EXPECT_TRUE(std::isnan(value));
  for (const double value : table.row(1)) EXPECT_TRUE(std::isfinite(value));
}

TEST_F(SummaryTest, OneDrawHasALocationAndNoSpread) {
  for (const char* word : {"mean", "median", "sd", "var", "wald", "pvalue", "psr", "ess", "mcmcse", "q95"}) {
    Summary::add_column(word);
  }
  const arma::Mat<double> table = Summary(arma::Mat<double>(1, 1, arma::fill::value(3.0)), 1).summary();
  expect_near(table.row(0), {3.0, 3.0, nan, nan, nan, nan, nan, nan, nan, 3.0, 3.0});
}

TEST_F(SummaryTest, InfiniteDrawsStillHaveQuantiles) {
  arma::Mat<double> x(1, 101);
  for (arma::uword t = 0; t < 101; ++t) x(0, t) = static_cast<double>(t);
  x(0, 0) = x(0, 100) = inf;
  expect_near(Summary().compute(column::median, x), {51.0});
  expect_near(Summary().compute(column::mad_sd, x), {1.4826 * 25.0});
  expect_near(Summary().compute(column::mean, x), {inf});
  expect_near(Summary().compute(column::stddev, x), {nan});
  x.fill(inf);
  expect_near(Summary().compute(column::median, x), {inf});
  expect_near(Summary().compute(column::mad_sd, x), {nan});
}

TEST_F(SummaryTest, ConstantIsExactForEveryValue) {
  // 0.1 has no exact sum; deviations must still be exactly zero.
  const arma::Mat<double> x(1, 1000, arma::fill::value(0.1));
  EXPECT_EQ(Summary().compute(column::mean, x)(0), 0.1);
  EXPECT_EQ(Summary().compute(column::variance, x)(0), 0.0);
  EXPECT_EQ(Summary().compute(column::chisq, x)(0), inf);
  EXPECT_EQ(Summary().compute(column::quant95, x)(0), 0.1);
  EXPECT_TRUE(std::isnan(Summary(std::vector<arma::Mat<double>>{x, x, x}, 0).ess()(0)));
  EXPECT_TRUE(std::isnan(Summary(std::vector<arma::Mat<double>>{x, x, x}, 0).psr()(0)));
  const arma::Mat<double> zero(1, 10, arma::fill::zeros);
  EXPECT_TRUE(std::isnan(Summary().compute(column::chisq, zero)(0)));
  EXPECT_TRUE(std::isnan(Summary().compute(column::pvalue, zero)(0)));
}

TEST_F(SummaryTest, StaticColumnsWorkOnParametersInRows) {
  const arma::Mat<double> x = tests::pooled();
  expect_near(Summary::mad(x), {1.480113809, 1.057829134, 0.8140103952, 0});
  expect_near(Summary::wald(x), {2.311701026, 0.0003666428164, 0.2406149747, inf});
  expect_near(Summary::pvalue(x), {0.1284034646, 0.9847231043, 0.6237623001, 0});
  const arma::Mat<double> q = Summary::quantile(x, 0.95);
  expect_near(q.col(0), {-0.4133918687, -0.9957766423, -0.4994237223, 2.5});
  expect_near(q.col(1), {4.509918309, 0.9967930579, 1.485984122, 2.5});
}

TEST_F(SummaryTest, DataSummariesTakeObservationsInRows) {
  const arma::Mat<double> data = tests::pooled().t();
  const arma::Mat<double> table =
      Summary::summarize(data, {column::stddev, column::variance, column::quant95});
  ASSERT_EQ(table.n_rows, 4u);
  ASSERT_EQ(table.n_cols, 4u);
  expect_near(table.col(0), {1.339373453, 0.7091747546, 0.6605824201, 0});
  expect_near(table.col(3), {4.509918309, 0.9967930579, 1.485984122, 2.5});
  for (int which = 9; which <= 13; ++which) {
    try {
      Summary::summarize(data, {column::mean, static_cast<column>(which)});
      FAIL() << which;
    } catch (const error_debug& e) {
      EXPECT_STREQ(e.what(), "Summary not available.");
    }
  }
}

TEST_F(SummaryTest, RejectsValuesThatAreNoColumn) {
  for (const int value : {-1, 14}) {
    try {
      Summary::column_strs(static_cast<column>(value));
      FAIL();
    } catch (const error_debug& e) {
      EXPECT_STREQ(e.what(), "No name for column.");
    }
    try {
      two_chains().compute(static_cast<column>(value), tests::pooled());
      FAIL();
    } catch (const error_debug& e) {
      EXPECT_STREQ(e.what(), "Failed to compute output.");
    }
  }
}

}  // namespace
}  // namespace tovik::summary_test
