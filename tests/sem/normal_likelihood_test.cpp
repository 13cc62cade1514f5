#include <gtest/gtest.h>

#include <cmath>

#include "random/densities.hpp"
#include "scan_world.hpp"
#include "support/error.hpp"

namespace tovik::tests::normal_likelihood_test {
namespace {

using sem::equation_setup;
using sem::Normal;

const nesting unbalanced = {{5, 1, 9, 4}, {3, 7}, {2, 2, 6}, {8}, {4, 5, 3}};

/// The design, spelled out.
arma::Mat<double> effects_design(const World& world, const equation_setup& setup, unsigned L) {
  arma::Mat<double> out = world.data.cols(setup.z[L]);
  return out.rows(*setup.cluster.own_rows[0]);
}

arma::Col<double> own(const World& world, const equation_setup& setup, const arma::Col<double>& x) {
  (void)world;
  return x.elem(*setup.cluster.own_rows[0]);
}

arma::Col<double> random_part(const World& world, const equation_setup& setup, const Normal& model) {
  arma::Col<double> out(setup.cluster.own_rows[0]->n_elem, arma::fill::zeros);
  for (unsigned L = 0; L < setup.n_levels; ++L) {
    const arma::Mat<double> Z = effects_design(world, setup, L);
    for (arma::uword i = 0; i < out.n_elem; ++i)
      out(i) += arma::dot(Z.row(i), model.u[L].row((*setup.cluster.row_cluster[L])(i)));
  }
  return out;
}

/// The covariance of all units of the outcome.
arma::Mat<double> dense_covariance(const World& world, const equation_setup& setup, const Normal& model) {
  arma::uword const n = setup.cluster.own_rows[0]->n_elem;
  arma::Mat<double> V = model.sigma2 * arma::eye(n, n);
  for (unsigned L = 0; L < setup.n_levels; ++L) {
    const arma::Mat<double> Z = effects_design(world, setup, L);
    const auto& ids = *setup.cluster.row_cluster[L];
    for (arma::uword i = 0; i < n; ++i)
      for (arma::uword j = 0; j < n; ++j)
        if (Z.n_cols > 0 && ids(i) == ids(j))
          V(i, j) += arma::as_scalar(Z.row(i) * model.Sigma[L] * Z.row(j).t());
  }
  return V;
}

void expect_likelihoods(World world, const equation_setup& setup) {
  LoneEstimator estimator(8);
  Normal model(&estimator, setup);
  for (int scan = 0; scan < 3; ++scan) {
    if (scan > 0) model.draw(world.data);  // the first round is before any draw: nothing is cached
    arma::Mat<double> X = world.data.cols(setup.x);
    X = X.rows(*setup.cluster.own_rows[0]).eval();
    const arma::Col<double> y = own(world, setup, world.data.col(1));
    const arma::Col<double> fixed = X * model.betas();
    const arma::Col<double> predicted = fixed + random_part(world, setup, model);
    EXPECT_LT(arma::abs(model.compute_predicted(world.data) - predicted).max(), 1e-10);
    EXPECT_LT(arma::abs(model.compute_residual(world.data) - (y - predicted)).max(), 1e-10);
    const arma::Mat<double> at_rows = model.predicted(world.data);
    ASSERT_EQ(at_rows.n_rows, world.data.n_rows);
    for (arma::uword i = 0; i < at_rows.n_rows; ++i)
      EXPECT_NEAR(at_rows(i, 0), predicted(world.units[setup.level](i)), 1e-10);

    const arma::Col<double> rows = logNormPDF(arma::Col<double>(y - predicted), model.sigma2);
    EXPECT_LT(arma::abs(model.logLiklihood(world.data, static_cast<int>(setup.level)) - rows).max(), 1e-9);
    EXPECT_NEAR(model.logLiklihood(world.data), arma::accu(rows), 1e-8);
    for (unsigned L = 0; L < setup.n_levels; ++L) {
      const arma::Col<double> sums = model.logLiklihood(world.data, static_cast<int>(setup.level + 1 + L));
      ASSERT_EQ(sums.n_elem, setup.cluster.n_clusters(static_cast<int>(L)));
      for (arma::uword c = 0; c < sums.n_elem; ++c)
        EXPECT_NEAR(sums(c), arma::accu(rows.elem(arma::find(*setup.cluster.row_cluster[L] == c))), 1e-8);
    }

    const arma::Mat<double> V = dense_covariance(world, setup, model);
    const arma::Col<double> marginal = model.marginal_logLiklihood(world.data);
    const arma::Col<double> r = y - fixed;
    if (setup.n_levels == 0) {
      EXPECT_LT(arma::abs(marginal - logNormPDF(r, model.sigma2)).max(), 1e-10);
      continue;
    }
    const auto& top = *setup.cluster.row_cluster[setup.n_levels - 1];
    ASSERT_EQ(marginal.n_elem, arma::max(top) + 1);
    for (arma::uword c = 0; c < marginal.n_elem; ++c) {
      arma::uvec const members = arma::find(top == c);
      const arma::Row<double> rc = r.elem(members).t();
      EXPECT_NEAR(marginal(c), dmvnorm(rc, V.submat(members, members)), 1e-8);
    }
  }
}

TEST(NormalLikelihood, SingleLevel) {
  World world(1, {{15}}, 41);
  simulate_outcome(world, 0, 1.0, 41);
  expect_likelihoods(world, world.setup(0, {0, 2, 3}));
}

TEST(NormalLikelihood, TwoLevels) {
  World world(2, unbalanced, 42);
  simulate_outcome(world, 0, 1.0, 42);
  for (arma::uword q : {0, 1, 2, 3}) {
    equation_setup setup = world.setup(0, {0, 2, 6});
    setup.z[0] = arma::Col<arma::uword>{0, 2, 3}.head(q);
    setup.icept = {q > 0 ? 1 : 0};
    expect_likelihoods(world, setup);
    setup.missing_units = {0, 5, 6};
    expect_likelihoods(world, setup);
  }
}

TEST(NormalLikelihood, ThreeLevels) {
  World world(3, unbalanced, 43);
  simulate_outcome(world, 0, 1.0, 43);
  for (arma::uword lower : {0, 1, 2})
    for (arma::uword upper : {0, 1, 2}) {
      equation_setup setup = world.setup(0, {0, 2, 6});
      setup.z[0] = arma::Col<arma::uword>{0, 2}.head(lower);
      setup.z[1] = arma::Col<arma::uword>{0, 3}.head(upper);
      setup.icept = {lower > 0 ? 1 : 0, upper > 0 ? 1 : 0};
      setup.prior = {1, 1};
      expect_likelihoods(world, setup);
    }
}

TEST(NormalLikelihood, OutcomeOfLevelTwo) {
  World world(3, unbalanced, 44);
  simulate_outcome(world, 1, 1.0, 44);
  equation_setup setup = world.setup(1, {0, 6});
  setup.z[0] = {0};
  setup.icept = {1};
  expect_likelihoods(world, setup);
  World two(2, unbalanced, 45);
  simulate_outcome(two, 1, 1.0, 45);
  expect_likelihoods(two, two.setup(1, {0, 6}));
}

TEST(NormalLikelihood, LargeMeanAndSmallResidualVariance) {
  World world(2, unbalanced, 46);
  simulate_outcome(world, 0, 1.0, 46);
  world.data.col(1) = 1e5 + 1e-4 * world.data.col(1);
  equation_setup setup = world.setup(0, {0, 2, 6});
  setup.z[0] = {0};
  setup.icept = {1};
  LoneEstimator estimator(9), other(9);
  Normal model(&estimator, setup), rows(&other, setup);
  rows.keep_rows();
  for (int t = 0; t < 50; ++t) {
    model.draw(world.data);
    rows.draw(world.data);
  }
  EXPECT_LT(arma::abs(model.logLiklihood(world.data, 1) - rows.logLiklihood(world.data, 1)).max(), 1e-3);
  EXPECT_LT(arma::abs(model.marginal_logLiklihood(world.data) - rows.marginal_logLiklihood(world.data)).max(),
            1e-3);
}

TEST(NormalLikelihood, EffectsHaveTheirDensity) {
  World world(2, unbalanced, 47);
  simulate_outcome(world, 0, 1.0, 47);
  equation_setup setup = world.setup(0, {0});
  setup.z[0] = {0, 2};
  setup.icept = {1};
  LoneEstimator estimator(10);
  Normal model(&estimator, setup);
  model.draw(world.data);
  const arma::Col<double> values = model.compute_Us_LL(world.data, 0);
  const auto f = model.likelihoodFunc(sem::likelihood_type::random_effect);
  EXPECT_LT(arma::abs(values - f(world.data, 1)).max(), 1e-14);
  for (arma::uword c = 0; c < values.n_elem; ++c) {
    const arma::Row<double> row = model.u[0].row(c);
    EXPECT_NEAR(values(c), dmvnorm(row, model.Sigma[0]), 1e-10);
  }
}

TEST(NormalLikelihood, NoneBelowTheOutcome) {
  World world(3, unbalanced, 48);
  simulate_outcome(world, 1, 1.0, 48);
  LoneEstimator estimator(11);
  const Normal model(&estimator, world.setup(1, {0}));
  EXPECT_THROW(model.logLiklihood(world.data, 0), error_debug);
  EXPECT_THROW(model.logLiklihood(world.data, 3), error_debug);
}

/// Some units of the level, as the whole column has them.
void expect_parts(const Normal& model, const arma::Mat<double>& data, int level) {
  const arma::Col<double> all = model.logLiklihood(data, level);
  const arma::Col<arma::uword> units = {0, all.n_elem / 2, all.n_elem - 1};
  arma::Col<double> some(units.n_elem, arma::fill::zeros);
  model.addLogLiklihood(data, level, units, some.memptr());
  for (arma::uword k = 0; k < units.n_elem; ++k)
    EXPECT_NEAR(some(k), all(units(k)), 1e-10) << "level " << level;
}

TEST(NormalLikelihood, OfSomeUnitsIsThatOfAllUnits) {
  World world(3, unbalanced, 49);
  for (unsigned level = 0; level < 2; ++level) {
    simulate_outcome(world, level, 1.0, 49);
    equation_setup setup = world.setup(level, {0, 3});
    setup.z[0] = {0, 5};
    setup.icept[0] = 1;
    setup.x_compute = {computed("#DATA(2)*#DATA(3)"), computed("#DATA(2)-mean(#DATA(2))")};
    setup.mutable_columns.assign(world.data.n_cols, false);
    setup.mutable_columns[2] = true;
    LoneEstimator estimator(12);
    Normal model(&estimator, setup);
    for (int scan = 0; scan < 2; ++scan) {
      if (scan > 0) model.draw(world.data);
      for (int above = 0; above <= static_cast<int>(setup.cluster.n_levels()); ++above)
        expect_parts(model, world.data, static_cast<int>(level) + above);
    }
  }
}

TEST(Outcome, TellsWhichColumnsItReads) {
  World world(2, unbalanced, 50);
  simulate_outcome(world, 0, 1.0, 50);
  equation_setup setup = world.setup(0, {0});
  setup.z[0] = {0, 2};
  setup.icept = {1};
  setup.x_compute = {computed("#DATA(3)*2"), computed("#DATA(4)-mean(#DATA(4))")};
  LoneEstimator estimator(13);
  const Normal model(&estimator, setup);
  EXPECT_TRUE(model.reads(2));
  EXPECT_TRUE(model.reads(3));
  EXPECT_TRUE(model.reads(4));
  EXPECT_FALSE(model.reads(1));
  EXPECT_FALSE(model.couples(3));
  EXPECT_TRUE(model.couples(4));
}

}  // namespace
}  // namespace tovik::tests::normal_likelihood_test
