// Element-wise steps on a covariance matrix given the sums of squares, against densities on a grid: with few
// degrees of freedom the boundary of the positive definite matrices is near, where the normalising constants
// of the truncated proposals tell.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "kernel_samples.hpp"
#include "random/random.hpp"
#include "sample_tests.hpp"
#include "sem/scan/covariance_walk.hpp"

namespace tovik::tests::covariance_walk_kernel_test {
namespace {

using sem::estimator::tune_obj;
using sem::scan::covariance_walk;

constexpr unsigned most_draws = 1000;

tune_obj step(double sd) {
  return {sd, tune_obj::kind_type::parameter};
}

/// log target up to a constant, by its definition.
double log_density(const arma::mat& Sigma, double n, const arma::mat& S, int prior) {
  const double p = static_cast<double>(Sigma.n_rows);
  const double log_det = std::log(arma::det(Sigma));
  const arma::mat Omega = arma::inv(Sigma);
  double out = -0.5 * (n * log_det + arma::trace(Omega * S));
  if (prior == 1) out -= (p + 1.0) * log_det + 0.5 * arma::trace(Omega);
  if (prior == 3) out -= 0.5 * (p + 1.0) * log_det;
  return out;
}

/// The distribution function on [low, high] of a density that is known up to a factor, by the midpoint rule.
struct grid_cdf {
  double low, high;
  std::vector<double> cdf;

