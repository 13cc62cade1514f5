// The own level of an ordinal variable: thresholds, latent scores and coefficients against posteriors found
// by integration over a grid, and against the joint distribution.

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <vector>

#include "component_world.hpp"
#include "invariance_frame.hpp"
#include "sem/predictors/ord_component.hpp"
#include "sem/wiring/settings.hpp"
#include "support/error.hpp"
#include "threshold_posterior.hpp"

namespace tovik::tests::component_ordinal_test {
namespace {

using sem::OrdComponent;

bool in_category(const OrdComponent& c, arma::uword i) {
  return c.categorize(c.score.row(i))[0] == c.categories()[i];
}

TEST(OrdComponent, ScoresStartAndStayInTheirCategories) {
  ComponentWorld w(14, 2, 1, 60);
  OrdComponent c(w.setup(1), categories_of_14, 3, {});
  arma::mat const mean(14, 1, arma::fill::value(0.4));
  c.startScores(mean);
  for (int scan = 0; scan < 500; ++scan) {
    for (arma::uword i = 0; i < 14; ++i) ASSERT_TRUE(in_category(c, i));
    c.drawLatent(mean);
    ASSERT_TRUE(c.thresholds()[0] == 0.0 && c.thresholds()[1] > 0.0);
  }
  EXPECT_GT(c.tuneResults()[0].accepted, 50u);
  EXPECT_EQ(c.tuneResults()[0].total, 250u);  // the walk rests every other scan
}

TEST(OrdComponent, ARejectedProposalLeavesTheScores) {
  const Setting<bool> walk_alone(sem::sampler_settings::newton_thresholds, false);
  ComponentWorld w(14, 0, 1, 61);
  OrdComponent c(w.setup(1), categories_of_14, 3, {});
  arma::mat const mean(14, 1, arma::fill::value(0.4));
  c.startScores(mean);
  int rejected = 0;
  for (int scan = 0; scan < 100; ++scan) {
    arma::mat const before = c.score;
    arma::vec const tau = c.thresholds();
    c.drawLatent(mean);
    const bool same = arma::approx_equal(before, c.score, "absdiff", 0.0);
    EXPECT_EQ(same, tau[1] == c.thresholds()[1]);
    rejected += same;
  }
  EXPECT_GT(rejected, 10);
  EXPECT_LT(rejected, 90);
}

/// Thresholds and scores given the means, with three imputed units whose scores a step of their own draws; a
/// model that reads the category of the first of them gives it these weights.
void expect_posterior_with_missing(bool heed, const arma::vec& weights, std::uint32_t seed) {
  ComponentWorld w(14, 0, 1, seed);
  const units imputed = {2, 5, 9};
  OrdComponent c(w.setup(1), categories_of_14, 3, imputed);
  c.heed_missing = heed;
  Random data(seed, 3U);
  arma::mat const mean = 0.5 + 0.6 * data.randn(14, 1);
  c.startScores(mean);
  const auto impute = [&] {
    arma::mat z(3, 1);
    for (arma::uword m = 0; m < 3; ++m) {
      double top = m == 0 ? weights.max() : 1.0, weight = 1.0;
      do {
        z(m, 0) = mean[imputed[m]] + w.rng->rnorm();
        if (m == 0) weight = weights[c.categorize(z.row(m))[0]];
      } while (top * w.rng->runif() > weight);
    }
    c.setScore(z, imputed);
  };
  const auto sample = chain(
      20000, 25,
      [&] {
        c.drawLatent(mean);
        impute();
      },
      [&] { return c.thresholds()[1]; });
  std::vector<char> left_out(14, 0);
  for (arma::uword i : imputed) left_out[i] = 1;
  const auto weight = [&](const arma::vec& tau) {
    double const low = phi(-mean[2]), middle = phi(tau[1] - mean[2]) - low;
    return weights[0] * low + weights[1] * middle + weights[2] * (1.0 - low - middle);
  };
  EXPECT_LT(kolmogorov(sample, threshold_posterior(categories_of_14, mean, left_out, weight)), 2.5);
}

TEST(OrdComponent, FreeImputedUnitsDoNotInformTheThresholds) {
  expect_posterior_with_missing(false, {1.0, 1.0, 1.0}, 62);
}

TEST(OrdComponent, ImputedCategoriesThatOthersReadArePartOfTheState) {
  expect_posterior_with_missing(true, {1.0, 1.0, 1.0}, 63);
  expect_posterior_with_missing(true, {0.1, 4.0, 0.5}, 64);
}

TEST(OrdComponent, ThresholdAndCoefficientHaveTheirJointPosterior) {
  const Setting<double> prior(OrdComponent::gammaPrior, 0.8);
  ComponentWorld w(14, 1, 1, 65);
  arma::mat const offset(14, 1, arma::fill::value(0.5));
  const double step = 0.02;
  arma::mat density(300, 300);
  for (arma::uword a = 0; a < 300; ++a)
    for (arma::uword b = 0; b < 300; ++b) {
      const double gamma = -3.0 + (static_cast<double>(a) + 0.5) * step;
      const double tau = (static_cast<double>(b) + 0.5) * step;
      density(a, b) = std::exp(log_likelihood({0.0, tau}, categories_of_14, offset + gamma * w.W()) -
                               0.5 * gamma * gamma / 0.8);
    }
  OrdComponent c(w.setup(1), categories_of_14, 3, {});
  c.startScores(offset);
  std::vector<double> tau;
  const auto gamma = chain(
      8000, 30,
      [&] {
        c.drawLatent(offset + c.regression(w.level, w.x));
        w.level.write(w.own, c.score - offset);
        c.draw(w.level, w.x, w.own);
      },
      [&] {
        tau.push_back(c.thresholds()[1]);
        return c.gamma(0, 0);
      });
  EXPECT_LT(kolmogorov(gamma, GridCdf(-3.0, step, arma::sum(density, 1))), 2.5);
  EXPECT_LT(kolmogorov(tau, GridCdf(0.0, step, arma::sum(density, 0).t())), 2.5);
}

TEST(OrdComponent, CoefficientsHaveTheirConditional) {
  const Setting<double> prior(OrdComponent::gammaPrior, 0.1);
  ComponentWorld w(14, 3, 1, 66);
  OrdComponent c(w.setup(1), categories_of_14, 3, {});
  WhitenedDraws coefficients;
  arma::mat const one(1, 1, arma::fill::ones);
  for (int i = 0; i < 20000; ++i) {
    c.draw(w.level, w.x, w.own);
    coefficients.add(whiten_coefficients(c.gamma, w.W(), w.Y(), one, 0.1));
  }
  coefficients.expect_standard_normal();
  EXPECT_EQ(c.sigma2, 1.0);
}

/// Two categories: the block has a proper joint distribution of coefficients, scores and categories.
TEST(OrdComponent, TheBinaryBlockLeavesTheJointDistribution) {
  const Setting<double> prior(OrdComponent::gammaPrior, 0.7);
  ComponentWorld w(9, 2, 1, 67);
  arma::mat const offset(9, 1, arma::fill::value(0.2));
  const units imputed = {1, 6};
  arma::mat gamma, score;
  std::optional<OrdComponent> c;
  bool heed = false;
  const auto draw_joint = [&] {
    gamma = std::sqrt(0.7) * w.rng->randn(2, 1);
    score = offset + w.W() * gamma + w.rng->randn(9, 1);
  };
  const auto functions = [&] {
    return std::vector<double>{gamma(0, 0), gamma(1, 0), score(0, 0),
                               score(3, 0), score(6, 0), gamma(0, 0) * score(4, 0)};
  };
  const auto take_state = [&] {
    units categories(9);
    for (arma::uword i = 0; i < 9; ++i) categories[i] = score(i, 0) > 0.0;
    c.emplace(w.setup(1), categories, 2, imputed);
    c->heed_missing = heed = !heed;
    c->setScore(score);
    c->gamma = gamma;
  };
  const auto give_state = [&] {
    gamma = c->gamma;
    score = c->score;
  };
  const auto kernel = [&] {
    c->drawLatent(offset + c->regression(w.level, w.x));
    w.level.write(w.own, c->score - offset);
    c->draw(w.level, w.x, w.own);
    arma::mat const mean = offset + c->regression(w.level, w.x);
    c->setScore(mean.rows(imputed) + w.rng->randn(2, 1), imputed);
  };
  kernel_leaves_joint({.replications = 6000, .applications = 4, .before = take_state, .after = give_state},
                      draw_joint, functions, kernel);
}

TEST(OrdComponent, NewCategoriesOfAllUnitsMoveOnlyScoresThatLeft) {
  ComponentWorld w(14, 0, 1, 68);
  OrdComponent c(w.setup(1), categories_of_14, 3, {2});
  arma::mat const mean(14, 1, arma::fill::value(0.4));
  c.startScores(mean);
  arma::mat const before = c.score;
  units changed = categories_of_14;
  changed[0] = 2;
  changed[2] = 0;
  c.setCategories(changed, mean);
  for (arma::uword i = 0; i < 14; ++i) {
    EXPECT_TRUE(in_category(c, i));
    EXPECT_EQ(c.score(i, 0) == before(i, 0), i != 0 && i != 2) << i;
  }
  for (int scan = 0; scan < 50; ++scan) c.drawLatent(mean);
  for (arma::uword i = 0; i < 14; ++i) EXPECT_TRUE(in_category(c, i));
}

TEST(OrdComponent, ImputedScoresBringTheirCategories) {
  ComponentWorld w(14, 0, 1, 69);
  OrdComponent c(w.setup(1), categories_of_14, 3, {2, 4});
  c.setScore(arma::mat{-0.5, 9.0}.t(), {2, 4});
  EXPECT_EQ(c.categories()[2], 0u);
  EXPECT_EQ(c.categories()[4], 2u);
  EXPECT_THROW(c.setScore(arma::mat{1.0}.t(), {3}), error_debug);
}

TEST(OrdComponent, CountsAndNames) {
  ComponentWorld w(14, 2, 1, 70);
  const OrdComponent c(w.setup(1), categories_of_14, 3, {});
  EXPECT_EQ(c.n_estimated(), 3u);
  EXPECT_EQ(c.variances()[0], 1.0);
  EXPECT_EQ(c.covariance()(0, 0), 1.0);
  EXPECT_NEAR(c.startMean(), -iPhi(4.5 / 15.0), 1e-12);
  const OrdComponent binary(w.setup(1), arma::conv_to<units>::from(categories_of_14 > 1), 2, {});
  EXPECT_TRUE(binary.tuneResults().empty());
  EXPECT_EQ(binary.n_estimated(), 2u);
  EXPECT_THROW(OrdComponent(w.setup(1), categories_of_14, 2, {}), error_debug);
}

}  // namespace
}  // namespace tovik::tests::component_ordinal_test
