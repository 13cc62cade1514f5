// Factors and probit models under sampling weights given their scores: parameters are drawn as from repeated
// rows, and as the textbook says, with the weights of rows and of clusters where they belong.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "naive_normal.hpp"
#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "sem/outcomes/weighted_block.hpp"
#include "sem/wiring/settings.hpp"
#include "weighted_world.hpp"

namespace tovik::tests::weighted_given_scores_test {
namespace {

using sem::equation_setup;
using sem::FactorWeighted;
using sem::OrdinalWeighted;
using sem::estimator::weights;
using sem::scan::coefficient_prior;

void expect_close(const arma::mat& a, const arma::mat& b, const char* what) {
  ASSERT_EQ(arma::size(a), arma::size(b)) << what;
  for (arma::uword i = 0; i < a.n_elem; ++i)
    ASSERT_NEAR(a(i), b(i), 1e-8 * std::max(1.0, std::fabs(b(i)))) << what << " element " << i;
}

/// Scores that stay where they are, so that what follows from them can be compared.
class held_factor : public FactorWeighted {
 public:
  held_factor(const std::shared_ptr<const weights>& w, const sem::Estimator* own, const equation_setup& setup)
      : sem::estimator::Outcome(sem::Regression::parts_of(own, data::type::latent, setup)),
        FactorWeighted(w, sem::Regression::parts_of(own, data::type::latent, setup), own, setup) {}

 protected:
  void draw_values(arma::mat&) override {}
};

class held_ordinal : public OrdinalWeighted {
 public:
  held_ordinal(const std::shared_ptr<const weights>& w, const sem::Estimator* own,
               const equation_setup& setup, const sem::ordered_values& observed)
      : sem::estimator::Outcome(sem::Regression::parts_of(own, data::type::ordinal, setup)),
        OrdinalWeighted(w, sem::Regression::parts_of(own, data::type::ordinal, setup), own, setup, observed) {
  }

