// Missing values of an outcome that another equation reads, against closed forms.

#include <gtest/gtest.h>

#include <cmath>

#include "allocation_count.hpp"
#include "evaluate/parser.hpp"
#include "sample_tests.hpp"
#include "sem/wiring/settings.hpp"
#include "small_run.hpp"
#include "support/error.hpp"
#include "two_equations.hpp"

namespace tovik::tests::imputation_test {
namespace {

/// Standard error of the mean of a correlated series, from 50 batches.
double error_of_mean(const arma::Col<double>& series) {
  const arma::Mat<double> batches = arma::reshape(series, series.n_elem / 50, 50);
  const arma::Row<double> means = arma::mean(batches);
  return arma::stddev(means) / std::sqrt(50.0);
}

/// A mediator and an outcome with everything known but the missing values of m.
TwoEquations mediation() {
  TwoEquations pair(2, {{5, 1, 7}, {3, 8}}, 71);
  pair.m = pair.world.setup(0, {0, 2});
  pair.m.missing_units = {0, 3, 9};
  pair.m.resid_value = 0.8;
  pair.y = pair.world.setup(0, {0, 9, 2});
  pair.y.x_compute = {computed("#DATA(9) * #DATA(3)")};
  pair.y.resid_value = 0.5;
  pair.m.estimate_resid = pair.y.estimate_resid = false;
  return pair;
}

enum class step { metropolis, slice, solved };

/// What both equations of the mediation say of m, as factors of a normal distribution of each row.
std::shared_ptr<sem::autosolver::solver<sem::autosolver::normal>> solution(TwoEquations& pair) {
  using sem::autosolver::normal;
  auto out = std::make_shared<sem::autosolver::solver<normal>>();
  out->rng = &pair.rng();
  out->functions.push_back([&pair](const arma::Mat<double>& data, const normal&) {
    auto const& a = pair.m.fixed_values;
    return normal(a(0) + a(1) * data.col(2), pair.m.resid_value);
  });
  out->functions.push_back([&pair](const arma::Mat<double>& data, const normal& before) {
    auto const& b = pair.y.fixed_values;
    arma::Col<double> const slope = b(1) + b(3) * data.col(3);
    arma::Col<double> const rest = data.col(1) - b(0) - b(2) * data.col(2);
    arma::Col<double> const variance =
        1.0 / (1.0 / before.variance + arma::square(slope) / pair.y.resid_value);
    return normal(variance % (before.mean / before.variance + slope % rest / pair.y.resid_value), variance);
  });
  return out;
}

// m_i | y_i is normal: precision 1 / v_m + s_i^2 / v_y with s_i the slope of y on m in row i.
void expect_normal_conditional(step kind) {
  const Setting<bool> sampler(sem::sampler_settings::ess_sampler, kind == step::slice);
  TwoEquations pair = mediation();
  pair.build();
  if (kind == step::solved) pair.of_m().addDist(solution(pair), sem::distribution_type::fixed);
  pair.draw_joint();
  arma::Mat<double>& data = pair.world.data;
  const auto &a = pair.m.fixed_values, &b = pair.y.fixed_values;
  constexpr arma::uword draws = 50000;
  arma::Mat<double> seen(draws, 3);
  for (arma::uword t = 0; t < draws; ++t) {
    pair.of_m().draw(data);
    for (arma::uword k = 0; k < 3; ++k) seen(t, k) = data(pair.m.missing_units(k), 9);
  }
  for (arma::uword k = 0; k < 3; ++k) {
    arma::uword const i = pair.m.missing_units(k);
    const double slope = b(1) + b(3) * data(i, 3);
    const double rest = data(i, 1) - b(0) - b(2) * data(i, 2);
    const double variance = 1.0 / (1.0 / 0.8 + slope * slope / 0.5);
    const double mean = variance * ((a(0) + a(1) * data(i, 2)) / 0.8 + slope * rest / 0.5);
    const arma::Col<double> x = seen.col(k);
    EXPECT_NEAR(arma::mean(x), mean, 4.5 * error_of_mean(x));
    const arma::Col<double> square = arma::square(x - mean);
    EXPECT_NEAR(arma::mean(square), variance, 4.5 * error_of_mean(square));
  }
}

TEST(Imputation, MetropolisDrawsFromTheNormalConditionalOfAMediator) {
  expect_normal_conditional(step::metropolis);
}

TEST(Imputation, SliceDrawsFromTheNormalConditionalOfAMediator) {
  expect_normal_conditional(step::slice);
}

TEST(Imputation, ASolvedDistributionReplacesTheStep) {
  expect_normal_conditional(step::solved);
  TwoEquations pair = mediation();
  pair.build();
  pair.draw_joint();
  pair.of_m().addDist(solution(pair), sem::distribution_type::fixed);
  for (int t = 0; t < 20; ++t) pair.scan();
  EXPECT_EQ(pair.of_m().tuneResults().front().total, 0u);
}

// y* = sqrt(m) >= 0: the solved normal is cut off there.
TEST(Imputation, ASolvedValueStaysInTheRangeOfTheTransformation) {
  using sem::autosolver::normal;
  TwoEquations pair = mediation();
  pair.transformation = "sqrt(#DATA(0))";
  pair.build(false);
  pair.draw_joint([](double value) { return value > 0.0; });
  auto solver = std::make_shared<sem::autosolver::solver<normal>>();
  solver->rng = &pair.rng();
  solver->functions.push_back([](const arma::Mat<double>& data, const normal&) {
    return normal(arma::Col<double>(data.n_rows, arma::fill::zeros), 1.0);
  });
  pair.of_m().addDist(solver, sem::distribution_type::fixed);
  constexpr arma::uword draws = 20000;
  arma::Col<double> seen(draws);
  for (double& value : seen) {
    pair.of_m().draw(pair.world.data);
    value = std::sqrt(pair.world.data(pair.m.missing_units(1), 9));
  }
  // Half normal: mean sqrt(2 / pi), variance 1 - 2 / pi.
  EXPECT_NEAR(arma::mean(seen), std::sqrt(2 / arma::datum::pi),
              4.5 * std::sqrt((1 - 2 / arma::datum::pi) / static_cast<double>(draws)));
}

TEST(Imputation, ADistributionNeedsAVarianceForEachMean) {
  EXPECT_THROW(sem::autosolver::normal({1.0, 2.0}, arma::Col<double>{1.0}), error_debug);
}

TEST(Imputation, OnlyCellsOfMissingValuesAreWritten) {
  for (bool slice : {false, true}) {
    const Setting<bool> sampler(sem::sampler_settings::ess_sampler, slice);
    TwoEquations pair = mediation();
    pair.build();
    pair.draw_joint();
    const arma::Mat<double> before = pair.world.data;
    for (int t = 0; t < 50; ++t) pair.scan();
    for (arma::uword i = 0; i < before.n_rows; ++i)
      for (arma::uword j = 0; j < before.n_cols; ++j) {
        const bool drawn = j == 9 && arma::any(pair.m.missing_units == i);
        EXPECT_EQ(before(i, j) != pair.world.data(i, j), drawn) << i << ", " << j;
      }
  }
}

TEST(Imputation, TheKeptResidualFollowsTheNewValues) {
  for (bool slice : {false, true}) {
    const Setting<bool> sampler(sem::sampler_settings::ess_sampler, slice);
    TwoEquations pair = mediation();
    pair.transformation = "log(#DATA(0))";
    pair.build();
    pair.draw_joint();
    for (int t = 0; t < 20; ++t) pair.scan();
    const arma::Col<double> log_m = arma::log(pair.world.data.col(9));
    const arma::Col<double> expected =
        log_m - pair.m.fixed_values(0) - pair.m.fixed_values(1) * pair.world.data.col(2);
    EXPECT_TRUE(arma::approx_equal(arma::Mat<double>(expected), pair.of_m().compute_residual(pair.world.data),
                                   "absdiff", 1e-10));
    EXPECT_TRUE(arma::approx_equal(arma::Mat<double>(log_m - expected),
                                   pair.of_m().predicted(pair.world.data), "absdiff", 1e-10));
  }
}

TEST(Imputation, ATransformedOutcomeIsReadFromTheDataThatItIsGiven) {
  TwoEquations pair = mediation();
  pair.transformation = "log(#DATA(0))";
  pair.build();
  pair.draw_joint();
  pair.scan();
  arma::Mat<double> other = pair.world.data;
  other.col(9) *= 2.0;
  const arma::Mat<double> change =
      pair.of_m().compute_residual(other) - pair.of_m().compute_residual(pair.world.data);
  EXPECT_TRUE(arma::all(arma::vectorise(arma::abs(change - std::log(2.0))) < 1e-12));
}

TEST(Imputation, ACompleteTransformedOutcomeIsARegressionOfItsTransform) {
  World world(2, {{5, 1, 7}, {3, 8}}, 72);
  simulate_outcome(world, 0, 1.0, 72);
  sem::equation_setup setup = world.setup(0, {0, 2});
  setup.z[0] = {0};
  setup.icept = {1};
  LoneEstimator one(5), two(5);
  sem::Normal plain(&one, setup), transformed(&two, setup);
  transformed.addTransform(evaluate::pair::transformation(evaluate::opt_ast("log(#DATA(0))")));
  arma::Mat<double> exponential = world.data;
  exponential.col(1) = arma::exp(world.data.col(1));
  for (int t = 0; t < 20; ++t) {
    plain.draw(world.data);
    transformed.draw(exponential);
  }
  EXPECT_TRUE(arma::approx_equal(plain.params(world.data), transformed.params(exponential), "reldiff", 1e-8));
  EXPECT_NEAR(plain.logLiklihood(world.data), transformed.logLiklihood(exponential), 1e-8);
}

std::size_t allocations_of(TwoEquations& pair, bool slice) {
  const Setting<bool> sampler(sem::sampler_settings::ess_sampler, slice);
  pair.build();
  pair.draw_joint();
  return allocations_of_scans(10, [&] { pair.scan(); });
}

TEST(Imputation, NoAllocationInASteadyScan) {
  for (const char* transformation : {"", "log(#DATA(0))", "sqrt(#DATA(0))"}) {
    for (bool slice : {false, true}) {
      TwoEquations pair(2, many_clusters(), 73);
      pair.transformation = transformation;
      pair.m = pair.world.setup(0, {0, 2});
      pair.m.z[0] = {0};
      pair.m.icept = {1};
      pair.m.missing_units = arma::regspace<arma::Col<arma::uword>>(0, 3, 300);
      pair.y = pair.world.setup(0, {0, 9, 2});
      pair.y.z[0] = {0, 9};
      pair.y.icept = {1};
      EXPECT_EQ(allocations_of(pair, slice), 0U) << transformation << slice;
    }
  }
}

TEST(Imputation, NoAllocationWithAMediatorOfLevelTwo) {
  for (bool slice : {false, true}) {
    TwoEquations pair(2, many_clusters(), 74);
    pair.m = pair.world.setup(1, {0, 6});
    pair.m.missing_units = arma::regspace<arma::Col<arma::uword>>(0, 3, 60);
    pair.y = pair.world.setup(0, {0, 9, 2});
    pair.y.z[0] = {0};
    pair.y.icept = {1};
    EXPECT_EQ(allocations_of(pair, slice), 0U) << slice;
  }
}

}  // namespace
}  // namespace tovik::tests::imputation_test
