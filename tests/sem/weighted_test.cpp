// Outcomes under sampling weights: each conditional draw against plain algebra, and what is left unweighted.

#include "sem/outcomes/weighted.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "naive_normal.hpp"
#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "sem/autosolver/inv_gamma.hpp"
#include "sem/autosolver/normal.hpp"
#include "sem/autosolver/solution.hpp"
#include "sem/wiring/settings.hpp"
#include "weighted_world.hpp"

namespace tovik::tests::weighted_test {
namespace {

using sem::equation_setup;
using sem::Normal;
using sem::NormalWeighted;
using sem::estimator::weights;

void expect_close(const arma::Mat<double>& a, const arma::Mat<double>& b, double tolerance,
                  const char* what) {
  ASSERT_EQ(arma::size(a), arma::size(b)) << what;
  for (arma::uword i = 0; i < a.n_elem; ++i)
    ASSERT_NEAR(a(i), b(i), tolerance * std::max(1.0, std::fabs(b(i)))) << what << " element " << i;
}

/// The scan against the textbook, draw by draw with one seed.
void compare(const World& world, const equation_setup& setup, bool of_clusters, int scans = 200) {
  const Setting<bool> given(sem::sampler_settings::integrate_effects, false);
  const Setting<bool> one_draw(sem::sampler_settings::redraw_factors, false);
  const auto w = weights_of(world, setup, of_clusters);
  LoneEstimator estimator(17);
  Random naive_rng(17, 1U);
  arma::Mat<double> data = world.data, naive_data = world.data;
  const auto model = make_normal(estimator, setup, w);
  NaiveNormal naive(setup);
  naive.W = w->rows;
  naive.g = w->within;
  if (w->of_clusters()) naive.h = *w->of_level(0);
  for (int t = 0; t < scans; ++t) {
    model->draw(data);
    naive.draw(naive_data, naive_rng);
    expect_close(model->params(data), naive.params(), 1e-8, "parameters");
    for (unsigned L = 0; L < setup.n_levels; ++L) expect_close(model->u[L], naive.u[L], 1e-8, "effects");
    expect_close(data, naive_data, 1e-8, "data");
    if (::testing::Test::HasFatalFailure()) FAIL() << "scan " << t;
  }
  ASSERT_EQ(estimator.random.output(), naive_rng.output()) << "random numbers consumed";
}

TEST(Weighted, SingleLevelIsTheTextbooksWithWeightedSums) {
  const World world = weighted_world({{60}}, 1);
  for (int prior : {1, 2, 3}) {
    equation_setup setup = world.setup(0, {0, 2, 3});
    setup.prior = {prior, prior};
    setup.missing_units = {0, 7, 8, 30, 59};
    compare(world, setup, false);
  }
}

TEST(Weighted, TwoLevelsWithOneToThreeEffectsAndWeightsOfBothLevels) {
  const World world = weighted_world(unbalanced_clusters, 2);
  for (bool of_clusters : {false, true}) {
    for (arma::uword q : {1, 2, 3}) {
      equation_setup setup = world.setup(0, {0, 2, 3, 6});
      setup.z[0] = arma::Col<arma::uword>{0, 2, 3}.head(q);
      setup.icept = {1};
      setup.prior = {1, 1};
      setup.missing_units = {0, 5, 12, 13, 14, 40, 70};
      compare(world, setup, of_clusters);
    }
  }
}

TEST(Weighted, OtherUnitsOfTheDataAreNoOtherAlgebra) {
  const World world = weighted_world(unbalanced_clusters, 3, 1000.0, 10.0);
  equation_setup setup = world.setup(0, {0, 2, 3});
  setup.z[0] = {0, 3};
  setup.icept = {1};
  compare(world, setup, true);
}

TEST(Weighted, OutcomeOfClustersHasTheirWeights) {
  World world = weighted_world(unbalanced_clusters, 4);
  simulate_outcome(world, 1, 1.0, 4);
  equation_setup setup = world.setup(1, {0, 6});
  setup.missing_units = {0, 3, 18};
  compare(world, setup, false);
}

// With k the mean of integer weights, equal in all clusters, W = g = w / k: at a known residual variance v
// the draws of coefficients, effects and their covariance matrix are those of the data in which row i stands
// w_i times, at the residual variance k v. Effects are integrated out in both.
TEST(Weighted, IntegerWeightsAreRepeatedRows) {
  constexpr double v = 0.8;
  repeated_rows data;
  const equation_setup one = repeated_rows::equation(data.world, v),
                       all = repeated_rows::equation(data.repeated, repeated_rows::mean * v);
  LoneEstimator a(6), b(6);
  const auto model = make_normal(a, one, weights_of(data.world, one, false));
  Normal plain(&b, all);
  for (int t = 0; t < 200; ++t) {
    model->draw(data.world.data);
    plain.draw(data.repeated.data);
    expect_close(model->betas_, plain.betas_, 1e-8, "coefficients");
    expect_close(model->u[0], plain.u[0], 1e-8, "effects");
    expect_close(model->Sigma[0], plain.Sigma[0], 1e-8, "covariance matrix");
    if (::testing::Test::HasFatalFailure()) FAIL() << "scan " << t;
  }
}

/// An equation with effects in a state after some scans, with its log densities by hand.
struct state {
  World world = weighted_world(unbalanced_clusters, 7);
  equation_setup setup = world.setup(0, {0, 2, 6});
  LoneEstimator estimator{18};
  std::shared_ptr<const weights> w;
  std::shared_ptr<NormalWeighted> model;
  arma::vec e, density;

