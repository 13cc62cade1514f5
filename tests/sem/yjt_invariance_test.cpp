// The scan of a transformed outcome leaves the joint distribution of lambda, parameters and data as it is,
// with the step that integrates coefficients, effects' unit and residual variance out, and with its twin that
// moves lambda alone.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <utility>

#include "invariance_frame.hpp"
#include "sample_tests.hpp"
#include "sem/wiring/settings.hpp"
#include "yjt_world.hpp"

namespace tovik::tests::yjt_invariance_test {
namespace {

using sem::equation_setup;
using model = sem::yjt<sem::Normal>;
namespace scan = sem::scan;

constexpr int replications = 12000;
constexpr int applications = 5;

/// Clusters of one row among them.
const nesting small = {{5, 1, 7}, {3, 8}, {4, 2, 1, 1}};

struct joint {
  World world;
  equation_setup setup;
  double lower, upper;  ///< of lambda
  double shift = 2.5;   ///< of all transformed values: their unit then grows with lambda
  double step = 0.4;    ///< of the random walk of lambda, in units of its first proposal
  bool known = false;   ///< the residual variance is the setup's
  bool integrates = true;
  bool alone = false;  ///< the step of lambda, without the scan that would mend what it leaves behind

  /// Parameters, effects and outcome from their joint distribution, into the model and the data.
  void draw(model& m, Random& rng) {
    const double lambda = lower + (upper - lower) * rng.runif();
    if (!known) m.sigma2 = 1.0 / rng.rgamma(1.0, 2.0);
    draw_state(m, !setup.fixed.is_empty(), lambda, rng);
    const arma::Mat<double> eta = m.compute_predicted(world.data);
    arma::Col<double> y(eta.n_elem);
    for (arma::uword i = 0; i < y.n_elem; ++i)
      y(i) = evaluate::iyjt(eta(i) + std::sqrt(m.sigma2) * rng.rnorm(), lambda);
    world.write(setup.level, 1, y);
  }

  std::vector<double> functions(const model& m) const {
    const auto& rows = *setup.cluster.own_rows[0];
    const double lambda = m.lambda(), middle = 0.5 * (lower + upper), sd = std::sqrt(m.sigma2);
    const arma::Mat<double> e = m.compute_residual(world.data);
    const double y0 = world.data(rows(0), 1), y5 = world.data(rows(5), 1);
    std::vector<double> out = {lambda,
                               y0,
                               y5,
                               lambda * y0,
                               (lambda - middle) * e(0) / sd,
                               std::log(arma::accu(arma::square(e)) / m.sigma2),
                               e(5) / sd,
                               arma::accu(e) / sd};
    if (!known) out.insert(out.end(), {std::log(m.sigma2), (lambda - middle) * std::log(m.sigma2)});
    add_state_functions(m, !setup.fixed.is_empty(), lambda, lambda - middle, y0, out);
    return out;
  }

