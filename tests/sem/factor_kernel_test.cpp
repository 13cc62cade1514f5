// A chain with one factor draws from the posterior that has its scores and the intercepts integrated out:
//
//   log p(l, psi, theta | x)  =  -(n - 1) / 2 log|V| - tr(inv(V) S) / 2 + log priors,   V = psi l l' +
//   diag(theta),
//
// S the centred cross-products of the indicators; a random walk over it is the reference.

#include <gtest/gtest.h>

#include <cmath>

#include "kernel_samples.hpp"
#include "sample_tests.hpp"
#include "sem/small_run.hpp"
#include "sem/wiring/settings.hpp"

namespace tovik::tests::factor_kernel_test {
namespace {

constexpr arma::uword n = 60;

/// Three indicators in units of `unit`, far from 0.
arma::mat indicators(double unit) {
  Random rng(23, 1);
  arma::mat x(n, 3);
  for (arma::uword i = 0; i < n; ++i) {
    const double f = rng.rnorm();
    x.row(i) = arma::rowvec{f + 0.6 * rng.rnorm(), 0.9 * f + 0.7 * rng.rnorm(), 1.2 * f + 0.8 * rng.rnorm()};
  }
  return unit * (x + 10.0);
}

/// Loadings of the second and the third indicator; logs of psi and of theta.
using state = arma::vec::fixed<6>;

/// Inverse gamma (1, 1/2) for each variance, as a density of its logarithm.
double log_posterior(const state& at, const arma::mat& S) {
  const arma::vec l{1.0, at(0), at(1)};
  arma::mat V = std::exp(at(2)) * l * l.t();
  double prior = 0.0;
  for (arma::uword k = 2; k < 6; ++k) {
    prior -= at(k) + 0.5 * std::exp(-at(k));
    if (k > 2) V(k - 3, k - 3) += std::exp(at(k));
  }
  return prior - 0.5 * (n - 1.0) * std::log(arma::det(V)) - 0.5 * arma::trace(arma::solve(V, S));
}

arma::mat reference(const arma::mat& x) {
  const arma::mat centred = x.each_row() - arma::mean(x);
  const arma::mat S = centred.t() * centred;
  Random rng(24, 2);
  state at;
  at.zeros();
  at.head(2).ones();
  double density = log_posterior(at, S);
  constexpr arma::uword draws = 100000, burn = 5000;
  arma::mat out(6, draws);
  for (arma::uword t = 0; t < draws + burn; ++t) {
    state next = at;
    for (double& v : next) v += 0.12 * rng.rnorm();
    const double candidate = log_posterior(next, S);
    if (std::log(rng.runif()) <= candidate - density) {
      at = next;
      density = candidate;
    }
    if (t >= burn) out.col(t - burn) = at;
  }
  return out;
}

arma::mat chain_draws(const arma::mat& x) {
  small_run run({"x1", "x2", "x3"}, x, {}, {"f -> x1 x2 x3"}, {}, {}, {"f"});
  prepare(run);
  const auto chain = run.chain(Random(25, 1), {1, 1});
  for (int t = 0; t < 10; ++t) {
    draws(*chain, 0, 100);
    chain->tune();
  }
  const arma::mat all = draws(*chain, 1000, 40000);
  // Per model residual variance, intercept, loading; std. coefficient; shares.
  return arma::join_cols(
      all.row(12), all.row(18), arma::log(all.row(0)),
      arma::join_cols(arma::log(all.row(4)), arma::log(all.row(10)), arma::log(all.row(16))));
}

void expect_same(const arma::mat& found, const arma::mat& expected) {
  for (arma::uword k = 0; k < expected.n_rows; ++k) {
    for (const bool squares : {false, true}) {
      const double center = arma::mean(expected.row(k));
      arma::rowvec a = found.row(k) - center, b = expected.row(k) - center;
      if (squares) {
        a = arma::square(a);
        b = arma::square(b);
      }
      const double error = std::hypot(mean_error(a), mean_error(b));
      EXPECT_NEAR(arma::mean(a), arma::mean(b), 4.5 * error)
          << "quantity " << k << (squares ? " squared" : "");
      // An error that is no error would let anything pass.
      EXPECT_LT(error, 0.2 * arma::stddev(b)) << k;
    }
  }
}

TEST(FactorPosterior, IsThatWithTheScoresIntegratedOut) {
  const arma::mat x = indicators(1.0);
  expect_same(chain_draws(x), reference(x));
}

TEST(FactorPosterior, IsThatWithTheScoresIntegratedOutBySliceSteps) {
  const Setting<bool> slice(sem::sampler_settings::ess_sampler, true);
  const arma::mat x = indicators(1.0);
  expect_same(chain_draws(x), reference(x));
}

/// A hundred scans with priors in the units of the data: residual variances, intercepts and loadings of f and
/// its indicators.
arma::mat scans(double unit, const sem::priors& prior) {
  small_run run({"x1", "x2", "x3"}, indicators(unit), {}, {"f -> x1 x2 x3"}, {}, {}, {"f"});
  prepare(run);
  sem::Mcmc chain(run.vars, run.data, Random(26, 1), 1, 0.01, nullptr, prior.scaled);
  chain.addOutcomes(run.vars, run.models, prior);
  return draws(chain, 0, 100).rows(arma::uvec{0, 4, 5, 10, 11, 12, 16, 17, 18});
}

TEST(FactorPosterior, MovesWithTheUnits) {
  for (const sem::priors& prior : {sem::priors{1, 1, true}, sem::priors{2, 2}}) {
    for (double unit : {1e-6, 1e6}) {
      arma::mat expected = scans(1.0, prior);
      for (arma::uword k : {0, 1, 3, 6}) expected.row(k) *= unit * unit;
      for (arma::uword k : {2, 4, 7}) expected.row(k) *= unit;
      EXPECT_LT(arma::abs(scans(unit, prior) / expected - 1.0).max(), 1e-6) << unit;
    }
  }
}

}  // namespace
}  // namespace tovik::tests::factor_kernel_test
