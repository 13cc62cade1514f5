// The second draw of covariance matrices of random effects against its definition.

#include "sem/scan/effect_factor.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "factor_world.hpp"

namespace tovik::tests::effect_factor_test {
namespace {

using sem::scan::covariance_prior;
using sem::scan::effect_factor_step;

const arma::Mat<double> full = {{1.0, 0.3, -0.2}, {0.3, 0.6, 0.1}, {-0.2, 0.1, 0.4}};

/// The largest difference of two matrices in standard deviations of the first.
double distance(const arma::Mat<double>& a, const arma::Mat<double>& b) {
  const arma::Col<double> sd = arma::sqrt(a.diag());
  return arma::abs((a - b) / (sd * sd.t())).max();
}

/// 100 draws by the step and by its definition, side by side. `scale`: standard deviations of the effects.
void compare(factor_world world, const arma::Col<double>& scale, covariance_prior prior, double tolerance) {
  arma::uword const q = world.Z.n_cols;
  Random rng(41, 1U), fast_rng(42, 1U), naive_rng(42, 1U);
  arma::Mat<double> Sigma = arma::diagmat(scale) * full.submat(0, 0, q - 1, q - 1) * arma::diagmat(scale);
  arma::Mat<double> u = world.draw_u(Sigma, rng);
  world.draw_y(u, rng);
  arma::Mat<double> naive_u = u, naive_Sigma = Sigma;
  effect_factor_step step;
  for (int t = 0; t < 100; ++t) {
    arma::Mat<double> iSigma = arma::inv(Sigma);
    ASSERT_TRUE(step.draw(world.A, world.t, 1.0, prior, fast_rng, u, iSigma, Sigma));
    draw_factor_naively(world, prior, naive_rng, naive_u, naive_Sigma);
    ASSERT_LT(distance(Sigma, naive_Sigma), tolerance) << "draw " << t;
    ASSERT_LT(distance(iSigma, arma::inv(naive_Sigma)), 100 * tolerance) << "draw " << t;
    for (arma::uword j = 0; j < q; ++j)
      ASSERT_LT(arma::abs(u.col(j) - naive_u.col(j)).max(), tolerance * 10 * std::sqrt(Sigma(j, j)));
    // From the same state: differences do not add up.
    naive_u = u;
    naive_Sigma = Sigma;
  }
  EXPECT_EQ(fast_rng.output(), naive_rng.output()) << "random numbers consumed";
}

TEST(EffectFactor, DrawsWhatItsDefinitionDraws) {
  for (arma::uword q : {1, 2, 3})
    for (int prior : {1, 2, 3}) {
      SCOPED_TRACE(testing::Message() << q << " effects, prior " << prior);
      compare(factor_world(20, q, false), arma::Col<double>(q, arma::fill::ones), {prior}, 1e-8);
      compare(factor_world(20, q, true), arma::Col<double>(q, arma::fill::ones), {prior}, 1e-8);
    }
}

TEST(EffectFactor, TakesTheUnitsOfTheFirstPrior) {
  const arma::Col<double> units = {3.0, 0.2, 40.0};
  compare(factor_world(20, 3, false), arma::Col<double>(3, arma::fill::ones), {1, &units}, 1e-8);
}

TEST(EffectFactor, ServesCovariatesInOtherUnitsFarFromZero) {
  for (int prior : {1, 2, 3}) {
    SCOPED_TRACE(prior);
    // The effect at zero, ten standard deviations away, must be known for the third prior to have it moved.
    const arma::uword clusters = prior == 3 ? 160 : 20;
    compare(factor_world(clusters, 2, false, 1e4, 1000.0), {1.0, 1e-3}, {prior}, 1e-5);
    compare(factor_world(clusters, 3, false, 100.0, 10.0), {1.0, 0.1, 0.1}, {prior}, 1e-5);
  }
}

TEST(EffectFactor, IsTheSameDrawWhereverTheCovariatesAreCentred) {
  factor_world world(20, 2, false);
  Random rng(47, 1U), here(48, 1U), there(48, 1U);
  arma::Mat<double> Sigma = full.submat(0, 0, 1, 1), iSigma = arma::inv(Sigma);
  arma::Mat<double> u = world.draw_u(Sigma, rng);
  world.draw_y(u, rng);
  factor_world shifted = world;
  shifted.Z.col(1) += 7.0;
  shifted.sum_designs();
  shifted.sum_outcomes();
  // Effects where the second covariate is 7 less.
  const arma::Mat<double> C = {{1.0, -7.0}, {0.0, 1.0}};
  arma::Mat<double> shifted_u = u * C.t(), shifted_Sigma = C * Sigma * C.t();
  arma::Mat<double> shifted_iSigma = arma::inv(shifted_Sigma);
  effect_factor_step step;
  ASSERT_TRUE(step.draw(world.A, world.t, 1.0, {2}, here, u, iSigma, Sigma));
  ASSERT_TRUE(step.draw(shifted.A, shifted.t, 1.0, {2}, there, shifted_u, shifted_iSigma, shifted_Sigma));
  EXPECT_LT(arma::abs(C * Sigma * C.t() - shifted_Sigma).max(), 1e-8);
  EXPECT_LT(arma::abs(u * C.t() - shifted_u).max(), 1e-8);
}

TEST(EffectFactor, KeepsTheStandardisedEffects) {
  factor_world world(20, 2, false);
  Random rng(43, 1U);
  arma::Mat<double> Sigma = full.submat(0, 0, 1, 1), iSigma = arma::inv(Sigma);
  arma::Mat<double> u = world.draw_u(Sigma, rng);
  world.draw_y(u, rng);
  const arma::Mat<double> Tt = world.orthonormal().t();
  const auto standardised = [&] {
    return arma::Mat<double>(
        arma::solve(arma::chol(arma::symmatu(Tt * Sigma * Tt.t()), "lower"), Tt * u.t()));
  };
  const arma::Mat<double> before = standardised();
  effect_factor_step step;
  ASSERT_TRUE(step.draw(world.A, world.t, 1.0, {2}, rng, u, iSigma, Sigma));
  EXPECT_GT(arma::abs(Sigma - full.submat(0, 0, 1, 1)).max(), 1e-3);
  EXPECT_LT(arma::abs(standardised() - before).max(), 1e-11);
}

TEST(EffectFactor, LeavesAStateAloneWhoseCovariatesAreDependent) {
  factor_world world(20, 2, false);
  world.Z.col(1).fill(3.0);
  world.sum_designs();
  Random rng(44, 1U), untouched(44, 1U);
  arma::Mat<double> Sigma = full.submat(0, 0, 1, 1), iSigma = arma::inv(Sigma), u(20, 2, arma::fill::ones);
  effect_factor_step step;
  EXPECT_FALSE(step.draw(world.A, world.t, 1.0, {2}, rng, u, iSigma, Sigma));
  EXPECT_EQ(arma::abs(Sigma - full.submat(0, 0, 1, 1)).max(), 0.0);
  EXPECT_EQ(rng.output(), untouched.output());
}

TEST(EffectFactor, LeavesAVarianceAloneThatIsAsGoodAsZero) {
  factor_world world(20, 1, false);
  Random rng(45, 1U), untouched(45, 1U);
  arma::Mat<double> Sigma(1, 1), iSigma(1, 1), u(20, 1, arma::fill::zeros);
  Sigma(0, 0) = 1e-20;
  iSigma(0, 0) = 1e20;
  effect_factor_step step;
  EXPECT_FALSE(step.draw(world.A, world.t, 1.0, {2}, rng, u, iSigma, Sigma));
  EXPECT_EQ(Sigma(0, 0), 1e-20);
  EXPECT_EQ(rng.output(), untouched.output());
}

// Data without any variance between clusters: nothing but the bound keeps the third prior from its pole.
TEST(EffectFactor, StaysAwayFromThePoleOfTheThirdPrior) {
  factor_world world(20, 1, false);
  Random rng(46, 1U);
  arma::Mat<double> Sigma(1, 1, arma::fill::ones), iSigma = Sigma, u = rng.randn(20, 1);
  const double information = arma::accu(world.A);
  effect_factor_step step;
  double smallest = std::numeric_limits<double>::infinity();
  for (int t = 0; t < 2000; ++t) {
    ASSERT_TRUE(step.draw(world.A, world.t, 1.0, {3}, rng, u, iSigma, Sigma));
    smallest = std::min(smallest, Sigma(0, 0) * information);
  }
  EXPECT_GT(smallest, 9.0);
  EXPECT_LT(smallest, 9.5);
}

}  // namespace
}  // namespace tovik::tests::effect_factor_test
