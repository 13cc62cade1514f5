#include "evaluate/functions.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "trees.hpp"

namespace tovik::tests::functions_test {
namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

TEST(Functions, GuardTheLogit) {
  EXPECT_DOUBLE_EQ(evaluate::logit(0.5), 0.0);
  EXPECT_DOUBLE_EQ(evaluate::logit(0.2), std::log(0.25));
  EXPECT_DOUBLE_EQ(evaluate::logit(0.0), -9.21);
  EXPECT_DOUBLE_EQ(evaluate::logit(1.0), 9.21);
  EXPECT_DOUBLE_EQ(evaluate::logit(-0.5), -9.21);
  EXPECT_DOUBLE_EQ(evaluate::logit(1.5), -9.21);
  EXPECT_DOUBLE_EQ(evaluate::logit(0.000001), -9.21);
  EXPECT_DOUBLE_EQ(evaluate::logit(0.999999), 9.21);
  EXPECT_TRUE(std::isnan(evaluate::logit(nan)));
}

TEST(Functions, GuardTheLogistic) {
  EXPECT_DOUBLE_EQ(evaluate::sigm(0.0), 0.5);
  EXPECT_DOUBLE_EQ(evaluate::sigm(1000.0), 1.0);
  EXPECT_DOUBLE_EQ(evaluate::sigm(709.782712893384), 1.0);
  EXPECT_DOUBLE_EQ(evaluate::sigm(709.0), 1.0);
  EXPECT_DOUBLE_EQ(evaluate::sigm(-10.0), 0.0);
  EXPECT_DOUBLE_EQ(evaluate::sigm(9.0), 1.0);
  EXPECT_DOUBLE_EQ(evaluate::sigm(-9.0), std::exp(-9.0) / (1.0 + std::exp(-9.0)));
  EXPECT_DOUBLE_EQ(evaluate::sigm(-infinity), 0.0);
  EXPECT_TRUE(std::isnan(evaluate::sigm(nan)));
}

TEST(Functions, GuardTheNormalQuantile) {
  EXPECT_DOUBLE_EQ(evaluate::iphi(0.5), 0.0);
  EXPECT_NEAR(evaluate::iphi(0.975), 1.959963984540054, 1e-14);
  EXPECT_EQ(evaluate::iphi(0.0), -infinity);
  EXPECT_EQ(evaluate::iphi(1.0), infinity);
  EXPECT_TRUE(std::isnan(evaluate::iphi(nan)));
  for (const double x : {1.5, -0.1, infinity, -infinity}) {
    EXPECT_EQ(failure([&] { evaluate::iphi(x); }), "ERROR: 'iphi' inputs must be between 0 and 1.") << x;
  }
}

TEST(Functions, LimitRanges) {
  EXPECT_DOUBLE_EQ(evaluate::clamp(2.0, 0.0, 1.0), 1.0);
  EXPECT_DOUBLE_EQ(evaluate::clamp(-2.0, 0.0, 1.0), 0.0);
  EXPECT_DOUBLE_EQ(evaluate::clamp(0.5, 0.0, 1.0), 0.5);
  EXPECT_DOUBLE_EQ(evaluate::unclamp(0.1, 0.2, 0.8), 0.0);
  EXPECT_DOUBLE_EQ(evaluate::unclamp(0.9, 0.2, 0.8), 1.0);
  EXPECT_DOUBLE_EQ(evaluate::unclamp(0.5, 0.2, 0.8), 0.5);
  expect_column(evaluate::unclamp(arma::vec{0.0001, 0.00011, 0.5, 0.9998, 0.9999, nan}),
                {0.0, 0.00011, 0.5, 0.9998, 1.0, nan}, "unclamp");
}

TEST(Functions, TransformByPowersOnTheWholeLine) {
  for (const double x : {0.0, 0.5, 3.0, -0.5, -3.0}) {
    EXPECT_NEAR(evaluate::yjt(x, 1.0), x, 1e-15);
    for (const double lambda : {-1.0, 0.0, 0.00005, 0.5, 1.5, 2.0, 2.00005, 3.0}) {
      EXPECT_NEAR(evaluate::iyjt(evaluate::yjt(x, lambda), lambda), x, 1e-12) << x << " " << lambda;
    }
  }
  EXPECT_DOUBLE_EQ(evaluate::yjt(3.0, 0.0), std::log(4.0));
  EXPECT_DOUBLE_EQ(evaluate::yjt(3.0, 0.5), 2.0);
  EXPECT_DOUBLE_EQ(evaluate::yjt(-3.0, 2.0), -std::log(4.0));
  EXPECT_DOUBLE_EQ(evaluate::yjt(-3.0, 1.5), -2.0);
  // The limits take over continuously.
  EXPECT_NEAR(evaluate::yjt(3.0, 0.000101), evaluate::yjt(3.0, 0.0), 1e-3);
  EXPECT_NEAR(evaluate::yjt(-3.0, 1.99989), evaluate::yjt(-3.0, 2.0), 1e-3);
  EXPECT_DOUBLE_EQ(evaluate::yjt_helper(4.0, 0.5), 2.0);
  EXPECT_DOUBLE_EQ(evaluate::iyjt_helper(2.0, 0.5), 4.0);
  EXPECT_TRUE(std::isnan(evaluate::yjt(nan, 0.5)));
  EXPECT_TRUE(std::isnan(evaluate::yjt(nan, 2.0)));
  EXPECT_TRUE(std::isnan(evaluate::iyjt(nan, 0.5)));
}

TEST(Functions, ListTheElementaryOnes) {
  int found = 0;
  for (int n = 0; n <= 51; ++n)
    found += evaluate::elementary(static_cast<evaluate::operations>(n)) != nullptr;
  EXPECT_EQ(found, 16);
  EXPECT_DOUBLE_EQ(evaluate::elementary(evaluate::operations::log1p)(1.0), std::log(2.0));
  EXPECT_THROW(evaluate::binary(evaluate::operations::log, 1.0, 2.0), evaluate::error_debug_parse);
}

TEST(Functions, MaskRowsWithMissingOperands) {
  const arma::Col<arma::uword> result = {1, 0, 1};
  const arma::vec a = {0.0, nan, 2.0}, b = {1.0, 1.0, nan}, shorter = {1.0};
  expect_column(evaluate::nanMask(result, a, b), {1.0, nan, nan}, "columns");
  expect_column(evaluate::nanMask(result, a, 1.0), {1.0, nan, 1.0}, "scalar right");
  expect_column(evaluate::nanMask(result, 1.0, b), {1.0, 0.0, nan}, "scalar left");
  expect_column(evaluate::nanMask(result, nan, b), {nan, nan, nan}, "missing scalar");
  EXPECT_EQ(failure([&] { evaluate::nanMask(result, a, shorter); }), "Elements do not match.");
  EXPECT_EQ(failure([&] { evaluate::nanMask(result, 1.0, shorter); }), "Elements do not match.");
  EXPECT_THROW(evaluate::nanMask(result, shorter, 1.0), evaluate::error_debug);
}

TEST(Functions, ChooseOnlyByLogicalColumns) {
  const arma::vec logical = {1.0, 0.0, nan}, yes = {1.0, 2.0, 3.0}, no = {4.0, 5.0, 6.0};
  expect_column(evaluate::ifelse(logical, yes, no), {1.0, 5.0, nan}, "columns");
  expect_column(evaluate::ifelse(logical, 7.0, no), {7.0, 5.0, nan}, "scalar yes");
  expect_column(evaluate::ifelse(logical, yes, 8.0), {1.0, 8.0, nan}, "scalar no");
  expect_column(evaluate::ifelse(logical, 7.0, 8.0), {7.0, 8.0, nan}, "scalars");
  EXPECT_EQ(failure([&] { evaluate::ifelse(yes, yes, no); }), "Not a logical vec.");
  EXPECT_EQ(failure([&] { evaluate::ifelse(logical, arma::vec{1.0}, no); }), "Elements do not match.");
  EXPECT_EQ(failure([&] { evaluate::ifelse(logical, 1.0, arma::vec{1.0}); }), "Elements do not match.");
}

TEST(Functions, TakeTheExtremeOfPairs) {
  const arma::vec a = {1.0, 5.0, nan}, b = {2.0, 3.0, 4.0};
  expect_column(evaluate::compute_max(a, b), {2.0, 5.0, 4.0}, "max");
  expect_column(evaluate::compute_min(a, b), {1.0, 3.0, 4.0}, "min");
  expect_column(evaluate::compute_max(b, a), {2.0, 5.0, nan}, "max, missing second");
  EXPECT_EQ(failure([&] { evaluate::compute_max(a, arma::vec{1.0}); }), "Elements do not match.");
  EXPECT_EQ(failure([&] { evaluate::compute_min(a, arma::vec{1.0}); }), "Elements do not match.");
}

TEST(Functions, WorkOnColumnsElementByElement) {
  const arma::vec x = {0.25, nan, 0.0, 1.0, 0.9};
  const arma::vec y = {-2.0, 0.0, 3.0, nan, 1e-3};
  const arma::vec odds = evaluate::logit(x), chance = evaluate::sigm(y), quantile = evaluate::iphi(x);
  const arma::vec power = evaluate::yjt(y, 0.5), back = evaluate::iyjt(y, 1.5);
  for (arma::uword i = 0; i < x.n_elem; ++i) {
    expect_column({odds[i], chance[i], quantile[i]},
                  {evaluate::logit(x[i]), evaluate::sigm(y[i]), evaluate::iphi(x[i])}, "guarded");
    expect_column({power[i], back[i]}, {evaluate::yjt(y[i], 0.5), evaluate::iyjt(y[i], 1.5)}, "power");
  }
  EXPECT_EQ(failure([] {
              evaluate::iphi(arma::vec{0.5, 2.0});
            }),
            "ERROR: 'iphi' inputs must be between 0 and 1.");
}

}  // namespace
}  // namespace tovik::tests::functions_test
