#include "random/log_sum_exp.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace tovik::log_sum_exp_test {
namespace {

using cube = arma::Cube<double>;
using Sum = LogSumExp<cube>;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

cube terms(std::uint64_t k) {
  cube x(3, 2, 2, arma::fill::none);
  for (arma::uword i = 0; i < x.n_elem; ++i)
    x[i] = 5 * std::sin(static_cast<double>(1 + 7 * k + 3 * i)) - 100.0 * static_cast<double>(i);
  return x;
}

Sum sum_of(std::uint64_t from, std::uint64_t to) {
  Sum out;
  for (std::uint64_t k = from; k < to; ++k) out += terms(k);
  return out;
}

void expect_same(const Sum& a, const Sum& b) {
  EXPECT_EQ(a.count, b.count);
  EXPECT_TRUE(arma::approx_equal(a.max, b.max, "absdiff", 0.0));
  EXPECT_TRUE(arma::approx_equal(a.sum, b.sum, "reldiff", 1e-13));
}

TEST(LogSumExp, IsTheLogarithmOfTheSum) {
  const Sum total = sum_of(0, 20);
  EXPECT_EQ(total.count, 20U);
  const cube value = total.value();
  for (arma::uword i = 0; i < value.n_elem; ++i) {
    long double sum = 0;
    for (std::uint64_t k = 0; k < 20; ++k) sum += std::exp(static_cast<long double>(terms(k)[i]));
    EXPECT_NEAR(value[i], static_cast<double>(std::log(sum)), 1e-12 * std::fabs(value[i]));
  }
}

/// Seven sums, of which four go side by side; terms that rise and fall by more than an exponential can hold.
TEST(LogSumExp, ColumnsTogetherAreTheStream) {
  arma::mat x(7, 30);
  for (arma::uword i = 0; i < 7; ++i)
    for (arma::uword t = 0; t < 30; ++t)
      x(i, t) = (i % 3 == 0 ? 900.0 : 2.0) * std::sin(static_cast<double>(1 + 5 * t + 3 * i));
  LogSumExp<arma::vec> expected;
  for (arma::uword t = 0; t < 30; ++t) expected += arma::vec(x.col(t));
  for (const arma::uword cut : {0u, 1u, 13u, 29u, 30u}) {
    arma::vec max(7, arma::fill::value(-inf)), sum(7, arma::fill::zeros);
    log_sum::add_columns(7, cut, x.memptr(), max.memptr(), sum.memptr());
    if (cut < 30) log_sum::add_columns(7, 30 - cut, x.colptr(cut), max.memptr(), sum.memptr());
    EXPECT_TRUE(arma::approx_equal(max, expected.max, "absdiff", 0.0)) << cut;
    EXPECT_TRUE(arma::approx_equal(sum, expected.sum, "reldiff", 1e-13)) << cut;
  }
}

TEST(LogSumExp, ColumnsWithWhatIsNotFinite) {
  arma::mat x(4, 6, arma::fill::ones);
  x(0, 2) = nan;
  x(1, 3) = inf;
  x(2, 0) = -inf;
  arma::vec max(4, arma::fill::value(-inf)), sum(4, arma::fill::zeros);
  log_sum::add_columns(4, 6, x.memptr(), max.memptr(), sum.memptr());
  EXPECT_TRUE(std::isnan(max(0)));
  EXPECT_EQ(max(1), inf);
  EXPECT_EQ(max(2), 1.0);
  EXPECT_EQ(sum(2), 5.0);
  EXPECT_EQ(sum(3), 6.0);
  const arma::mat later(4, 3, arma::fill::zeros);
  log_sum::add_columns(4, 3, later.memptr(), max.memptr(), sum.memptr());
  EXPECT_TRUE(std::isnan(max(0)));
  EXPECT_EQ(max(1), inf);
}

TEST(LogSumExp, DoesNotOverflow) {
  LogSumExp<arma::Col<double>> total;
  for (double x : {-1e5, 1e5, 1e5 - 1, -1e5}) total += arma::Col<double>{x, -x};
  EXPECT_NEAR(total.value()[0], 1e5 + std::log1p(std::exp(-1.0)), 1e-9);
  EXPECT_NEAR(total.value()[1], 1e5 + std::log(2.0), 1e-9);
}

TEST(LogSumExp, ScalesByTheRunningMaximum) {
  LogSumExp<arma::Col<double>> total;
  total += arma::Col<double>{1.0};
  EXPECT_EQ(total.sum[0], 1.0);
  total += arma::Col<double>{1.0};
  EXPECT_EQ(total.sum[0], 2.0);
  EXPECT_EQ(total.max[0], 1.0);
  total += arma::Col<double>{3.0};
  EXPECT_DOUBLE_EQ(total.sum[0], 2 * std::exp(-2.0) + 1);
  EXPECT_EQ(total.max[0], 3.0);
  total += arma::Col<double>{2.0};
  EXPECT_DOUBLE_EQ(total.sum[0], 2 * std::exp(-2.0) + 1 + std::exp(-1.0));
  EXPECT_EQ(total.count, 4U);
}

TEST(LogSumExp, MinusInfinityIsAValueLikeAnyOther) {
  LogSumExp<arma::Col<double>> total;
  for (int i = 0; i < 3; ++i) total += arma::Col<double>{-inf};
  EXPECT_EQ(total.sum[0], 3.0);
  EXPECT_EQ(total.value()[0], -inf);
  total += arma::Col<double>{2.0};
  total += arma::Col<double>{-inf};
  EXPECT_EQ(total.value()[0], 2.0);
  total += total;
  EXPECT_DOUBLE_EQ(total.value()[0], 2.0 + std::log(2.0));
  EXPECT_EQ(total.count, 10U);
}

TEST(LogSumExp, ANaNElementStaysNaN) {
  for (std::size_t position = 0; position < 3; ++position) {
    std::vector<double> stream = {1.0, 2.0, -1.0};
    stream[position] = nan;
    LogSumExp<arma::Col<double>> total;
    for (double x : stream) total += arma::Col<double>{x, 0.0};
    EXPECT_TRUE(std::isnan(total.value()[0])) << position;
    EXPECT_DOUBLE_EQ(total.value()[1], std::log(3.0));
    LogSumExp<arma::Col<double>> merged;
    merged += arma::Col<double>{5.0, 0.0};
    merged += arma::Col<double>{6.0, 0.0};
    merged += total;
    EXPECT_TRUE(std::isnan(merged.value()[0])) << position;
  }
}

TEST(LogSumExp, MergesStreamsOfAnyLength) {
  for (std::uint64_t split : {0U, 1U, 2U, 9U, 18U, 19U, 20U}) {
    Sum left = sum_of(0, split);
    left += sum_of(split, 20);
    expect_same(left, sum_of(0, 20));
  }
  Sum empty;
  empty += Sum();
  EXPECT_EQ(empty.count, 0U);
  EXPECT_EQ(empty.value().n_elem, 0U);
}

TEST(LogSumExp, ShapesMustMatch) {
  Sum total = sum_of(0, 2);
  const cube other(3, 2, 1, arma::fill::zeros);
  Sum merged;
  merged += other;
  const auto expect_mismatch = [](auto call) {
    try {
      call();
      ADD_FAILURE();
    } catch (const error_debug& e) {
      EXPECT_STREQ(e.what(), "Does not match.");
    }
  };
  expect_mismatch([&] { total += other; });
  expect_mismatch([&] { total += merged; });
  expect_same(total, sum_of(0, 2));
}

}  // namespace
}  // namespace tovik::log_sum_exp_test
