// The scan of a transformed outcome with a variance model leaves the joint distribution of lambda, parameters
// and data as it is, with the step that takes the variance model along, and with its twin that moves lambda
// alone. All priors but those of lambda and of covariance matrices are normal, or values are known.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "invariance_frame.hpp"
#include "sample_tests.hpp"
#include "sem/outcomes/scaled.hpp"
#include "sem/wiring/settings.hpp"
#include "yjt_world.hpp"

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
    draw_state(m, !setup.fixed.is_empty(), lambda, rng);
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
    add_state_functions(m, !setup.fixed.is_empty(), lambda, lambda - middle, y0, out);
    return out;
  }

  void expect_invariant(std::uint32_t seed) {
    const Setting<bool> how(sem::sampler_settings::integrate_lambda, integrates);
    const Setting<double> bounded(sem::sampler_settings::logvar_trunc_point, bound);
    setup.prior = {1, 1};
    if (setup.coefficients.is_flat()) {
      hold_coefficients(setup);
      setup.fixed_values(0) += shift;
    }
    setup.response_moves = true;
    v.coefficients = scan::coefficient_prior::of_each({log_precision, log_precision}, {log_mean, -0.2});
    LoneEstimator estimator(seed);
    Random rng(seed, 2U);
    std::unique_ptr<LogScale> of_v;
    std::unique_ptr<model> m;
    const auto make = [&] {
      of_v = std::make_unique<LogScale>(&estimator, v);
      m = std::make_unique<model>(&estimator, data::type::continuous, setup, 1.0, true);
      m->addLogScale(of_v.get());
      m->take_lambda_prior(std::make_shared<sem::Parameter>(&estimator, sem::estimator::cluster(),
                                                            sem::distribution::uniform, lower, upper),
                           {});
    };
    kernel_leaves_joint(
        {.replications = replications,
         .applications = applications,
         .begin = make,
         .before = [&] { set_first_step(*m, step); }},
        [&] { draw(*m, *of_v, rng); }, [&] { return functions(*m, *of_v); },
        [&] { alone ? m->draw_lambda(world.data) : m->draw(world.data); });
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
