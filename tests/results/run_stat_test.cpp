#include "results/run_stat.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "series.hpp"

namespace tovik::run_stat_test {
namespace {

using tests::expect_near;

RunStat<arma::Col<double>> stream(const arma::Mat<double>& x) {
  RunStat<arma::Col<double>> out;
  for (arma::uword t = 0; t < x.n_cols; ++t) out += arma::Col<double>(x.col(t));
  return out;
}

TEST(RunStat, MatchesMeanAndVarianceOfTheStoredStream) {
  const arma::Mat<double> x = tests::pooled();
  const RunStat<arma::Col<double>> stat = stream(x);
  EXPECT_EQ(stat.count, 80u);
  for (arma::uword i = 0; i < 3; ++i) {
    EXPECT_NEAR(stat.mean(i), arma::mean(x.row(i)), 1e-12);
    EXPECT_NEAR(stat.M2(i) / 79.0, arma::var(x.row(i)), 1e-12);
  }
  EXPECT_EQ(stat.mean(3), 2.5);
  EXPECT_EQ(stat.M2(3), 0.0);
}

/// Eleven elements: eight go side by side, three by themselves. Element 2 never varies.
TEST(RunStat, ColumnsTogetherAreTheStream) {
  arma::mat x(11, 70);
  for (arma::uword i = 0; i < 11; ++i)
    for (arma::uword t = 0; t < 70; ++t)
      x(i, t) = i == 2 ? 0.1 : 1e6 * double(i) + std::sin(double(3 * i + 7 * t));
  RunStat<arma::vec> one_by_one = stream(x);
  for (const arma::uword cut : {0u, 1u, 2u, 40u, 69u, 70u}) {
    arma::vec mean(11, arma::fill::zeros), M2 = mean;
    if (cut > 0) run_stat::add_columns(11, 0, cut, x.memptr(), mean.memptr(), M2.memptr());
    if (cut < 70) run_stat::add_columns(11, cut, 70 - cut, x.colptr(cut), mean.memptr(), M2.memptr());
    EXPECT_TRUE(arma::approx_equal(mean, one_by_one.mean, "absdiff", 1e-8)) << cut;
    EXPECT_TRUE(arma::approx_equal(M2, one_by_one.M2, "absdiff", 1e-6)) << cut;
    EXPECT_EQ(mean(2), 0.1);
    EXPECT_EQ(M2(2), 0.0);
  }
}

TEST(RunStat, ANanAmongColumnsStaysInItsElement) {
  arma::mat x(8, 5);
  for (arma::uword i = 0; i < x.n_elem; ++i) x[i] = std::cos(double(i));
  x(3, 2) = arma::datum::nan;
  const RunStat<arma::vec> expected = stream(x);
  arma::vec mean(8, arma::fill::zeros), M2 = mean;
  run_stat::add_columns(8, 0, 5, x.memptr(), mean.memptr(), M2.memptr());
  for (arma::uword i = 0; i < 8; ++i) {
    EXPECT_EQ(std::isnan(mean(i)), i == 3);
    if (i == 3) continue;
    EXPECT_NEAR(mean(i), expected.mean(i), 1e-14);
    EXPECT_NEAR(M2(i), expected.M2(i), 1e-14);
  }
}

TEST(RunStat, MergesTwoChains) {
  RunStat<arma::Col<double>> stat = stream(tests::series()[0]);
  stat += stream(tests::series()[1]);
  EXPECT_EQ(stat.count, 80u);
  expect_near(stat.mean, {2.036420779, -0.01357922102, 0.3240323257, 2.5});
  expect_near(arma::Col<double>(stat.M2 / 79.0), {1.793921248, 0.5029288326, 0.4363691338, 0.0});
}

TEST(RunStat, FirstSampleLeavesTheSquaresWithoutSize) {
  RunStat<arma::Mat<double>> stat;
  EXPECT_EQ(stat.count, 0u);
  stat += arma::Mat<double>(2, 3, arma::fill::ones);
  EXPECT_EQ(stat.count, 1u);
  EXPECT_EQ(stat.M2.n_elem, 0u);
  stat += arma::Mat<double>(2, 3, arma::fill::value(3.0));
  ASSERT_EQ(stat.M2.n_elem, 6u);
  EXPECT_EQ(stat.mean(1, 2), 2.0);
  EXPECT_EQ(stat.M2(1, 2), 2.0);
}

TEST(RunStat, MergeIsTheStreamForEverySplit) {
  const arma::Mat<double> x = tests::series()[0].cols(0, 4);
  const RunStat<arma::Col<double>> whole = stream(x);
  for (arma::uword cut = 0; cut <= x.n_cols; ++cut) {
    SCOPED_TRACE(cut);
    RunStat<arma::Col<double>> first = stream(arma::Mat<double>(x.head_cols(cut)));
    first += stream(arma::Mat<double>(x.tail_cols(x.n_cols - cut)));
    EXPECT_EQ(first.count, whole.count);
    EXPECT_TRUE(arma::approx_equal(first.mean, whole.mean, "absdiff", 1e-12));
    EXPECT_TRUE(arma::approx_equal(first.M2, whole.M2, "absdiff", 1e-12));
  }
}

TEST(RunStat, MergingTwoEmptyStreamsStaysEmpty) {
  RunStat<arma::Col<double>> a;
  a += RunStat<arma::Col<double>>();
  EXPECT_EQ(a.count, 0u);
  EXPECT_EQ(a.mean.n_elem, 0u);
}

TEST(RunStat, MergesWithItself) {
  RunStat<arma::Col<double>> a = stream(tests::series()[0].cols(0, 2));
  const RunStat<arma::Col<double>> before = a;
  a += a;
  EXPECT_EQ(a.count, 6u);
  EXPECT_TRUE(arma::approx_equal(a.mean, before.mean, "absdiff", 1e-14));
  EXPECT_TRUE(arma::approx_equal(a.M2, arma::Col<double>(2.0 * before.M2), "absdiff", 1e-14));
  RunStat<arma::Col<double>> one = stream(tests::series()[0].cols(0, 0));
  one += one;
  EXPECT_EQ(one.count, 2u);
  EXPECT_EQ(arma::accu(arma::abs(one.M2)), 0.0);
}

TEST(RunStat, NanStaysInItsElement) {
  RunStat<arma::Cube<double>> stat;
  arma::Cube<double> x(2, 2, 2, arma::fill::ones);
  stat += x;
  x(1, 0, 1) = arma::datum::nan;
  stat += x;
  EXPECT_TRUE(std::isnan(stat.mean(1, 0, 1)));
  EXPECT_TRUE(std::isnan(stat.M2(1, 0, 1)));
  EXPECT_EQ(stat.mean(0, 0, 0), 1.0);
  EXPECT_EQ(stat.M2(0, 0, 0), 0.0);
}

TEST(RunStat, RejectsAnotherShape) {
  RunStat<arma::Mat<double>> a;
  a += arma::Mat<double>(2, 3, arma::fill::zeros);
  EXPECT_THROW(a += arma::Mat<double>(3, 2, arma::fill::zeros), error_debug);
  RunStat<arma::Mat<double>> b;
  b += arma::Mat<double>(6, 1, arma::fill::zeros);
  EXPECT_THROW(a += b, error_debug);
}

}  // namespace
}  // namespace tovik::run_stat_test
