// The scan of a transformed outcome with a variance model leaves the joint distribution of lambda, parameters
// and data as it is, with the step that takes the variance model along, and with its twin that moves lambda
// alone. All priors but those of lambda and of covariance matrices are normal, or values are known.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "evaluate/functions.hpp"
#include "kernel_samples.hpp"
#include "sample_tests.hpp"
#include "scan_world.hpp"
#include "sem/outcomes/scaled.hpp"
#include "sem/outcomes/yjt.hpp"
#include "sem/wiring/settings.hpp"

namespace tovik::tests::yjt_scaled_invariance_test {
namespace {

using sem::equation_setup;
using sem::LogScale;
using model = sem::yjt<sem::NormalScale>;
namespace scan = sem::scan;

constexpr int replications = 12000;
constexpr double log_precision = 2.5;  ///< of coefficients of the log variance

/// Clusters of one row among them.
const nesting small = {{5, 1, 7}, {3, 8}, {4, 2, 1, 1}};

struct joint {
  World world;
  equation_setup setup, v;
  double lower = 0.05, upper = 1.95;  ///< of lambda
  double shift = 2.5;                 ///< of all transformed values: their unit then grows with lambda
  double step = 0.4;                  ///< of the random walk of lambda, in units of its first proposal
  double bound = -6.0;                ///< of log variances
  double log_mean = 0.3;              ///< of the intercept of the log variance
  int applications = 5;
  bool integrates = true;
  bool alone = false;  ///< the step of lambda, without the scan that would mend what it leaves behind

  joint(World of, equation_setup equation) : world(std::move(of)), setup(std::move(equation)) {
    v = world.setup(0, {0, 3});
  }

  /// Parameters, effects and outcome from their joint distribution, into the models and the data.
  void draw(model& m, LogScale& of_v, Random& rng) {
    const double lambda = lower + (upper - lower) * rng.runif();
    for (arma::uword j = 0; j < of_v.betas_.n_elem; ++j)
      of_v.betas_(j) = v.coefficients.mean(j) + rng.rnorm() / std::sqrt(log_precision);
    if (setup.fixed.is_empty())
      for (double& b : m.betas_) b = rng.rnorm();
    for (unsigned L = 0; L < setup.n_levels; ++L) {
      const auto q = static_cast<int>(m.u[L].n_cols);
      if (q == 0) continue;
      m.iSigma[L] = q == 1 ? arma::Mat<double>{rng.rgamma(1.0, 2.0)}
                           : rng.rwish(q + 1, arma::eye(m.u[L].n_cols, m.u[L].n_cols));
      m.Sigma[L] = arma::inv_sympd(m.iSigma[L]);
      m.u[L].fill(1.0);
    }
    m.addStarts(arma::join_cols(m.params().head(m.n_params() - 1), arma::Col<double>{lambda}));
    for (unsigned L = 0; L < setup.n_levels; ++L)
      if (m.u[L].n_cols > 0)
        m.u[L] = rng.randn(static_cast<int>(m.u[L].n_rows), static_cast<int>(m.u[L].n_cols)) *
                 arma::chol(m.Sigma[L]);
    const arma::Mat<double> eta = m.compute_predicted(world.data);
    const arma::Col<double> variances = of_v.variances(world.data);
    for (arma::uword i = 0; i < eta.n_elem; ++i)
      world.data(i, 1) = evaluate::iyjt(eta(i) + std::sqrt(variances(i)) * rng.rnorm(), lambda);
  }

  std::vector<double> functions(const model& m, const LogScale& of_v) const {
    const double lambda = m.lambda(), middle = 0.5 * (lower + upper);
    const arma::Col<double> variances = of_v.variances(world.data);
    const arma::Mat<double> e = m.compute_residual(world.data);
    const double y0 = world.data(0, 1), y5 = world.data(5, 1);
    std::vector<double> out = {lambda,
                               y0,
                               y5,
                               lambda * y0,
                               (lambda - middle) * e(0) / std::sqrt(variances(0)),
                               e(5) / std::sqrt(variances(5)),
                               std::log(arma::accu(arma::square(e) / variances)),
                               arma::accu(e / arma::sqrt(variances)),
                               of_v.betas()(0),
                               of_v.betas()(1),
                               (lambda - middle) * of_v.betas()(0),
                               (lambda - middle) * of_v.betas()(1),
                               of_v.betas()(1) * e(0)};
    if (setup.fixed.is_empty())
      out.insert(out.end(), {m.betas_(0), m.betas_(1), lambda * m.betas_(0), m.betas_(0) * y0});
    for (unsigned L = 0; L < setup.n_levels; ++L) {
      arma::uword const q = m.u[L].n_cols;
      if (q == 0) continue;
      const double scale = std::sqrt(m.Sigma[L](0, 0));
      out.insert(out.end(),
                 {std::log(m.Sigma[L](0, 0)), (lambda - middle) * std::log(scale),
                  std::log(arma::det(m.Sigma[L])), m.u[L](0, 0), m.u[L](1, q - 1) / scale,
                  m.u[L](0, 0) * y0 / scale, std::log(arma::accu(m.u[L] % (m.u[L] * m.iSigma[L])))});
    }
    return out;
  }

