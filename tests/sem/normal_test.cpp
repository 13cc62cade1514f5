#include "sem/outcomes/normal.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "scan_world.hpp"
#include "support/error.hpp"

namespace tovik::tests::normal_test {
namespace {

using sem::equation_setup;
using sem::Normal;
using sem::parameter_type;

const nesting unbalanced = {{5, 1, 9, 4}, {3, 7}, {2, 2, 6}, {8}, {4, 5, 3}};

struct ThreeLevelModel {
  World world{3, unbalanced, 61};
  LoneEstimator estimator{13};
  equation_setup setup = world.setup(0, {0, 2, 3});

  ThreeLevelModel() {
    simulate_outcome(world, 0, 1.0, 61);
    setup.z = {{0, 2, 3}, {0, 2}};
    setup.icept = {1, 1};
    setup.prior = {1, 1};
  }
};

std::vector<double> as_vector(const arma::Col<double>& v) {
  return {v.begin(), v.end()};
}

TEST(Normal, StartsAtIdentityWithEffectsAtZero) {
  ThreeLevelModel m;
  const Normal model(&m.estimator, m.setup);
  EXPECT_EQ(model.n_params(), 3U + 1U + 6U + 3U);
  EXPECT_EQ(model.n_estimated(), 13U);
  EXPECT_EQ(as_vector(model.params()), (std::vector<double>{1, 0, 1, 1, 0, 0, 1, 0, 1, 1, 0, 0, 0}));
  for (unsigned L = 0; L < 2; ++L) {
    EXPECT_EQ(arma::size(model.u[L]), arma::SizeMat(L == 0 ? 13 : 5, L == 0 ? 3 : 2));
    EXPECT_EQ(arma::abs(model.u[L]).max(), 0.0);
  }
  EXPECT_TRUE(std::isnan(model.total_var));
  EXPECT_TRUE(std::isnan(model.slope_var[1]));
}

TEST(Normal, StartsAreReadInTheOrderOfTheParameters) {
  ThreeLevelModel m;
  Normal model(&m.estimator, m.setup);
  // The top level first, each lower triangle by columns.
  const arma::Col<double> v = {2.0, 0.5, 3.0, 4.0, 0.1, 0.2, 5.0, 0.3, 6.0, 0.7, -1.0, -2.0, -3.0};
  model.addStarts(v);
  EXPECT_EQ(as_vector(model.params()), as_vector(v));
  EXPECT_EQ(model.Sigma[1](1, 0), 0.5);
  EXPECT_EQ(model.Sigma[1](0, 1), 0.5);
  EXPECT_EQ(model.Sigma[0](2, 0), 0.2);
  EXPECT_EQ(model.Sigma[0](2, 1), 0.3);
  EXPECT_EQ(model.Sigma[0](2, 2), 6.0);
  for (std::size_t L : {0, 1})
    EXPECT_LT(arma::abs(model.Sigma[L] * model.iSigma[L] - arma::eye(arma::size(model.Sigma[L]))).max(),
              1e-12);
  EXPECT_EQ(model.sigma2, 0.7);
  EXPECT_EQ(model.betas()(2), -3.0);
  EXPECT_THROW(model.addStarts(v.head(12)), error_debug);
}

TEST(Normal, SingularStartsAreRefused) {
  ThreeLevelModel m;
  Normal model(&m.estimator, m.setup);
  arma::Col<double> v = model.params();
  v(1) = 1.0;
  EXPECT_THROW(model.addStarts(v), numeric_error);
}

TEST(Normal, SharesAddUpAndStandInOrder) {
  ThreeLevelModel m;
  Normal model(&m.estimator, m.setup);
  model.draw(m.world.data);
  const arma::Col<double> out = model.postDraw(m.world.data);
  ASSERT_EQ(out.n_elem, 2U + 1U + 2U + 2U + 1U);
  EXPECT_NEAR(arma::accu(out.tail(6)), 1.0, 1e-12);
  const double total = model.total_var;
  EXPECT_EQ(out(0), model.std_betas(1));
  EXPECT_EQ(out(2), model.coef_var / total);
  EXPECT_EQ(out(3), model.icept_var[0] / total);
  EXPECT_EQ(out(4), model.slope_var[0] / total);
  EXPECT_EQ(out(5), model.icept_var[1] / total);
  EXPECT_EQ(out(6), model.slope_var[1] / total);
  EXPECT_EQ(out(7), model.sigma2 / total);
  EXPECT_NEAR(model.slope_total, model.slope_var[0] + model.slope_var[1], 1e-12);
  EXPECT_NEAR(model.icept_total, model.icept_var[0] + model.icept_var[1], 1e-12);
  EXPECT_EQ(model.params(m.world.data).n_elem, model.n_params() + out.n_elem);
}

TEST(Normal, LevelsWithoutEffectsHaveNoRows) {
  ThreeLevelModel m;
  m.setup.z = {{}, {2}};
  m.setup.icept = {0, 0};
  Normal model(&m.estimator, m.setup);
  EXPECT_EQ(model.n_params(), 3U + 1U + 1U);
  model.draw(m.world.data);
  const arma::Col<double> out = model.postDraw(m.world.data);
  ASSERT_EQ(out.n_elem, 2U + 1U + 1U + 1U);  // slopes only: the slope share alone
  EXPECT_EQ(out(3), model.slope_var[1] / model.total_var);
  EXPECT_NEAR(arma::accu(out.tail(3)), 1.0, 1e-12);
}

// Var(z u) for a covariate with mean m and variance v is Sigma (v + m^2).
TEST(Normal, SlopeVarianceWithoutInterceptCountsTheMean) {
  ThreeLevelModel m;
  m.setup.z = {{3}, {}};
  m.setup.icept = {0, 0};
  Normal model(&m.estimator, m.setup);
  model.draw(m.world.data);
  const arma::Col<double> z = m.world.data.col(3);
  const double expected = model.Sigma[0](0, 0) * (arma::var(z) + arma::mean(z) * arma::mean(z));
  EXPECT_NEAR(model.slope_var[0], expected, 1e-10 * expected);
}

TEST(Normal, FixedParametersStay) {
  ThreeLevelModel m;
  m.setup.fixed = {1};
  m.setup.fixed_values = {0.25};
  m.setup.estimate_resid = false;
  m.setup.resid_value = 0.5;
  Normal model(&m.estimator, m.setup);
  EXPECT_EQ(model.n_params(), 13U);
  EXPECT_EQ(model.n_estimated(), 11U);
  EXPECT_EQ(as_vector(arma::conv_to<arma::Col<double>>::from(model.free)), (std::vector<double>{0, 2}));
  for (int t = 0; t < 5; ++t) model.draw(m.world.data);
  EXPECT_EQ(model.betas()(1), 0.25);
  EXPECT_EQ(model.sigma2, 0.5);
}

TEST(Normal, OnlyMissingCellsAreWritten) {
  World world(3, unbalanced, 62);
  simulate_outcome(world, 1, 1.0, 62);
  equation_setup setup = world.setup(1, {0, 6});
  setup.missing_units = {1, 4};
  LoneEstimator estimator(14);
  Normal model(&estimator, setup);
  EXPECT_TRUE(model.missing);
  EXPECT_NEAR(model.getMissingPercent(), 2.0 / 13.0, 1e-15);
  const arma::Mat<double> before = world.data;
  model.draw(world.data);
  for (arma::uword i = 0; i < before.n_rows; ++i) {
    arma::uword const unit = world.units[1](i);
    if (unit == 1 || unit == 4) {
      EXPECT_NE(world.data(i, 1), before(i, 1));
      EXPECT_EQ(world.data(i, 1), world.data(world.first_rows[1](unit), 1));
    } else {
      EXPECT_EQ(world.data(i, 1), before(i, 1));
    }
  }
  EXPECT_LT(arma::abs(world.data.cols(2, 8) - before.cols(2, 8)).max(), 1e-300);
}

TEST(Normal, CentringFollowsImputation) {
  World world(1, {{12}}, 63);
  simulate_outcome(world, 0, 1.0, 63);
  equation_setup setup = world.setup(0, {0, 2});
  setup.missing_units = {3};
  LoneEstimator estimator(15);
  Normal model(&estimator, setup);
  auto link = std::make_unique<sem::estimator::covariate_link>();
  link->column = 1;
  link->mean_column = 7;
  link->fun = [](const arma::Col<double>& x, arma::Mat<double>& out) { out.col(0) = x - 10.0; };
  model.setCentering(std::move(link));
  model.draw(world.data);
  EXPECT_LT(arma::abs(world.data.col(7) + 10.0 - world.data.col(1)).max(), 1e-14);
}

TEST(Normal, ImputationProposalIsUntouched) {
  ThreeLevelModel m;
  Normal model(&m.estimator, m.setup);
  for (int t = 0; t < 5; ++t) {
    model.draw(m.world.data);
    model.tune();
  }
  const auto results = model.tuneResults();
  ASSERT_EQ(results.size(), 3U);
  EXPECT_EQ(results[0].value, 3.0);
  EXPECT_EQ(results[0].total, 0U);
  EXPECT_EQ(results[1].value, 1.5);
  EXPECT_STREQ(results[2].label(), "random effect");
}

TEST(Normal, LatentColumnsAreTheEffectsAtTheRows) {
  ThreeLevelModel m;
  const Normal model(&m.estimator, m.setup);
  const arma::Mat<double> out = model.latent(m.world.data);
  ASSERT_EQ(out.n_cols, 5U);
  for (arma::uword i = 0; i < out.n_rows; ++i) {
    EXPECT_EQ(out(i, 2), model.u[0](m.world.units[1](i), 2));
    EXPECT_EQ(out(i, 4), model.u[1](m.world.units[2](i), 1));
  }
}

TEST(Normal, HandlesReadTheShares) {
  ThreeLevelModel m;
  Normal model(&m.estimator, m.setup);
  const auto total = model.constraint(parameter_type::total_var, 0, 0);
  const auto residual = model.constraint(parameter_type::residual_variance_read, 0, 0);
  model.draw(m.world.data);
  EXPECT_EQ(*total->ptr(), model.total_var);
  EXPECT_EQ(*residual->ptr(), model.sigma2);
  EXPECT_EQ(*model.constraint(parameter_type::coef_var, 0, 0)->ptr(), model.coef_var);
  EXPECT_EQ(*model.constraint(parameter_type::slope_total, 0, 0)->ptr(), model.slope_total);
  EXPECT_EQ(*model.constraint(parameter_type::icept_total, 0, 0)->ptr(), model.icept_total);
}

TEST(Normal, ProposalVarianceOfACoefficient) {
  ThreeLevelModel m;
  Normal model(&m.estimator, m.setup);
  model.draw(m.world.data);
  const double expected = model.sigma2 / arma::dot(m.world.data.col(3), m.world.data.col(3));
  EXPECT_NEAR(model.betaCovB(m.world.data, 2)(0, 0), expected, 1e-12);
  EXPECT_THROW(model.betaCovB(m.world.data, 3), error_debug);
}

TEST(Normal, DrivenParametersLeaveItsDraws) {
  ThreeLevelModel m;
  Normal model(&m.estimator, m.setup);
  arma::uword const before = model.n_estimated();
  const auto slope = model.constraint(parameter_type::coefficient, 1, 0);
  const auto variance = model.constraint(parameter_type::residual_variance, 0, 0);
  EXPECT_EQ(slope->ptr(), model.betas().memptr() + 1);
  EXPECT_EQ(variance->ptr(), &model.sigma2);
  EXPECT_FALSE(arma::any(model.free == 1));
  EXPECT_TRUE(arma::any(model.fixed == 1));
  EXPECT_EQ(model.n_estimated(), before - 2);
  slope->write(0.75);
  variance->write(2.5);
  for (int i = 0; i < 3; ++i) model.draw(m.world.data);
  EXPECT_EQ(model.betas()(1), 0.75);
  EXPECT_EQ(model.sigma2, 2.5);
  EXPECT_NEAR(slope->log_density(m.world.data), model.logLiklihood(m.world.data), 1e-9);
  EXPECT_EQ(variance->log_density(m.world.data), slope->log_density(m.world.data));
  variance->write(-1.0);
  EXPECT_EQ(variance->log_density(m.world.data), -INFINITY);
  // After the first scan the coefficients that are drawn are settled.
  EXPECT_THROW(model.constraint(parameter_type::coefficient, 0, 0), error_debug);
  EXPECT_THROW(model.constraint(parameter_type::coefficient, 99, 0), error_debug);
  EXPECT_EQ(model.constraint(parameter_type::random_covariance, 0, 0)->ptr(), model.Sigma[0].memptr());
  EXPECT_THROW(model.constraint(parameter_type::random_covariance, 99, 0), error_debug);
  EXPECT_THROW(model.constraint(parameter_type::phantom_correlation, 0, 0), error_debug);
}

TEST(Normal, WhatIsNotAvailableIsRefusedByName) {
  ThreeLevelModel m;
  m.setup.missing_units = {1};
  Normal model(&m.estimator, m.setup);
  EXPECT_THROW(model.constraint(parameter_type::value, 0, 0), error_debug);
  EXPECT_THROW(model.addIndicator({1}, sem::indicator_type::latent_residual), error_debug);
  EXPECT_THROW(model.addDist(nullptr, sem::distribution_type::param), error_debug);
  // The block draws the residual variance of its members.
  int block = 0;
  model.link = std::shared_ptr<sem::Multi>(std::shared_ptr<int>(), reinterpret_cast<sem::Multi*>(&block));
  try {
    model.constraint(parameter_type::residual_variance, 0, 0);
    FAIL();
  } catch (const error_debug& e) {
    EXPECT_STREQ(e.what(), "Cannot constrain residual variance has multivariate link.");
  }
}

TEST(Normal, RefusesAnInconsistentSetup) {
  ThreeLevelModel m;
  const auto broken = [&](auto change) {
    equation_setup setup = m.setup;
    change(setup);
    EXPECT_THROW(Normal(&m.estimator, setup), error_debug);
  };
  broken([](equation_setup& s) { s.fixed = {1}; });
  broken([](equation_setup& s) { s.fixed = {3}, s.fixed_values = {1.0}; });
  broken([](equation_setup& s) { s.z.pop_back(); });
  broken([](equation_setup& s) { s.n_levels = 3; });
  broken([](equation_setup& s) { s.missing_units = {1000}; });
  broken([](equation_setup& s) { s.cluster = {}; });
  broken([](equation_setup& s) { s.level = 1; });
}

void expect_message(World& world, const equation_setup& setup, const char* text) {
  LoneEstimator estimator(16);
  Normal model(&estimator, setup);
  try {
    for (int t = 0; t < 100; ++t) model.draw(world.data);
    FAIL() << "nothing thrown";
  } catch (const numeric_error& e) {
    EXPECT_STREQ(e.what(), text);
  }
}

TEST(Normal, CollinearPredictorsStopTheRun) {
  for (double constant : {3.0, 0.1, 1e6}) {
    World world(1, {{200}}, 64);
    simulate_outcome(world, 0, 1.0, 64);
    world.data.col(4).fill(constant);
    expect_message(world, world.setup(0, {0, 2, 4}), "inv(): matrix is singular");
    world.data.col(4) = world.data.col(2) - constant * world.data.col(3);
    expect_message(world, world.setup(0, {0, 2, 3, 4}), "inv(): matrix is singular");
  }
  World zero(1, {{20}}, 65);
  zero.data.col(4).zeros();
  expect_message(zero, zero.setup(0, {0, 4}), "inv(): matrix is singular");
  World few(1, {{3}}, 66);
  expect_message(few, few.setup(0, {0, 2, 3, 4}), "inv(): matrix is singular");
}

TEST(Normal, FarFromZeroIsNotCollinear) {
  World world(1, {{500}}, 67);
  simulate_outcome(world, 0, 1.0, 67);
  world.data.col(2) += 2000.0;  // years
  LoneEstimator estimator(17);
  Normal model(&estimator, world.setup(0, {0, 2, 3}));
  for (int t = 0; t < 50; ++t) model.draw(world.data);
  EXPECT_TRUE(model.params().is_finite());
}

TEST(Normal, AnExactFitHasNoVarianceToDraw) {
  World world(1, {{20}}, 68);
  world.data.col(1).zeros();
  equation_setup setup = world.setup(0, {0});
  setup.fixed = {0};
  setup.fixed_values = {0.0};
  LoneEstimator estimator(18);
  Normal model(&estimator, setup);
  EXPECT_THROW(model.draw(world.data), numeric_error);
}

TEST(Normal, TooFewUnitsForThePrior) {
  World world(1, {{2}}, 69);
  simulate_outcome(world, 0, 1.0, 69);
  LoneEstimator estimator(19);
  Normal model(&estimator, world.setup(0, {0}));
  EXPECT_THROW(model.draw(world.data), numeric_error);
  World clusters(2, {{4, 5, 6}}, 70);
  simulate_outcome(clusters, 0, 1.0, 70);
  equation_setup setup = clusters.setup(0, {0});
  setup.z[0] = {0, 2};
  setup.icept = {1};
  Normal mixed(&estimator, setup);
  EXPECT_THROW(mixed.draw(clusters.data), numeric_error);  // 3 - 2 - 1 degrees of freedom
}

TEST(Normal, OneRowWithAProperPriorRuns) {
  World world(1, {{1}}, 71);
  world.data.col(1).fill(2.0);
  equation_setup setup = world.setup(0, {0});
  setup.prior = {1, 1};
  LoneEstimator estimator(20);
  Normal model(&estimator, setup);
  for (int t = 0; t < 5; ++t) model.draw(world.data);
  EXPECT_TRUE(model.params().is_finite());
}

}  // namespace
}  // namespace tovik::tests::normal_test
