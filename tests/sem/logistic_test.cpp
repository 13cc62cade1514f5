#include "sem/outcomes/logistic.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "evaluate/parser.hpp"
#include "fault_message.hpp"
#include "logistic_world.hpp"
#include "sample_tests.hpp"
#include "support/error.hpp"

namespace tovik::tests::logistic_test {
namespace {

using sem::equation_setup;
using sem::Logistic;
using sem::parameter_type;

const nesting unbalanced = {{5, 1, 9, 4}, {3, 7}, {2, 2, 6}, {8}, {4, 5, 3}};

struct BinaryModel {
  World world{3, unbalanced, 71};
  LoneEstimator estimator{17};
  equation_setup setup = logistic(world.setup(0, {0, 2, 3}));

  BinaryModel() {
    simulate_binary(world, 0, 0.8, 0.3, 71);
    setup.z = {{0, 2}, {0}};
    setup.icept = {1, 1};
    setup.prior = {1, 1};
  }
};

bool is_lost(const arma::Mat<double>& values) {
  return std::all_of(values.begin(), values.end(), [](double v) { return std::isnan(v); });
}

TEST(Logistic, HasCovariancesAndCoefficientsAndNoResidualVariance) {
  BinaryModel m;
  Logistic model(&m.estimator, m.setup);
  EXPECT_EQ(model.n_params(), 1U + 3U + 3U);
  EXPECT_EQ(model.n_estimated(), 7U);
  const arma::Col<double> starts = {2.0, 3.0, 0.5, 4.0, -0.1, 0.2, 0.3};
  model.addStarts(starts);
  EXPECT_TRUE(arma::approx_equal(model.params(), starts, "absdiff", 0.0));
  EXPECT_EQ(model.residVar(), 1.0);
  EXPECT_THROW(model.constraint(parameter_type::residual_variance, 0, 0), error_debug);
  EXPECT_EQ(*model.constraint(parameter_type::residual_variance_read, 0, 0)->ptr(), 3.289868133696453);
}

TEST(Logistic, TellsOddsRatiosOfAllCoefficientsThenShares) {
  BinaryModel m;
  Logistic model(&m.estimator, m.setup);
  model.draw(m.world.data);
  const arma::Col<double> out = model.postDraw(m.world.data);
  ASSERT_EQ(out.n_elem, 3U + 1U + 2U + 1U + 1U);
  for (arma::uword j = 0; j < 3; ++j) EXPECT_EQ(out(j), std::exp(model.betas()(j)));
  EXPECT_NEAR(arma::accu(out.tail(5)), 1.0, 1e-12);
  EXPECT_EQ(out(3), model.coef_var / model.total_var);
  EXPECT_EQ(out(7), 3.289868133696453 / model.total_var);
  EXPECT_NEAR(model.total_var, model.coef_var + model.icept_total + model.slope_total + 3.289868133696453,
              1e-10 * model.total_var);
}

TEST(Logistic, TakesNoSolvedDistributionAndJoinsNoBlock) {
  BinaryModel m;
  Logistic model(&m.estimator, m.setup);
  EXPECT_EQ(message([&] { model.addDist(nullptr, sem::distribution_type::fixed); }),
            "ERROR: Cannot add distribution for Logistic variables.");
  EXPECT_EQ(message([&] { model.addMulti(nullptr); }),
            "ERROR: Cannot Set multivariate link in Logistic variables.");
}

// With a prior that is not flat the drawn coefficients do not go along with others by the likelihood alone.
TEST(Logistic, OffersNoInterceptToMove) {
  BinaryModel m;
  Logistic model(&m.estimator, m.setup);
  EXPECT_EQ(model.moved_intercept(), nullptr);
}

// The conditional distribution of the coefficients given the weights of the scan and the effects before it.
TEST(Logistic, DrawsCoefficientsFromTheirConditionalGivenTheWeights) {
  const Setting<bool> given(sem::sampler_settings::integrate_effects, false);
  BinaryModel m;
  m.setup.fixed = {2};
  m.setup.fixed_values = {-0.4};
  Logistic model(&m.estimator, m.setup);
  const arma::Mat<double> X = m.world.data.cols(arma::Col<arma::uword>{0, 2});
  const arma::Col<double> known = -0.4 * m.world.data.col(3), y = m.world.data.col(1);
  std::vector<double> z[2];
  for (int t = 0; t < 4000; ++t) {
    arma::Col<double> random(y.n_elem, arma::fill::zeros);
    for (arma::uword i = 0; i < y.n_elem; ++i) {
      const auto two = (*m.setup.cluster.row_cluster[0])(i), three = (*m.setup.cluster.row_cluster[1])(i);
      random(i) = model.u[0](two, 0) + m.world.data(i, 2) * model.u[0](two, 1) + model.u[1](three, 0);
    }
    model.draw(m.world.data);
    const arma::Col<double>& w = model.omega;
    const arma::Mat<double> P = X.t() * arma::diagmat(w) * X + arma::eye(2, 2) / 5.0;
    const arma::Col<double> h = X.t() * (y - 0.5 - w % (known + random));
    const arma::Col<double> e = arma::chol(P) * (model.betas().head_rows(2) - arma::solve(P, h));
    z[0].push_back(e(0));
    z[1].push_back(e(1));
  }
  for (const auto& values : z)
    EXPECT_LT(kolmogorov(values, [](double x) { return 0.5 * std::erfc(-x / M_SQRT2); }), 2.5);
  EXPECT_EQ(model.betas()(2), -0.4);
}

TEST(Logistic, LikelihoodAndPredictionsKeepTheirDigitsAtLargePredictors) {
  World world(1, {{4}}, 72);
  world.data.col(2) = arma::Col<double>{800.0, -800.0, 40.0, 0.0};
  world.data.col(1) = arma::Col<double>{0.0, 0.0, 1.0, 1.0};
  LoneEstimator estimator(18);
  Logistic model(&estimator, logistic(world.setup(0, {2})));
  model.addStarts({1.0});
  const arma::Col<double> l = model.logLiklihood(world.data, 0);
  EXPECT_EQ(l(0), -800.0);
  EXPECT_EQ(l(1), 0.0);
  EXPECT_NEAR(l(2) / -std::exp(-40.0), 1.0, 1e-12);
  EXPECT_NEAR(l(3), -std::log(2.0), 1e-15);
  const arma::Mat<double> p = model.compute_predicted_prob(world.data);
  EXPECT_EQ(p(0), 1.0);
  EXPECT_EQ(p(1), 0.0);
  EXPECT_NEAR(p(2), 1.0, 1e-15);
  EXPECT_EQ(p(3), 0.5);
}

TEST(Logistic, LikelihoodsOfClustersAreSumsOverTheirUnits) {
  BinaryModel m;
  Logistic model(&m.estimator, m.setup);
  model.draw(m.world.data);
  const arma::Col<double> rows = model.logLiklihood(m.world.data, 0);
  const arma::Mat<double> p = model.compute_predicted(m.world.data);
  arma::Col<double> expected(5, arma::fill::zeros);
  for (arma::uword i = 0; i < rows.n_elem; ++i) {
    EXPECT_NEAR(std::exp(rows(i)), m.world.data(i, 1) == 1.0 ? p(i) : 1.0 - p(i), 1e-12);
    expected(m.world.units[2](i)) += rows(i);
  }
  EXPECT_TRUE(arma::approx_equal(model.logLiklihood(m.world.data, 2), expected, "absdiff", 1e-10));
}

TEST(Logistic, MarginalLikelihoodIsTheConditionalOneWithoutEffectsAndUnknownWithThem) {
  BinaryModel m;
  Logistic with(&m.estimator, m.setup);
  with.draw(m.world.data);
  EXPECT_EQ(with.marginal_logLiklihood(m.world.data).n_elem, 5U);
  EXPECT_TRUE(is_lost(with.marginal_logLiklihood(m.world.data)));
  EXPECT_TRUE(is_lost(with.observed_marginal_logLiklihood(m.world.data)));
  m.setup.z = {{}, {}};
  m.setup.missing_units = {0, 3};
  Logistic without(&m.estimator, m.setup);
  without.draw(m.world.data);
  EXPECT_TRUE(arma::approx_equal(without.marginal_logLiklihood(m.world.data),
                                 without.logLiklihood(m.world.data, 2), "absdiff", 0.0));
  EXPECT_TRUE(arma::approx_equal(without.observed_marginal_logLiklihood(m.world.data),
                                 without.observed_logLiklihood(m.world.data, 2), "absdiff", 0.0));
}

TEST(Logistic, ResidualIsThatOfTheWeightedWorkingResponse) {
  BinaryModel m;
  m.setup.missing_units = {1, 7, 30};
  Logistic model(&m.estimator, m.setup);
  for (int t = 0; t < 5; ++t) model.draw(m.world.data);
  EXPECT_LT(model.residual_error(m.world.data), 1e-10);
  const arma::Mat<double> r = model.compute_residual(m.world.data);
  const arma::Mat<double> p = model.compute_predicted(m.world.data);
  for (arma::uword i = 0; i < r.n_elem; ++i) {
    const double root = std::sqrt(model.omega(i)), mu = std::log(p(i) / (1.0 - p(i)));
    EXPECT_NEAR(r(i), (m.world.data(i, 1) - 0.5) / root - root * mu, 1e-8 * (1.0 + std::fabs(r(i))));
    EXPECT_EQ(model.unit_values(i), m.world.data(i, 1));
  }
}

// An offset is a predictor with the known coefficient -1.
TEST(Logistic, OffsetIsAKnownPartOfThePredictor) {
  BinaryModel m;
  const arma::Col<double> o = 0.7 * m.world.data.col(5) - 1.0;
  m.world.data.col(4) = o;
  equation_setup with = m.setup;
  with.x = {0, 2, 3, 4};
  with.fixed = {3};
  with.fixed_values = {-1.0};
  LoneEstimator one(19), two(19);
  Logistic model(&one, m.setup), reference(&two, with);
  arma::Mat<double> data = m.world.data, same = m.world.data;
  for (int t = 0; t < 20; ++t) {
    model.draw(data, &o);
    reference.draw(same);
    EXPECT_TRUE(arma::approx_equal(model.omega, reference.omega, "reldiff", 1e-7)) << t;
    EXPECT_TRUE(arma::approx_equal(model.betas(), reference.betas().head_rows(3), "absdiff", 1e-7)) << t;
    EXPECT_TRUE(arma::approx_equal(model.u[0], reference.u[0], "absdiff", 1e-7)) << t;
    EXPECT_LT(model.residual_error(data), 1e-10);
  }
  EXPECT_TRUE(
      arma::approx_equal(model.logLiklihood(data, 0), reference.logLiklihood(same, 0), "absdiff", 1e-6));
  const arma::Col<double> wrong(3, arma::fill::zeros);
  EXPECT_THROW(model.draw(data, &wrong), error_debug);
}

TEST(Logistic, OutcomeAboveTheRowsHasOneWeightPerUnit) {
  BinaryModel m;
  simulate_binary(m.world, 1, 0.9, 0.2, 73);
  equation_setup setup = logistic(m.world.setup(1, {0, 6}));
  setup.z = {{0}};
  setup.icept = {1};
  setup.prior = {1, 1};
  setup.missing_units = {2, 5};
  Logistic model(&m.estimator, setup);
  for (int t = 0; t < 20; ++t) model.draw(m.world.data);
  EXPECT_EQ(model.omega.n_elem, 13U);
  EXPECT_LT(model.residual_error(m.world.data), 1e-10);
  for (arma::uword row = 0; row < m.world.data.n_rows; ++row)
    EXPECT_EQ(m.world.data(row, 1), model.unit_values(m.world.units[1](row)));
}

// Separated categories: the likelihood has no maximum, the posterior is proper by the prior.
TEST(Logistic, SeparatedAndRareCategoriesStayFinite) {
  World world(1, {{40}}, 74);
  world.data.col(2) = arma::linspace(-300.0, 300.0, 40);
  double largest = 0.0;
  for (const arma::uword ones : {2U, 20U, 40U}) {
    world.data.col(1).zeros();
    world.data.col(1).tail(ones).ones();
    LoneEstimator estimator(20 + static_cast<std::uint32_t>(ones));
    Logistic model(&estimator, logistic(world.setup(0, {0, 2})));
    for (int t = 0; t < 3000; ++t) {
      model.draw(world.data);
      ASSERT_TRUE(model.params(world.data).is_finite());
      ASSERT_TRUE(model.logLiklihood(world.data, 0).is_finite());
      largest = std::max(largest, std::fabs(300.0 * model.betas()(1)));
    }
  }
  EXPECT_GT(largest, 100.0);
}

TEST(Logistic, MissingValuesAreBernoulliDrawsOfTheEquation) {
  World world(1, {{12}}, 75);
  world.data.col(2) = arma::linspace(-3.0, 3.0, 12);
  world.data.col(1).zeros();
  equation_setup setup = logistic(world.setup(0, {2}));
  setup.fixed = {0};
  setup.fixed_values = {1.0};
  setup.missing_units = {1, 6, 10};
  LoneEstimator estimator(24);
  Logistic model(&estimator, setup);
  constexpr int n = 20000;
  arma::Col<double> sums(12, arma::fill::zeros);
  for (int t = 0; t < n; ++t) {
    model.draw(world.data);
    sums += world.data.col(1);
  }
  for (arma::uword i = 0; i < 12; ++i) {
    const bool missing = arma::any(setup.missing_units == i);
    const double p = missing ? 1.0 / (1.0 + std::exp(-world.data(i, 2))) : 0.0;
    EXPECT_NEAR(sums(i) / n, p, 5.5 * std::sqrt(p * (1.0 - p) / n));
  }
  EXPECT_EQ(model.impute_tune.total, 0U);
}

TEST(Logistic, ATransformedVariableIsModelledOnItsOwnScale) {
  World world(1, {{30}}, 76), plain(1, {{30}}, 76);
  simulate_binary(plain, 0, 0.9, 0.2, 76);
  world.data.col(1) = 2.0 * plain.data.col(1) + 1.0;  // 1 and 3
  equation_setup setup = logistic(world.setup(0, {0, 2}));
  setup.missing_units = {3, 4, 20};
  LoneEstimator one(25), two(25);
  Logistic model(&one, setup), reference(&two, setup);
  model.addTransform(evaluate::pair::transformation(evaluate::opt_ast("(#DATA(0) - 1) / 2")));
  for (int t = 0; t < 10; ++t) {
    model.draw(world.data);
    reference.draw(plain.data);
  }
  EXPECT_TRUE(arma::approx_equal(model.betas(), reference.betas(), "absdiff", 1e-12));
  EXPECT_TRUE(arma::approx_equal(world.data.col(1), 2.0 * plain.data.col(1) + 1.0, "absdiff", 1e-12));
}

TEST(Logistic, WeightsWithoutPassesMakeTheScanNaNAndLeaveTheData) {
  BinaryModel m;
  m.setup.missing_units = {0, 9};
  Logistic model(&m.estimator, m.setup);
  model.draw(m.world.data);
  const arma::Mat<double> before = m.world.data;
  {
    const Setting<std::uint32_t> limit(Random::pg_max_niter, 1U);
    model.draw(m.world.data);
  }
  for (int t = 0; t < 3; ++t) {
    const arma::Col<double> out = model.params(m.world.data);
    EXPECT_EQ(out.n_elem, model.n_params() + 8U);
    EXPECT_TRUE(is_lost(out));
    EXPECT_TRUE(is_lost(model.u[0]) && is_lost(model.u[1]) && is_lost(model.iSigma[0]));
    EXPECT_TRUE(is_lost(model.logLiklihood(m.world.data, 0)));
    model.refreshShares(m.world.data);
    model.draw(m.world.data);  // a chain that is lost goes on
  }
  EXPECT_TRUE(arma::approx_equal(m.world.data, before, "absdiff", 0.0));
}

TEST(Logistic, AFirstScanMayBeTheOneThatIsLost) {
  BinaryModel m;
  Logistic model(&m.estimator, m.setup);
  const Setting<std::uint32_t> limit(Random::pg_max_niter, 1U);
  model.draw(m.world.data);
  model.refreshShares(m.world.data);
  EXPECT_TRUE(is_lost(model.params(m.world.data)));
}

}  // namespace
}  // namespace tovik::tests::logistic_test
