// The variance model of an equation: what it tells, and what the equation takes from it.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "scan_world.hpp"
#include "sem/autosolver/normal.hpp"
#include "sem/outcomes/scaled.hpp"

namespace tovik::tests::log_scale_test {
namespace {

using sem::LogScale;
using sem::NormalScale;

struct TwoLevels {
  World world{2, {{5, 1, 7}, {3, 8}, {4, 2}}, 740};
  LoneEstimator estimator{741};
  sem::equation_setup of_scale = world.setup(0, {0, 3}), setup = world.setup(0, {0, 2});
  LogScale scale{&estimator, of_scale};

  TwoLevels() {
    simulate_outcome(world, 0, 1.0, 742);
    scale.addStarts({0.3, -0.6});
    setup.z[0] = {0};
    setup.icept = {1};
  }
  arma::Col<double> expected() const { return arma::exp(0.3 - 0.6 * world.data.col(3)); }
};

TEST(LogScale, VariancesAreExponentials) {
  TwoLevels run;
  const arma::Col<double> v = run.scale.variances(run.world.data);
  EXPECT_TRUE(arma::approx_equal(v, run.expected(), "reldiff", 1e-14));
  EXPECT_TRUE(arma::approx_equal(run.scale.Vmat(run.world.data), run.world.data.cols(run.of_scale.x),
                                 "absdiff", 0.0));
  arma::Col<double> l(2);
  const arma::uword units[] = {4, 9};
  run.scale.log_variances(run.world.data, units, 2, l.memptr());
  EXPECT_DOUBLE_EQ(l(1), std::log(v(9)));
}

TEST(LogScale, VariancesHaveALowerBound) {
  const Setting<double> bound(sem::sampler_settings::logvar_trunc_point, 0.0);
  TwoLevels run;
  const arma::Col<double> v = run.scale.variances(run.world.data), free = run.expected();
  EXPECT_EQ(v.min(), 1.0);
  EXPECT_EQ(v.max(), free.max());
}

// Far above the variances the bound makes them constant, and proposals change nothing: all are accepted.
TEST(LogScale, NothingTellsOfCoefficientsBelowTheBound) {
  const Setting<double> bound(sem::sampler_settings::logvar_trunc_point, 40.0);
  TwoLevels run;
  for (int t = 0; t < 50; ++t)
    run.scale._draw_log_scale(arma::Col<double>(run.world.data.col(1)), run.world.data);
  EXPECT_EQ(run.scale.tune_[1].accepted, 50U);
  EXPECT_EQ(run.scale.tune_[1].total, 50U);
  EXPECT_EQ(run.scale.variances(run.world.data).min(), std::exp(40.0));
}

TEST(LogScale, WithoutFreeCoefficientsNothingIsDrawn) {
  TwoLevels run;
  run.of_scale.fixed = {0, 1};
  run.of_scale.fixed_values = {0.1, 0.2};
  LogScale held(&run.estimator, run.of_scale);
  const double before = run.estimator.random.runif();
  LoneEstimator same(741);
  EXPECT_EQ(same.random.runif(), before);
  held._draw_log_scale(arma::Col<double>(run.world.data.col(1)), run.world.data);
  EXPECT_EQ(run.estimator.random.runif(), same.random.runif());
  EXPECT_EQ(held.params()(1), 0.2);
  EXPECT_EQ(held.n_estimated(), 0U);
}

TEST(LogScale, ProposalsStartAtTwoStandardDeviations) {
  TwoLevels run;
  run.scale._draw_log_scale(arma::Col<double>(run.world.data.col(1)), run.world.data);
  const double square = arma::dot(run.world.data.col(3), run.world.data.col(3));
  EXPECT_DOUBLE_EQ(run.scale.tune_[1].value, 2.0 * std::sqrt(2.0 / square));
  EXPECT_DOUBLE_EQ(run.scale.betaCovB(run.world.data, 1)(0, 0), 2.0 / square);
  std::vector<sem::estimator::tune_obj*> all;
  run.scale.addProposals(all);
  EXPECT_EQ(all.size(), 2U);
}

TEST(LogScale, LabelledCoefficientsAreDrawnElsewhere) {
  TwoLevels run;
  NormalScale model(&run.estimator, data::type::continuous, run.setup);
  model.addLogScale(&run.scale);
  const auto handle = run.scale.constraint(sem::parameter_type::coefficient, 1, 0);
  EXPECT_EQ(handle->ptr(), run.scale.betas_.memptr() + 1);
  ASSERT_EQ(handle->likelihoods.size(), 1U);
  EXPECT_EQ(handle->likelihoods[0].source(), model.likelihoodFunc(sem::likelihood_type::imputed).source());
  for (int t = 0; t < 20; ++t) model.draw(run.world.data);
  EXPECT_EQ(run.scale.betas()(1), -0.6);
  EXPECT_NE(run.scale.betas()(0), 0.3);
  // The term sees a value that was written.
  handle->write(0.2);
  const double changed = handle->log_density(run.world.data);
  const arma::Col<double> e = model.compute_residual(run.world.data), v = run.scale.variances(run.world.data);
  EXPECT_NEAR(changed, arma::accu(logNormPDF(e, v)), 1e-9 * std::fabs(changed));
}

TEST(LogScale, AnEquationWithoutItCannotBeDrawn) {
  TwoLevels run;
  NormalScale model(&run.estimator, data::type::continuous, run.setup);
  try {
    model.draw(run.world.data);
    FAIL();
  } catch (const error_debug& e) {
    EXPECT_NE(std::string(e.what()).find("No Scale link."), std::string::npos);
  }
}

TEST(LogScale, ItsLikelihoodIsTheOwners) {
  TwoLevels run;
  EXPECT_THROW(run.scale.logLiklihood(run.world.data), error_debug);
  NormalScale model(&run.estimator, data::type::continuous, run.setup);
  model.addLogScale(&run.scale);
  EXPECT_EQ(run.scale.logLiklihood(run.world.data), model.logLiklihood(run.world.data));
  EXPECT_TRUE(model.reads(3));
  EXPECT_FALSE(model.reads(4));
}

TEST(ScaledEquation, ShowsTheSpreadOfTheVariances) {
  TwoLevels run;
  NormalScale model(&run.estimator, data::type::continuous, run.setup);
  model.addLogScale(&run.scale);
  for (int t = 0; t < 3; ++t) model.draw(run.world.data);
  const arma::Col<double> v = run.scale.variances(run.world.data), p = 1.0 / v,
                          rows = model.params(run.world.data);
  ASSERT_EQ(rows.n_elem, 1U + 5U + 2U + 1U + 3U);
  EXPECT_NEAR(rows(1), arma::var(p) / std::pow(arma::mean(p), 2), 1e-12);
  EXPECT_NEAR(rows(4), arma::mean(v), 1e-12);
  EXPECT_LT(rows(2), rows(3));
  EXPECT_LT(rows(3), rows(5));
  EXPECT_NEAR(arma::accu(rows.tail(3)), 1.0, 1e-12);
  EXPECT_NEAR(rows(11), arma::mean(v) / model.total_var, 1e-12);
}

// Densities with the effects given, and with these integrated out, against whole matrices.
TEST(ScaledEquation, LikelihoodsHaveTheVarianceOfEachRow) {
  TwoLevels run;
  run.setup.missing_units = {2, 7};
  NormalScale model(&run.estimator, data::type::continuous, run.setup);
  model.addLogScale(&run.scale);
  for (int t = 0; t < 3; ++t) model.draw(run.world.data);
  const arma::Mat<double>& data = run.world.data;
  const arma::Col<double> v = run.scale.variances(data), e = model.compute_residual(data);
  const arma::Col<double> each = model.logLiklihood(data, 0), all = logNormPDF(e, v);
  EXPECT_TRUE(arma::approx_equal(each, all, "reldiff", 1e-10));
  arma::Col<double> some(2, arma::fill::zeros);
  model.addLogLiklihood(data, 0, {3, 8}, some.memptr());
  EXPECT_NEAR(some(1), all(8), 1e-10 * std::fabs(all(8)));
  const arma::Col<double> marginal = model.observed_marginal_logLiklihood(data),
                          r = model.fixed_residual(data);
  for (arma::uword c = 0; c < marginal.n_elem; ++c) {
    std::vector<arma::uword> in;
    for (arma::uword i = 0; i < r.n_elem; ++i)
      if (run.world.units[1](i) == c && i != 2 && i != 7) in.push_back(i);
    const arma::Col<arma::uword> at(in);
    arma::Mat<double> S = arma::diagmat(v.elem(at));
    S += model.Sigma[0](0, 0);
    const arma::Col<double> rc = r.elem(at);
    const double expected = -0.5 * (static_cast<double>(in.size()) * std::log(2.0 * arma::datum::pi) +
                                    std::log(arma::det(S)) + arma::dot(rc, arma::solve(S, rc)));
    EXPECT_NEAR(marginal(c), expected, 1e-9 * std::fabs(expected)) << c;
  }
}

// The proposal, its rejection and the next reader: a cell of V moves back without notice.
TEST(ScaledEquation, ReadsTheVariancesAtTheDataThatItIsGiven) {
  TwoLevels run;
  run.of_scale.mutable_columns.assign(9, false);
  run.of_scale.mutable_columns[3] = true;
  LogScale scale(&run.estimator, run.of_scale);
  scale.addStarts({0.3, -0.6});
  NormalScale model(&run.estimator, data::type::continuous, run.setup);
  model.addLogScale(&scale);
  model.draw(run.world.data);
  scale.addStarts({0.3, -0.6});
  const arma::Col<double> before = model.logLiklihood(run.world.data, 0);
  arma::Mat<double> moved = run.world.data;
  moved(8, 3) += 1.0;
  arma::Col<double> there(1, arma::fill::zeros);
  model.addLogLiklihood(moved, 0, {8}, there.memptr());
  const double e = model.compute_residual(moved)(8), v = std::exp(0.3 - 0.6 * moved(8, 3));
  EXPECT_NEAR(there(0), -0.5 * (std::log(2.0 * arma::datum::pi * v) + e * e / v), 1e-10);
  sem::autosolver::normal start;
  const sem::autosolver::normal own = model.dist_self({7, 8})(run.world.data, start);
  EXPECT_NEAR(own.variance(1), std::exp(0.3 - 0.6 * run.world.data(8, 3)), 1e-12);
  EXPECT_TRUE(arma::approx_equal(model.logLiklihood(run.world.data, 0), before, "absdiff", 0.0));
}

// What it says of a predictor: precision sum A^2 / v_i, linear term sum A e_i / v_i.
TEST(ScaledEquation, TellsOfAPredictorWithTheVarianceOfEachRow) {
  TwoLevels run;
  NormalScale model(&run.estimator, data::type::continuous, run.setup);
  model.addLogScale(&run.scale);
  model.draw(run.world.data);
  const arma::Mat<double>& data = run.world.data;
  const auto how = sem::autosolver::solution::constant(1, 2);
  sem::autosolver::normal start;
  start.set_size(2);
  start.mean(0) = start.mean(1) = 0.4;
  start.variance(0) = start.variance(1) = 2.0;
  const auto told = model.distributionFunc(sem::distribution_type::fixed, how, 0, {3, 10})(data, start);
  const arma::Col<double> v = run.scale.variances(data), e = model.compute_residual(data);
  const double A = model.betas()(1), w = A * A / v(10), precision = 0.5 + w;
  EXPECT_NEAR(told.variance(1), 1.0 / precision, 1e-12);
  EXPECT_NEAR(told.mean(1), (0.5 * 0.4 + A * (e(10) + A * data(10, 2)) / v(10)) / precision, 1e-12);
}

TEST(ScaledEquation, RefusesPhantomsOfItsResidual) {
  TwoLevels run;
  run.world.data.insert_cols(9, 1);
  run.setup.phantoms = {{sem::phantom_term{}}, {}};
  run.setup.phantoms[0][0].column = 9;
  NormalScale model(&run.estimator, data::type::continuous, run.setup);
  EXPECT_THROW(model.addLogScale(&run.scale), error_debug);
}

}  // namespace
}  // namespace tovik::tests::log_scale_test