  void expect_invariant(std::uint32_t seed) {
    const Setting<bool> how(sem::sampler_settings::integrate_lambda, integrates);
    setup.prior = {1, 1};
    if (setup.coefficients.is_flat()) {
      hold_coefficients(setup);
      setup.fixed_values(0) += shift;
    }
    if (known) setup.estimate_resid = false;
    LoneEstimator estimator(seed);
    Random rng(seed, 2U);
    decltype(transformed_normal(estimator, setup, lower, upper)) m;
    kernel_leaves_joint(
        {.replications = replications,
         .applications = applications,
         .begin = [&] { m = transformed_normal(estimator, setup, lower, upper); },
         .before = [&] { set_first_step(*m, step); }},
        [&] { draw(*m, rng); }, [&] { return functions(*m); },
        [&] { alone ? m->draw_lambda(world.data) : m->draw(world.data); });
  }
};

joint single_level(std::uint32_t seed) {
  World world(1, {{20}}, seed);
  const equation_setup setup = world.setup(0, {0, 2});
  joint out{std::move(world), setup, 0.05, 1.95};
  out.setup.missing_units = {0, 7, 8};
  return out;
}

TEST(YeoJohnsonInvariance, SingleLevelWithMissingValues) {
  for (const bool integrates : {true, false}) {
    joint test = single_level(1);
    test.integrates = integrates;
    test.expect_invariant(300);
    test.alone = true;
    test.expect_invariant(301);
  }
}

TEST(YeoJohnsonInvariance, CoefficientsWithAPrior) {
  for (const bool integrates : {true, false}) {
    joint test = single_level(2);
    test.setup.coefficients = scan::coefficient_prior::ridge(1.0);
    test.integrates = integrates;
    test.expect_invariant(310);
  }
}

TEST(YeoJohnsonInvariance, ThreeEffectsAndClustersOfOneRow) {
  for (const bool integrates : {true, false}) {
    World world(2, small, 3);
    equation_setup setup = world.setup(0, {0, 2});
    setup.z[0] = {0, 3, 4};
    setup.icept = {1};
    setup.missing_units = {0, 5, 6};
    joint test{std::move(world), setup, 0.05, 1.95};
    test.integrates = integrates;
    test.expect_invariant(320);
    test.alone = true;
    test.expect_invariant(321);
  }
}

// Where the data tell little of the effects, whose unit must move along with that of their variance, and
// where they are hard to tell from the residuals, of which the variance is drawn with lambda.
TEST(YeoJohnsonInvariance, EffectsOfPairsOfRows) {
  for (const auto& [known, alone] : {std::pair{true, false}, {false, false}, {true, true}, {false, true}}) {
    World world(2, {{2, 1, 2, 2, 1, 2, 2, 1, 2, 2}}, 8);
    equation_setup setup = world.setup(0, {0});
    setup.z[0] = {0};
    setup.icept = {1};
    setup.resid_value = 4.0;
    joint test{std::move(world), setup, 0.3, 1.7};
    test.known = known;
    test.alone = alone;
    test.shift = 8.0;
    test.step = 0.15;
    test.expect_invariant(370);
  }
}

TEST(YeoJohnsonInvariance, ThreeLevels) {
  World world(3, small, 4);
  equation_setup setup = world.setup(0, {0, 2});
  setup.z = {{0}, {0}};
  setup.icept = {1, 1};
  setup.missing_units = {5, 9};
  joint test{std::move(world), setup, 0.05, 1.95};
  test.expect_invariant(330);
}

TEST(YeoJohnsonInvariance, OutcomeOfLevelTwo) {
  World world(3, small, 5);
  equation_setup setup = world.setup(1, {0, 6});
  setup.z = {{0}};
  setup.icept = {1};
  setup.missing_units = {0, 5};
  joint test{std::move(world), setup, 0.05, 1.95};
  test.expect_invariant(340);
}

// Values far from 0, where lambda and the unit of the transformed values are hard to tell apart.
TEST(YeoJohnsonInvariance, ValuesFarFromZero) {
  for (const bool integrates : {true, false}) {
    joint test = single_level(6);
    test.shift = 40.0;
    test.step = integrates ? 0.3 : 0.03;
    test.lower = 0.4;
    test.integrates = integrates;
    test.expect_invariant(350);
  }
}

// Beyond 2 and below 0 the transformed values have a bound, here far out in the tail.
TEST(YeoJohnsonInvariance, ExponentsAboveTwoAndBelowZero) {
  for (const bool integrates : {true, false}) {
    joint test = single_level(7);
    test.known = true;
    test.setup.resid_value = 0.3;
    test.integrates = integrates;
    test.shift = 8.0;
    test.lower = 2.2;
    test.upper = 3.5;
    test.expect_invariant(360);
    test.shift = -6.0;
    test.lower = -1.5;
    test.upper = -0.3;
    test.expect_invariant(361);
  }
}

}  // namespace
}  // namespace tovik::tests::yjt_invariance_test