  explicit state(const arma::uvec& missing = {}) {
    setup.z[0] = {0, 2};
    setup.icept = {1};
    setup.prior = {1, 1};
    setup.missing_units = missing;
    w = weights_of(world, setup, true);
    model = make_normal(estimator, setup, w);
    for (int t = 0; t < 5; ++t) model->draw(world.data);
    e = model->compute_residual(world.data);
    density = logNormPDF(e, arma::vec(e.n_elem, arma::fill::value(model->sigma2)));
  }
  double in_cluster(arma::uword c, const arma::vec& values) const {
    const arma::uvec rows = arma::find(world.units[1] == c);
    return arma::accu(values.elem(rows));
  }
};

TEST(Weighted, AnUnknownOfARowMeetsThePlainDensityAndOneOfAClusterThatToThePowerG) {
  const state s;
  expect_close(s.model->logLiklihood(s.world.data, 0), s.density, 1e-12, "rows");
  const arma::vec of_clusters = s.model->logLiklihood(s.world.data, 1);
  for (arma::uword c = 0; c < of_clusters.n_elem; ++c)
    EXPECT_NEAR(of_clusters(c), s.in_cluster(c, s.w->within % s.density), 1e-10) << c;
  arma::vec some(2, arma::fill::ones), rows(2, arma::fill::zeros);
  s.model->addLogLiklihood(s.world.data, 1, {1, 3}, some.memptr());
  s.model->addLogLiklihood(s.world.data, 0, {4, 9}, rows.memptr());
  EXPECT_NEAR(some(0), 1.0 + of_clusters(1), 1e-10);
  EXPECT_NEAR(some(1), 1.0 + of_clusters(3), 1e-10);
  EXPECT_NEAR(rows(0), s.density(4), 1e-10);
  EXPECT_NEAR(rows(1), s.density(9), 1e-10);
}

TEST(Weighted, ParametersAndFitStatisticsCountUnitsByTheirWeights) {
  const state s({2, 11, 40});
  const arma::vec by_weight = s.w->rows % s.density;
  EXPECT_NEAR(s.model->logLiklihood(s.world.data), arma::accu(by_weight), 1e-9);
  EXPECT_NEAR(s.model->compute_LL_node(0.0, s.world.data), arma::accu(by_weight), 1e-9);
  arma::vec seen = by_weight;
  for (arma::uword i : s.setup.missing_units) seen(i) = 0.0;
  const arma::vec reported = s.model->observed_logLiklihood(s.world.data, 1);
  for (arma::uword c = 0; c < reported.n_elem; ++c)
    EXPECT_NEAR(reported(c), s.in_cluster(c, seen), 1e-10) << c;
}

TEST(Weighted, MarginalLikelihoodIsThePlainOne) {
  state s;
  Normal plain(&s.estimator, s.setup);
  plain.addStarts(s.model->params());
  expect_close(s.model->marginal_logLiklihood(s.world.data), plain.marginal_logLiklihood(s.world.data), 1e-9,
               "marginal");
}

TEST(Weighted, SolvedValuesOfARowArePlainOfAClusterHaveGAndLabelsW) {
  namespace solver = sem::autosolver;
  const state s;
  const double v = s.model->sigma2, b_row = s.model->betas_(1), b_cluster = s.model->betas_(2);
  const auto told = [&](const auto& how, int at, const arma::uvec& units) {
    solver::normal start(arma::vec(units.n_elem, arma::fill::zeros), 1.0);
    return s.model->distributionFunc(sem::distribution_type::fixed, how, at, units)(s.world.data, start);
  };
  // The slope of column 2 is drawn for each cluster, too.
  const solver::normal rows = told(solver::solution::constant(1, 2), 0, {3, 30});
  EXPECT_NEAR(1.0 / rows.variance(0), 1.0 + b_row * b_row / v, 1e-9);
  EXPECT_NEAR(1.0 / rows.variance(1), 1.0 + b_row * b_row / v, 1e-9);
  const solver::normal clusters = told(solver::solution::constant(2, 6), 1, {0, 5});
  const arma::uvec units = {0, 5};
  for (arma::uword k = 0; k < 2; ++k) {
    const double z = s.world.data(s.world.first_rows[1](units(k)), 6);
    const double q = s.in_cluster(units(k), s.w->within) * b_cluster * b_cluster / v;
    const double d = s.in_cluster(units(k), s.w->within % (b_cluster * (s.e + b_cluster * z))) / v;
    EXPECT_NEAR(1.0 / clusters.variance(k), 1.0 + q, 1e-9);
    EXPECT_NEAR(clusters.mean(k), d / (1.0 + q), 1e-9);
  }
  solver::inv_gamma start;
  start.shape = 1.0;
  start.scale = 0.5;
  const solver::inv_gamma variance = s.model->varianceFunc()(s.world.data, start);
  EXPECT_NEAR(variance.shape, 1.0 + 0.5 * static_cast<double>(s.e.n_elem), 1e-12);
  EXPECT_NEAR(variance.scale, 0.5 + 0.5 * arma::accu(s.w->rows % s.e % s.e), 1e-8);
}

// (l'P + e) of one phantom: log N(e_i; l P_i, c), W times each.
TEST(Weighted, PhantomsHaveWeightedProducts) {
  Random rng(4, 1);
  const arma::mat E = rng.randn(30, 1), data = rng.randn(30, 2);
  const arma::vec raw = arma::abs(rng.randn(30, 1)), w = raw / arma::mean(raw);
  sem::phantom_part part({{1, 0, true}}, 1);
  part.loadings.rho(0) = -0.4;
  ASSERT_TRUE(part.loadings.refresh(1.7));
  part.weigh(&w);
  part.read(E, data, nullptr);
  const double l = part.loadings.loadings()(0, 0), c = part.loadings.variance();
  double wanted = 0.0;
  for (arma::uword i = 0; i < 30; ++i)
    wanted += w(i) * -0.5 * (std::log(2.0 * arma::datum::pi * c) + std::pow(E(i) - l * data(i, 1), 2) / c);
  EXPECT_NEAR(part.log_density(), wanted, 1e-10);
}

}  // namespace
}  // namespace tovik::tests::weighted_test