  void expect_invariant(std::uint32_t seed) {
    const Setting<bool> how(sem::sampler_settings::integrate_lambda, integrates);
    const Setting<double> bounded(sem::sampler_settings::logvar_trunc_point, bound);
    setup.prior = {1, 1};
    if (setup.coefficients.is_flat()) {
      setup.fixed = arma::regspace<arma::Col<arma::uword>>(0, setup.x.n_elem - 1);
      setup.fixed_values = arma::linspace(-0.5, 0.5, setup.x.n_elem);
      setup.fixed_values(0) += shift;
    }
    setup.response_moves = true;
    v.coefficients = scan::coefficient_prior::of_each({log_precision, log_precision}, {log_mean, -0.2});
    LoneEstimator estimator(seed);
    Random rng(seed, 2U);
    Samples fresh, after;
    for (int rep = 0; rep < replications; ++rep) {
      LogScale of_v(&estimator, v);
      model m(&estimator, data::type::continuous, setup, 1.0, true);
      m.addLogScale(&of_v);
      m.take_lambda_prior(std::make_shared<sem::Parameter>(&estimator, sem::estimator::cluster(),
                                                           sem::distribution::uniform, lower, upper),
                          {});
      draw(m, of_v, rng);
      fresh.add(functions(m, of_v));
      draw(m, of_v, rng);
      std::vector<sem::estimator::tune_obj*> proposals;
      m.addProposals(proposals);
      proposals.front()->value = step;
      for (int t = 0; t < applications; ++t) alone ? m.draw_lambda(world.data) : m.draw(world.data);
      after.add(functions(m, of_v));
    }
    expect_same_distribution(fresh, after);
  }
};

joint one_level(std::uint32_t seed) {
  World world(1, {{20}}, seed);
  equation_setup setup = world.setup(0, {0, 2});
  setup.missing_units = {0, 7, 8};
  return {std::move(world), std::move(setup)};
}

TEST(YeoJohnsonWithAVarianceModelInvariance, SingleLevelWithMissingValues) {
  for (const bool integrates : {true, false}) {
    joint test = one_level(21);
    test.integrates = integrates;
    test.expect_invariant(400);
    test.alone = true;
    test.expect_invariant(401);
  }
}

// About half of the log variances are at the bound, which the slope of the transformation moves them across.
TEST(YeoJohnsonWithAVarianceModelInvariance, VariancesAtTheirBound) {
  joint test = one_level(22);
  test.bound = 0.3;
  test.alone = true;
  test.expect_invariant(410);
}

TEST(YeoJohnsonWithAVarianceModelInvariance, CoefficientsWithAPrior) {
  joint test = one_level(23);
  test.setup.coefficients = scan::coefficient_prior::ridge(1.0);
  test.expect_invariant(420);
}

TEST(YeoJohnsonWithAVarianceModelInvariance, ThreeEffectsAndClustersOfOneRow) {
  World world(2, small, 24);
  equation_setup setup = world.setup(0, {0, 2});
  setup.z[0] = {0, 3, 4};
  setup.icept = {1};
  setup.missing_units = {0, 5, 6};
  joint test(std::move(world), std::move(setup));
  test.expect_invariant(430);
  test.alone = true;
  test.expect_invariant(431);
}

// Clusters of one or two rows, which tell little of their effects, and room for lambda.
TEST(YeoJohnsonWithAVarianceModelInvariance, EffectsOfPairsOfRows) {
  for (const bool alone : {true, false}) {
    World world(2, {{2, 1, 2, 2, 1, 2, 2, 1, 2, 2}}, 26);
    equation_setup setup = world.setup(0, {0});
    setup.z[0] = {0};
    setup.icept = {1};
    joint test(std::move(world), std::move(setup));
    test.lower = 0.3;
    test.upper = 1.7;
    test.log_mean = 3.0;
    test.alone = alone;
    test.applications = alone ? 20 : 5;
    test.expect_invariant(450);
  }
}

// Values far from 0, where lambda and the unit of the transformed values are hard to tell apart; a column of
// the variance model that is far from 0 too.
TEST(YeoJohnsonWithAVarianceModelInvariance, ValuesFarFromZero) {
  joint test = one_level(25);
  test.world.data.col(3) *= 0.5;
  test.world.data.col(3) += 1.5;
  test.shift = 40.0;
  test.step = 0.05;
  test.lower = 0.4;
  test.expect_invariant(440);
}

}  // namespace
}  // namespace tovik::tests::yjt_scaled_invariance_test