  grid_cdf(double from, double to, const std::function<double(double)>& log_f) : low(from), high(to) {
    constexpr int cells = 20000;
    std::vector<double> logs(cells);
    double top = -1e300;
    for (int i = 0; i < cells; ++i) {
      logs[static_cast<std::size_t>(i)] = log_f(low + (high - low) * (i + 0.5) / cells);
      top = std::max(top, logs[static_cast<std::size_t>(i)]);
    }
    cdf.assign(cells + 1, 0.0);
    for (std::size_t i = 0; i < logs.size(); ++i) cdf[i + 1] = cdf[i] + std::exp(logs[i] - top);
  }
  double operator()(double x) const {
    const double n = static_cast<double>(cdf.size() - 1);
    const double at = std::clamp((x - low) / (high - low), 0.0, 1.0) * n;
    const auto i = std::min(static_cast<std::size_t>(at), cdf.size() - 2);
    return (cdf[i] + (at - static_cast<double>(i)) * (cdf[i + 1] - cdf[i])) / cdf.back();
  }
};

const arma::mat S = {{5.0, 4.1, 1.0}, {4.1, 5.5, 0.5}, {1.0, 0.5, 3.0}};
const arma::mat start = {{1.0, 0.7, 0.2}, {0.7, 1.2, 0.1}, {0.2, 0.1, 0.8}};

TEST(CovarianceWalkKernel, ACovarianceUnderThreePriors) {
  for (int prior : {1, 2, 3}) {
    Random rng(11, 1U);
    covariance_walk walk;
    walk.set_target(5.0, S, prior, arma::ones(3));
    ASSERT_TRUE(walk.start(start));
    const auto within = walk.admissible(1, 0);
    arma::mat at = start;
    const grid_cdf cdf(within.lower, within.upper, [&](double x) {
      at(0, 1) = at(1, 0) = x;
      return log_density(at, 5.0, S, prior);
    });
    auto tune = step(0.7);
    const auto draws = sample(6000, [&] {
      for (int t = 0; t < 25; ++t) walk.draw_covariance(1, 0, tune, rng, most_draws);
      return walk.Sigma()(1, 0);
    });
    EXPECT_LT(kolmogorov(draws, cdf), 2.5) << "prior " << prior;
    EXPECT_NEAR(walk.log_target(), log_density(walk.Sigma(), 5.0, S, prior), 1e-9);
  }
}

TEST(CovarianceWalkKernel, AVarianceUnderThreePriors) {
  for (int prior : {1, 2, 3}) {
    Random rng(12, 1U);
    covariance_walk walk;
    walk.set_target(12.0, S, prior, arma::ones(3));
    ASSERT_TRUE(walk.start(start));
    arma::mat at = start;
    const double lower = start(0, 0) - 1.0 / arma::inv(start).eval()(0, 0);
    const grid_cdf cdf(std::log(1e-6), std::log(200.0), [&](double t) {
      at(0, 0) = lower + std::exp(t);
      return log_density(at, 12.0, S, prior) + t;
    });
    auto tune = step(0.8);
    const auto draws = sample(6000, [&] {
      for (int t = 0; t < 30; ++t) walk.draw_variance(0, tune, rng, most_draws);
      return std::log(walk.Sigma()(0, 0) - lower);
    });
    EXPECT_LT(kolmogorov(draws, cdf), 2.5) << "prior " << prior;
  }
}

/// The Jacobian: with q free covariances that go along, the density of v at the correlations that stay is
/// that of the matrix times v^(q / 2).
TEST(CovarianceWalkKernel, AVarianceWithItsCorrelationsKept) {
  for (arma::uword q : {0u, 1u, 2u}) {
    Random rng(13, 1U);
    covariance_walk walk;
    walk.set_target(8.0, S, 2, arma::ones(3));
    ASSERT_TRUE(walk.start(start));
    const grid_cdf cdf(std::log(1e-4), std::log(1e4), [&](double t) {
      arma::mat at = start;
      const double v = std::exp(t);
      at.row(0) *= std::sqrt(v);
      at.col(0) *= std::sqrt(v);
      return log_density(at, 8.0, S, 2) + (1.0 + 0.5 * static_cast<double>(q)) * t;
    });
    auto tune = step(1.0);
    const auto draws = sample(6000, [&] {
      for (int t = 0; t < 30; ++t) walk.draw_scale(0, q, tune, rng, most_draws);
      return std::log(walk.Sigma()(0, 0));
    });
    EXPECT_LT(kolmogorov(draws, cdf), 2.5) << q << " covariances";
    EXPECT_NEAR(walk.Sigma()(0, 1) / std::sqrt(walk.Sigma()(0, 0) * 1.2), 0.7 / std::sqrt(1.2), 1e-9);
  }
}

/// What the tests above would show if one of the two were missing.
TEST(CovarianceWalkKernel, NormalisersAndJacobianTell) {
  Random rng(14, 1U);
  covariance_walk walk;
  walk.set_target(5.0, S, 2, arma::ones(3));
  ASSERT_TRUE(walk.start(start));
  const auto within = walk.admissible(1, 0);
  arma::mat at = start;
  const auto target = [&](double x) {
    at(0, 1) = at(1, 0) = x;
    return log_density(at, 5.0, S, 2);
  };
  const grid_cdf cdf(within.lower, within.upper, target);
  double x = start(1, 0);
  const auto without = sample(6000, [&] {
    for (int t = 0; t < 25; ++t) {
      double c = 0.0;
      if (!covariance_walk::propose(within, x, 0.7, rng, most_draws, c)) continue;
      if (std::log(rng.runif()) <= target(c) - target(x)) x = c;
    }
    return x;
  });
  EXPECT_GT(kolmogorov(without, cdf), 4.0);

  auto tune = step(1.0);
  const grid_cdf with_two(std::log(1e-4), std::log(1e4), [&](double t) {
    arma::mat scaled = start;
    scaled.row(0) *= std::exp(0.5 * t);
    scaled.col(0) *= std::exp(0.5 * t);
    return log_density(scaled, 5.0, S, 2) + 2.0 * t;
  });
  walk.start(start);
  const auto none = sample(6000, [&] {
    for (int t = 0; t < 30; ++t) walk.draw_scale(0, 0, tune, rng, most_draws);
    return std::log(walk.Sigma()(0, 0));
  });
  EXPECT_GT(kolmogorov(none, with_two), 4.0);
}

TEST(CovarianceWalkKernel, ProposalsThatNeverFitCountAsRejected) {
  Random rng(15, 1U);
  covariance_walk walk;
  walk.set_target(5.0, S, 2, arma::ones(3));
  ASSERT_TRUE(walk.start(start));
  auto tune = step(1e9);
  walk.draw_covariance(1, 0, tune, rng, 3);
  EXPECT_EQ(tune.total, 1u);
  EXPECT_EQ(tune.accepted, 0u);
  EXPECT_EQ(walk.Sigma()(1, 0), start(1, 0));
  EXPECT_FALSE(walk.start({{1.0, 2.0}, {2.0, 1.0}}));
}

}  // namespace
}  // namespace tovik::tests::covariance_walk_kernel_test