 protected:
  void draw_auxiliary(arma::mat&) override {}
};

/// Two categories, cut at 0.
sem::ordered_values cut_at_zero(const arma::vec& scores) {
  sem::ordered_values out{{0.0, 1.0}, arma::uvec(scores.n_elem), 0};
  for (arma::uword i = 0; i < scores.n_elem; ++i) out.of_unit(i) = scores(i) > 0.0 ? 1 : 0;
  return out;
}

/// W = g = w / k: at a known variance v the draws are those of the repeated rows at k v.
void expect_same_draws(sem::Regression& model, World& world, sem::Normal& plain, World& repeated) {
  for (int t = 0; t < 200; ++t) {
    model.draw(world.data);
    plain.draw(repeated.data);
    expect_close(model.betas_, plain.betas_, "coefficients");
    expect_close(model.u[0], plain.u[0], "effects");
    expect_close(model.Sigma[0], plain.Sigma[0], "covariance matrix");
    if (::testing::Test::HasFatalFailure()) FAIL() << "scan " << t;
  }
}

TEST(WeightedGivenScores, ParametersOfAFactorAreThoseOfRepeatedRows) {
  constexpr double v = 0.8;
  repeated_rows data;
  const equation_setup one = sem::Factor::without_values(repeated_rows::equation(data.world, v)),
                       all = repeated_rows::equation(data.repeated, repeated_rows::mean * v);
  LoneEstimator a(6), b(6);
  held_factor factor(weights_of(data.world, one, false), &a, one);
  sem::Normal plain(&b, all);
  expect_same_draws(factor, data.world, plain, data.repeated);
}

TEST(WeightedGivenScores, ParametersOfAProbitModelAreThoseOfRepeatedRows) {
  repeated_rows data;
  equation_setup one = repeated_rows::equation(data.world, 1.0),
                 all = repeated_rows::equation(data.repeated, repeated_rows::mean);
  one.coefficients = all.coefficients = coefficient_prior::ridge(0.7);
  one.response_moves = true;
  LoneEstimator a(7), b(7);
  const arma::vec scores = data.world.data.col(1);
  held_ordinal probit(weights_of(data.world, one, false), &a, one, cut_at_zero(scores));
  probit.propensity.values = scores;
  sem::Normal plain(&b, all);
  expect_same_draws(probit, data.world, plain, data.repeated);
}

/// One or three effects, with the weights of rows alone and with those of clusters.
template <class Compare>
void for_each_form(const World& world, const Compare& compare) {
  for (const bool of_clusters : {false, true}) {
    for (const arma::uword q : {1, 3}) {
      equation_setup setup = world.setup(0, {0, 2, 6});
      setup.z[0] = arma::uvec{0, 2, 3}.head(q);
      setup.icept = {1};
      setup.prior = {1, 1};
      compare(setup, of_clusters);
      if (::testing::Test::HasFatalFailure()) FAIL() << q << " effects" << (of_clusters ? ", h" : "");
    }
  }
}

void set_weights(NaiveNormal& naive, const weights& w) {
  naive.W = w.rows;
  naive.g = w.within;
  if (w.of_clusters()) naive.h = *w.of_level(0);
}

TEST(WeightedGivenScores, TheScanOfAFactorIsTheTextbooksWithWeightedSums) {
  const Setting<bool> given(sem::sampler_settings::integrate_effects, false);
  const Setting<bool> one_draw(sem::sampler_settings::redraw_factors, false);
  const World world = weighted_world(unbalanced_clusters, 2);
  for_each_form(world, [&](equation_setup setup, bool of_clusters) {
    setup.y = score_column;
    const equation_setup whole = sem::Factor::without_values(setup);
    const auto w = weights_of(world, whole, of_clusters);
    LoneEstimator estimator(17);
    Random naive_rng(17, 1U);
    arma::mat data = world.data, naive_data = world.data;
    const auto factor = make_factor(estimator, setup, w);
    NaiveNormal naive(whole);
    set_weights(naive, *w);
    for (int t = 0; t < 100; ++t) {
      factor->draw(data);
      naive.draw(naive_data, naive_rng);
      expect_close(factor->params(data), naive.params(), "parameters");
      expect_close(factor->u[0], naive.u[0], "effects");
      expect_close(data.col(score_column), naive_data.col(score_column), "scores");
      if (::testing::Test::HasFatalFailure()) FAIL() << "scan " << t;
    }
  });
}

// A factor of clusters counts them by h, and draws their scores as if there were no weights.
TEST(WeightedGivenScores, TheScanOfAFactorOfClustersHasTheirWeights) {
  World world = weighted_world(unbalanced_clusters, 3);
  simulate_outcome(world, 1, 1.0, 3);
  equation_setup setup = world.setup(1, {0, 6});
  setup.prior = {1, 1};
  const equation_setup whole = sem::Factor::without_values(setup);
  const auto w = weights_of(world, whole, false);
  expect_close(w->rows,
               world.data.col(cluster_weight).eval().elem(world.first_rows[1]) /
                   arma::mean(world.data.col(cluster_weight).eval().elem(world.first_rows[1])),
               "weights");
  LoneEstimator estimator(18);
  Random naive_rng(18, 1U);
  arma::mat data = world.data, naive_data = world.data;
  const auto factor = make_factor(estimator, setup, w);
  NaiveNormal naive(whole);
  naive.W = w->rows;
  for (int t = 0; t < 100; ++t) {
    factor->draw(data);
    naive.draw(naive_data, naive_rng);
    expect_close(factor->params(data), naive.params(), "parameters");
    expect_close(data.col(1), naive_data.col(1), "scores");
    if (::testing::Test::HasFatalFailure()) FAIL() << "scan " << t;
  }
}

TEST(WeightedGivenScores, EffectsOfAProbitModelAreTheTextbooksWithWeightedSums) {
  const Setting<bool> given(sem::sampler_settings::integrate_effects, false);
  const Setting<bool> one_draw(sem::sampler_settings::redraw_factors, false);
  const World world = weighted_world(unbalanced_clusters, 4);
  const arma::vec scores = world.data.col(score_column);
  for_each_form(world, [&](equation_setup setup, bool of_clusters) {
    setup.y = score_column;
    setup.response_moves = true;
    setup.estimate_resid = false;
    const auto w = weights_of(world, setup, of_clusters);
    LoneEstimator estimator(19);
    Random naive_rng(19, 1U);
    arma::mat data = world.data;
    held_ordinal probit(w, &estimator, setup, cut_at_zero(scores));
    probit.propensity.values = scores;
    NaiveNormal naive(setup);
    set_weights(naive, *w);
    for (int t = 0; t < 100; ++t) {
      probit.draw(data);
      data.col(score_column) = scores;
      arma::mat naive_data = world.data;
      naive.draw(naive_data, naive_rng);
      expect_close(probit.betas_, naive.b, "coefficients");
      expect_close(probit.u[0], naive.u[0], "effects");
      expect_close(probit.Sigma[0], naive.Sigma[0], "covariance matrix");
      if (::testing::Test::HasFatalFailure()) FAIL() << "scan " << t;
    }
  });
}

// In a block the coefficients of a member are drawn from y - c with the variance s that the other residuals
// leave: inv(X'WX) s around inv(X'WX) X'W(y - c).
TEST(WeightedGivenScores, CoefficientsOfAMemberOfABlockHaveTheirClosedForm) {
  World world = weighted_world({{30}}, 10);
  Random rng(10, 4U);
  world.data.insert_cols(12, 1);
  for (arma::uword i = 0; i < world.data.n_rows; ++i)
    world.data(i, 12) = 0.7 * world.data(i, 1) + rng.rnorm();
  equation_setup first = world.setup(0, {0, 2}), second = world.setup(0, {0});
  second.y = 12;
  second.fixed = {0};
  second.fixed_values = {0.4};
  LoneEstimator estimator(23);
  const sem::Estimator* own = &estimator;
  const auto w = weights_of(world, first, false);
  const auto member = [&](const equation_setup& setup) {
    return std::make_shared<sem::MultiNormalWeighted>(
        w, sem::Regression::parts_of(own, data::type::continuous, setup), own, data::type::continuous, setup);
  };
  const auto a = member(first), b = member(second);
  sem::block_setup together;
  together.members = {a.get(), b.get()};
  together.correlations.eye(2, 2);
  together.elements.zeros(2, 2);
  together.known_variances.zeros(2);
  const auto block = std::make_shared<sem::MultiWeightedUnstruct>(own, together);
  block->register_ptrs();
  block->addStarts({1.5, 0.9, 1.1});
  const double s = 1.5 - 0.9 * 0.9 / 1.1;
  const arma::mat X = world.data.cols(arma::uvec{0, 2}), XW = X.each_col() % w->rows;
  const arma::vec y = world.data.col(1) - 0.9 / 1.1 * (world.data.col(12) - 0.4);
  const arma::vec mean = arma::solve(X.t() * XW, XW.t() * y);
  const arma::mat root = arma::chol(arma::mat(X.t() * XW)) / std::sqrt(s);
  std::vector<double> z[2];
  for (int t = 0; t < 5000; ++t) {
    a->draw(world.data);
    const arma::vec standard = root * (a->betas_.col(0) - mean);
    for (arma::uword j : {0, 1}) z[j].push_back(standard(j));
  }
  for (const auto& one : z) EXPECT_LT(kolmogorov(one, [](double x) { return phi(x); }), 2.5);
}

}  // namespace
}  // namespace tovik::tests::weighted_given_scores_test
