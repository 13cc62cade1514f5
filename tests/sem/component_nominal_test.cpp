// The own level of a nominal variable: latent differences and coefficients against closed forms and against
// the joint distribution.

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <vector>

#include "component_world.hpp"
#include "invariance_frame.hpp"
#include "sem/predictors/nom_component.hpp"
#include "sem/predictors/normal_rectangle.hpp"
#include "support/error.hpp"

namespace tovik::tests::component_nominal_test {
namespace {

using sem::NomComponent;
using units = arma::Col<arma::uword>;

arma::mat difference_covariance(arma::uword dim) {
  return 0.5 * (arma::mat(dim, dim, arma::fill::eye) + arma::mat(dim, dim, arma::fill::ones));
}

units cycle(arma::uword n, arma::uword n_categories) {
  units out(n);
  for (arma::uword i = 0; i < n; ++i) out[i] = i % n_categories;
  return out;
}

bool follows_rule(const NomComponent& c, arma::uword i) {
  return c.categorize(c.score.row(i))[0] == c.categories()[i];
}

TEST(NomComponent, TheLargestPositiveScoreIsTheCategory) {
  ComponentWorld w(9, 0, 3, 80);
  const NomComponent c(w.setup(1), cycle(9, 4), {});
  arma::mat const scores = {{-1, -2, -0.5}, {0.2, 0.1, -3}, {0.2, 0.3, 0.1}, {-2, -1, 0.4}, {0, 0, 0}};
  const units expected = {0, 1, 2, 3, 0};
  EXPECT_EQ(arma::accu(c.categorize(scores) != expected), 0u);
  arma::mat broken = scores;
  broken(0, 0) = NAN;
  EXPECT_THROW(c.categorize(broken.row(0)), error_debug);
}

TEST(NomComponent, ScoresStartAndStayByTheRule) {
  for (arma::uword dim : {1u, 2u, 4u}) {
    ComponentWorld w(20, 0, dim, 81);
    NomComponent c(w.setup(1), cycle(20, dim + 1), {});
    arma::mat const mean = w.rng->randn(20, static_cast<int>(dim));
    for (int scan = 0; scan < 300; ++scan) {
      for (arma::uword i = 0; i < 20; ++i) ASSERT_TRUE(follows_rule(c, i)) << dim;
      c.drawLatent(mean);
    }
  }
}

TEST(NomComponent, ImputedUnitsKeepTheirScoresUntilNewOnesCome) {
  ComponentWorld w(9, 0, 2, 82);
  NomComponent c(w.setup(1), cycle(9, 3), {1, 5});
  arma::mat const before = c.score;
  c.drawLatent(arma::mat(9, 2, arma::fill::zeros));
  for (arma::uword i = 0; i < 9; ++i)
    EXPECT_EQ(arma::approx_equal(before.row(i), c.score.row(i), "absdiff", 0.0), i == 1 || i == 5) << i;
  c.setScore(arma::mat{{-1, -1}, {0.1, 0.7}}, {1, 5});
  EXPECT_EQ(c.categories()[1], 0u);
  EXPECT_EQ(c.categories()[5], 2u);
}

/// One unit of each category in a long chain, against draws from the normal that are kept when they fall in
/// the category.
TEST(NomComponent, ScoresHaveTheNormalWithinTheirCategory) {
  arma::uword const dim = 3;
  arma::mat const mean = {{0.4, -0.3, 0.1}, {-0.2, 0.5, 0.3}, {0.1, 0.2, -0.4}, {0.6, 0.2, 0.3}};
  ComponentWorld w(6, 0, dim, 83);
  const units categories = {0, 1, 2, 3, 0, 0};
  NomComponent c(w.setup(1), categories, {});
  arma::mat all(6, dim, arma::fill::zeros);
  all.rows(0, 3) = mean;
  arma::mat const L = arma::chol(difference_covariance(dim), "lower");
  Samples fresh, after;
  for (int r = 0; r < 6000; ++r) {
    for (int thin = 0; thin < 12; ++thin) c.drawLatent(all);
    std::vector<double> kept, drawn;
    for (arma::uword i = 0; i < 4; ++i) {
      arma::mat z;
      do z = mean.row(i) + (L * w.rng->randn(3, 1)).t();
      while (c.categorize(z)[0] != categories[i]);
      for (arma::uword k = 0; k < dim; ++k) {
        kept.push_back(z(0, k));
        drawn.push_back(c.score(i, k));
      }
      kept.push_back(z(0, 0) * z(0, 1));
      drawn.push_back(c.score(i, 0) * c.score(i, 1));
    }
    fresh.add(kept);
    after.add(drawn);
  }
  expect_same_distribution(fresh, after);
}

TEST(NomComponent, CoefficientsHaveTheirConditional) {
  const Setting<double> prior(NomComponent::gammaPrior, 0.15);
  for (arma::uword dim : {1u, 3u}) {
    ComponentWorld w(16, 2, dim, 84);
    NomComponent c(w.setup(1), cycle(16, dim + 1), {});
    WhitenedDraws coefficients;
    for (int i = 0; i < 20000; ++i) {
      c.draw(w.level, w.x, w.own);
      coefficients.add(whiten_coefficients(c.gamma, w.W(), w.Y(), difference_covariance(dim), 0.15));
    }
    coefficients.expect_standard_normal();
  }
}

/// Scores given coefficients and categories, coefficients given scores, imputed units free.
void expect_invariance(arma::uword dim, const units& imputed, std::uint32_t seed) {
  const Setting<double> prior(NomComponent::gammaPrior, 0.6);
  ComponentWorld w(10, 2, dim, seed);
  arma::mat const L = arma::chol(difference_covariance(dim), "lower");
  arma::mat offset(10, dim, arma::fill::zeros);
  for (arma::uword k = 0; k < dim; ++k) offset.col(k).fill(0.3 - 0.2 * static_cast<double>(k));
  const auto noise = [&](arma::uword n) {
    return arma::mat((L * w.rng->randn(static_cast<int>(dim), static_cast<int>(n))).t());
  };
  const auto functions = [&](const arma::mat& gamma, const arma::mat& z) {
    std::vector<double> out(gamma.begin(), gamma.end());
    for (arma::uword k = 0; k < dim; ++k) {
      out.push_back(z(0, k));
      out.push_back(z(4, k) * gamma(1, k));
    }
    out.push_back(z(7, 0) * z(7, dim - 1));
    return out;
  };
  arma::mat gamma, z;
  std::optional<NomComponent> c;
  const auto draw_joint = [&] {
    gamma = std::sqrt(0.6) * w.rng->randn(2, static_cast<int>(dim));
    z = offset + w.W() * gamma + noise(10);
  };
  const auto take_state = [&] {
    NomComponent rule(w.setup(1), cycle(10, dim + 1), {});
    c.emplace(w.setup(1), rule.categorize(z), imputed);
    c->setScore(z);
    c->gamma = gamma;
  };
  const auto give_state = [&] {
    gamma = c->gamma;
    z = c->score;
  };
  const auto kernel = [&] {
    c->drawLatent(offset + c->regression(w.level, w.x));
    w.level.write(w.own, c->score - offset);
    c->draw(w.level, w.x, w.own);
    if (imputed.is_empty()) return;
    arma::mat const mean = offset.rows(imputed) + c->regression(w.level, w.x, imputed);
    c->setScore(mean + noise(imputed.n_elem), imputed);
  };
  kernel_leaves_joint(
      {.replications = 6000, .applications = 4, .before = take_state, .after = give_state}, draw_joint,
      [&] { return functions(gamma, z); }, kernel);
}

TEST(NomComponent, TheBlockLeavesTheJointDistribution) {
  expect_invariance(1, {}, 85);
  expect_invariance(2, {4, 9}, 86);
  expect_invariance(3, {0, 7, 8}, 87);
}

/// The shares of the categories do not depend on which of them is the reference when all means are 0, and
/// follow the rectangle probabilities otherwise.
TEST(NomComponent, CategorySharesAreRectangleProbabilities) {
  arma::uword const n = 40000, dim = 2;
  ComponentWorld w(6, 0, dim, 88);
  const NomComponent c(w.setup(1), cycle(6, 3), {});
  arma::mat const S = difference_covariance(dim), L = arma::chol(S, "lower");
  for (const arma::vec& mean : {arma::vec{0.0, 0.0}, arma::vec{0.5, -0.3}}) {
    arma::mat z = (L * w.rng->randn(2, static_cast<int>(n))).t();
    z.each_row() += mean.t();
    const units categories = c.categorize(z);
    // The rule of category 1: Z_1 > 0 and Z_1 > Z_2; of category 2 likewise.
    for (arma::uword k : {1u, 2u}) {
      arma::mat A(2, 2, arma::fill::zeros);
      A(0, k - 1) = 1.0;
      A(1, k - 1) = 1.0;
      A(1, 2 - k) = -1.0;
      const double expected = sem::normal_rectangle(A * S * A.t())(A * mean);
      const double share = static_cast<double>(arma::accu(categories == k)) / static_cast<double>(n);
      // 4.5 standard errors of the share and the error of the fixed points.
      EXPECT_NEAR(share, expected, 4.5 * std::sqrt(0.25 / static_cast<double>(n)) + 2e-3);
      if (arma::accu(arma::abs(mean)) == 0.0) {
        EXPECT_NEAR(expected, 1.0 / 3.0, 2e-3);
      }
    }
  }
}

TEST(NomComponent, NewCategoriesOfAllUnitsRestartOnlyScoresThatBreakTheRule) {
  ComponentWorld w(9, 0, 2, 89);
  NomComponent c(w.setup(1), cycle(9, 3), {1});
  arma::mat const mean(9, 2, arma::fill::zeros);
  c.drawLatent(mean);
  arma::mat const before = c.score;
  units changed = cycle(9, 3);
  changed[0] = 2;
  c.setCategories(changed);
  for (arma::uword i = 0; i < 9; ++i) {
    EXPECT_TRUE(follows_rule(c, i));
    EXPECT_EQ(arma::approx_equal(before.row(i), c.score.row(i), "absdiff", 0.0), i != 0) << i;
  }
  c.drawLatent(mean);
  EXPECT_FALSE(arma::approx_equal(before.row(1), c.score.row(1), "absdiff", 0.0));
}

TEST(NomComponent, CountsAndVariances) {
  ComponentWorld w(12, 2, 3, 90);
  const NomComponent c(w.setup(1), cycle(12, 4), {});
  EXPECT_EQ(c.n_estimated(), 6u);
  EXPECT_EQ(arma::abs(c.variances() - arma::vec{1, 0.5, 0.5, 1, 0.5, 1}).max(), 0.0);
  EXPECT_EQ(arma::abs(c.SigmaE() - difference_covariance(3)).max(), 0.0);
  EXPECT_EQ(arma::abs(c.covariance() - difference_covariance(3)).max(), 0.0);
  EXPECT_THROW(NomComponent(w.setup(1), cycle(12, 5), {}), error_debug);
  EXPECT_THROW(NomComponent(w.setup(1), cycle(11, 4), {}), error_debug);
}

}  // namespace
}  // namespace tovik::tests::component_nominal_test
