// The second draw of covariance matrices of random effects leaves their distribution as it is: the joint one
// under the proper prior; under all priors the posterior that draws given the effects have reached.

#include <gtest/gtest.h>

#include <cmath>

#include "chain_posterior.hpp"
#include "factor_world.hpp"
#include "invariance_frame.hpp"
#include "logistic_world.hpp"
#include "sample_tests.hpp"
#include "scan_world.hpp"
#include "sem/scan/covariance.hpp"
#include "sem/scan/effect_factor.hpp"
#include "sem/scan/random_effects.hpp"

namespace tovik::tests::effect_factor_invariance_test {
namespace {

using sem::scan::covariance_prior;

constexpr int replications = 20000;

struct state {
  arma::Mat<double> u, Sigma, iSigma;
};

std::vector<double> functions(const factor_world& world, const state& s) {
  arma::uword const q = s.Sigma.n_rows;
  std::vector<double> out = {s.u(0, 0), s.u(1, q - 1), std::log(arma::accu(arma::square(s.u))),
                             world.log_likelihood(s.u)};
  for (arma::uword j = 0; j < q; ++j) {
    out.push_back(std::log(s.Sigma(j, j)));
    out.push_back(std::log(s.iSigma(j, j)));
    out.push_back(s.u(2, j) * world.y(3));
    for (arma::uword i = 0; i < j; ++i)
      out.push_back(s.Sigma(i, j) / std::sqrt(s.Sigma(i, i) * s.Sigma(j, j)));
  }
  return out;
}

struct kernels {
  covariance_prior prior;
  sem::scan::random_effects_step effects;
  sem::scan::covariance_step covariance;
  sem::scan::effect_factor_step factor;

  void draw_effects(const factor_world& world, Random& rng, state& s) {
    effects.draw(world.A, world.t, 1.0, s.iSigma, nullptr, rng, s.u);
  }
  void draw_covariance(Random& rng, state& s) {
    covariance.draw(prior.code, s.u, rng, s.iSigma, s.Sigma, prior.units);
  }
  void draw_factor(const factor_world& world, Random& rng, state& s) {
    ASSERT_TRUE(factor.draw(world.A, world.t, 1.0, prior, rng, s.u, s.iSigma, s.Sigma));
  }
};

void draw_joint(factor_world& world, const arma::Col<double>& units, Random& rng, state& s) {
  arma::uword const q = world.Z.n_cols;
  s.iSigma = q == 1 ? arma::Mat<double>(1, 1, arma::fill::value(rng.rgamma(1.0, 2.0 / units(0))))
                    : rng.rwish(static_cast<int>(q) + 1, arma::diagmat(1.0 / units));
  s.Sigma = arma::inv_sympd(s.iSigma);
  s.u = world.draw_u(s.Sigma, rng);
  world.draw_y(s.u, rng);
}

void leaves_joint(factor_world world, const arma::Col<double>& units, std::uint32_t seed) {
  Random rng(seed, 1U);
  kernels k;
  k.prior = {1, &units};
  state s;
  kernel_leaves_joint(
      {replications, 10}, [&] { draw_joint(world, units, rng, s); }, [&] { return functions(world, s); },
      [&] { k.draw_factor(world, rng, s); });
}

TEST(EffectFactorInvariance, JointDistributionUnderTheProperPrior) {
  for (arma::uword q : {1, 2, 3}) {
    SCOPED_TRACE(q);
    const arma::Col<double> ones(q, arma::fill::ones);
    leaves_joint(factor_world(6, q, false), ones, 300 + static_cast<unsigned>(q));
    leaves_joint(factor_world(6, q, true), ones, 310 + static_cast<unsigned>(q));
  }
}

TEST(EffectFactorInvariance, JointDistributionInOtherUnits) {
  leaves_joint(factor_world(6, 2, false, 1e4, 1000.0), {2.0, 1e-6}, 320);
}

/// States of the posterior of one data set, 30 draws given the effects apart, and the same after five draws
/// of the factor with the effects drawn between them.
void leaves_posterior(factor_world world, int prior, std::uint32_t seed) {
  arma::uword const q = world.Z.n_cols;
  Random rng(seed, 1U);
  kernels k;
  k.prior = {prior};
  const arma::Mat<double> full = {{1.0, 0.3, -0.2}, {0.3, 0.6, 0.1}, {-0.2, 0.1, 0.4}};
  state s{{}, full.submat(0, 0, q - 1, q - 1), {}};
  s.iSigma = arma::inv(s.Sigma);
  s.u = world.draw_u(s.Sigma, rng);
  world.draw_y(s.u, rng);
  Samples before, after;
  for (int rep = 0; rep < 2 * replications / 4; ++rep) {
    for (int t = 0; t < 30; ++t) {
      k.draw_effects(world, rng, s);
      k.draw_covariance(rng, s);
    }
    if (rep % 2 == 0) {
      before.add(functions(world, s));
      continue;
    }
    state moved = s;
    for (int t = 0; t < 5; ++t) {
      k.draw_effects(world, rng, moved);
      k.draw_factor(world, rng, moved);
    }
    after.add(functions(world, moved));
  }
  expect_same_distribution(before, after);
}

TEST(EffectFactorInvariance, PosteriorUnderEachPrior) {
  for (arma::uword q : {1, 2, 3})
    for (int prior : {1, 2, 3}) {
      SCOPED_TRACE(testing::Message() << q << " effects, prior " << prior);
      leaves_posterior(factor_world(40, q, prior == 2), prior,
                       330 + 10 * static_cast<unsigned>(q) + static_cast<unsigned>(prior));
    }
}

const nesting twelve = {{9, 4, 12, 7}, {6, 11}, {8, 8}, {5, 10, 9, 7}};

template <class Model>
ChainPosterior posterior(const World& world, const sem::equation_setup& setup, bool second) {
  const Setting<bool> draws(sem::sampler_settings::redraw_factors, second);
  LoneEstimator estimator(350);
  Model model(&estimator, setup);
  arma::mat data = world.data;
  return ChainPosterior(
      [&] {
        model.draw(data);
        std::vector<double> out(model.betas().begin(), model.betas().end());
        for (unsigned L = 0; L < model.n_levels; ++L) {
          const arma::mat& S = model.Sigma[L];
          for (arma::uword j = 0; j < S.n_rows; ++j) {
            out.push_back(std::log(S(j, j)));
            for (arma::uword i = 0; i < j; ++i) out.push_back(S(i, j) / std::sqrt(S(i, i) * S(j, j)));
          }
        }
        return arma::rowvec(out);
      },
      50, 1500);
}

template <class Model>
void same_posterior(const World& world, const sem::equation_setup& setup) {
  expect_same_posterior(posterior<Model>(world, setup, false), posterior<Model>(world, setup, true), 0.0, 0.0,
                        0.6);
}

TEST(EffectFactorInvariance, WholePosteriorOfTwoLevelsWithAndWithoutIt) {
  World world(2, twelve, 51);
  simulate_outcome(world, 0, 1.0, 51);
  sem::equation_setup setup = world.setup(0, {0, 2});
  setup.z[0] = {0, 2};
  setup.icept = {1};
  for (int prior : {1, 2}) {
    SCOPED_TRACE(prior);
    setup.prior = {prior, prior};
    same_posterior<sem::Normal>(world, setup);
  }
}

TEST(EffectFactorInvariance, WholePosteriorOfThreeLevelsWithAndWithoutIt) {
  World world(3, {{5, 4, 6}, {6, 7}, {8, 8}, {5, 5, 4}, {7, 3, 6}, {4, 4}, {6, 5, 5}, {5, 8}}, 52);
  simulate_outcome(world, 0, 1.0, 52);
  sem::equation_setup setup = world.setup(0, {0, 2});
  setup.z = {{0, 2}, {0}};
  setup.icept = {1, 1};
  setup.prior = {1, 1};
  same_posterior<sem::Normal>(world, setup);
}

TEST(EffectFactorInvariance, WholePosteriorOfALogisticOutcomeWithAndWithoutIt) {
  World world(2, twelve, 53);
  simulate_binary(world, 0, 0.8, 0.3, 53);
  sem::equation_setup setup = logistic(world.setup(0, {0, 2}));
  setup.z[0] = {0};
  setup.icept = {1};
  setup.prior = {1, 1};
  same_posterior<sem::Logistic>(world, setup);
}

}  // namespace
}  // namespace tovik::tests::effect_factor_invariance_test
