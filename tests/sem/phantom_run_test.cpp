// Whole chains with correlations that phantoms carry, and with random effects that are variables.

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "model/defaults.hpp"
#include "sem/phantoms/phantom_links.hpp"
#include "small_run.hpp"

namespace tovik::tests::phantom_run_test {
namespace {

arma::mat correlated_pair(arma::uword n, double rho) {
  Random rng(77, 1);
  arma::mat data = rng.randn(static_cast<int>(n), 2);
  data.col(1) = rho * data.col(0) + std::sqrt(1 - rho * rho) * data.col(1);
  data.col(0) = 2.0 + 1.5 * data.col(0);
  return data;
}

/// Posterior mean and variance of rho for two normals with flat means, flat variances and uniform rho, by
/// numerical integration over the standard deviations.
std::pair<double, double> exact_correlation(const arma::mat& data) {
  const arma::mat S = arma::cov(data) * static_cast<double>(data.n_rows - 1);
  const double m = static_cast<double>(data.n_rows) - 1.0;
  double total = 0, first = 0, second = 0;
  const double a0 = 0.5 * std::log(S(0, 0) / m), b0 = 0.5 * std::log(S(1, 1) / m);
  for (int k = -199; k < 200; ++k) {
    const double rho = k / 200.0;
    double mass = 0;
    for (int i = -40; i <= 40; ++i) {
      for (int j = -40; j <= 40; ++j) {
        const double a = a0 + 0.02 * i, b = b0 + 0.02 * j;  // log standard deviations
        const double va = std::exp(2 * a), vb = std::exp(2 * b), left = 1 - rho * rho;
        const double quad = (S(0, 0) / va - 2 * rho * S(0, 1) / std::sqrt(va * vb) + S(1, 1) / vb) / left;
        // dv = 2 v d(log sd)
        mass +=
            std::exp(-m * (a + b - a0 - b0) - 0.5 * m * std::log(left) - 0.5 * (quad - 2 * m) + 2 * (a + b));
      }
    }
    total += mass;
    first += mass * rho;
    second += mass * rho * rho;
  }
  return {first / total, second / total - first * first / (total * total)};
}

class PhantomRun : public testing::Test {
 protected:
  void SetUp() override {
    old_ = sem::defaults::optimize_models;
    sem::defaults::optimize_models = false;
  }
  void TearDown() override { sem::defaults::optimize_models = old_; }

 private:
  bool old_ = true;
};

TEST_F(PhantomRun, NegativeCorrelationHasItsExactPosterior) {
  const arma::mat data = correlated_pair(60, -0.5);
  small_run run({"y", "x"}, data, {}, {"y ~ 1", "x ~ 1", "x <-> y"});
  prepare(run);
  auto chain = run.chain(Random(5, 1), {2, 2});
  for (int i = 0; i < 1000; ++i) {
    chain->oneRep();
    if (i % 50 == 49 && i < 900) chain->tune();
  }
  const arma::mat out = draws(*chain, 0, 60000);
  ASSERT_EQ(run.models.back().kind(), model::kind::phantom);
  const arma::rowvec rho = out.row(out.n_rows - 1);
  const auto [mean, variance] = exact_correlation(data);
  EXPECT_LT(mean, -0.3);
  EXPECT_NEAR(arma::mean(rho), mean, 4.5 * mean_error(rho) + 1e-4);
  const arma::rowvec squares = arma::square(rho - mean);
  EXPECT_NEAR(arma::mean(squares), variance, 4.5 * mean_error(squares) + 1e-5);
  const auto outcomes = chain->outcomes();
  EXPECT_EQ(outcomes->n_estimated(), 5u);
}

TEST_F(PhantomRun, FixedCorrelationIsNotDrawn) {
  small_run run({"y", "x"}, correlated_pair(40, -0.5), {}, {"y ~ 1", "x ~ 1", "x <-> y@-0.3"});
  prepare(run);
  auto chain = run.chain(Random(5, 1));
  const arma::mat out = draws(*chain, 10, 50);
  for (double rho : out.row(out.n_rows - 1)) EXPECT_EQ(rho, -0.3);
  EXPECT_EQ(chain->outcomes()->n_estimated(), 4u);
  const auto tuning = chain->outcomes()->acceptance();
  ASSERT_EQ(tuning.back().size(), 1u);
  EXPECT_EQ(tuning.back()[0].total, 0u);
}

TEST_F(PhantomRun, FixedCorrelationsThatLeaveNothingAreRefused) {
  const arma::mat data = arma::join_rows(correlated_pair(40, -0.5), correlated_pair(41, 0.2).head_rows(40));
  small_run run({"a", "b", "c", "d"}, data, {}, {"a ~ 1", "b ~ 1", "c ~ 1", "a <-> b@0.6", "a <-> c@-0.5"});
  prepare(run);
  EXPECT_NE(run.failure().find("ERROR: The correlation 'a <-> "), std::string::npos) << run.failure();
}

/// The middles of the priors leave the first outcome no variance of its own.
TEST_F(PhantomRun, PriorsOfSeveralCorrelationsFindAStart) {
  Random rng(8, 1);
  const arma::mat data = rng.randn(40, 3);
  const std::vector<std::string> two = {"a ~ 1", "b ~ 1", "c ~ 1", "a <-> b@r", "a <-> c@s"};
  for (const auto& priors : {std::vector<std::string>{"r ~ normal(0.7, 1)", "s ~ normal(0.8, 1)"},
                             {"r ~ uniform(0.5, 0.95)", "s ~ uniform(0.3, 0.6)"}}) {
    small_run run({"a", "b", "c"}, data, {}, two, priors);
    prepare(run);
    auto chain = run.chain(Random(5, 1));
    const arma::mat out = draws(*chain, 0, 50);
    EXPECT_TRUE(out.is_finite());
  }
  for (const auto& priors : {std::vector<std::string>{"r ~ uniform(0.6, 0.9)", "s ~ uniform(0.5, 0.8)"},
                             {"r ~ uniform(-0.9, -0.6)", "s ~ uniform(0.5, 0.8)"}}) {
    small_run run({"a", "b", "c"}, data, {}, two, priors);
    prepare(run);
    EXPECT_NE(run.failure().find("ERROR: The correlation 'a <-> "), std::string::npos) << run.failure();
  }
}

/// What follows from a correlation and another label has no value before both stand at their starts.
TEST_F(PhantomRun, WhatFollowsSeveralLabelsIsComputedFromTheirStarts) {
  small_run run({"a", "b", "x"}, Random(8, 1).randn(40, 3), {}, {"a ~ 1 x@c", "b ~ 1", "a <-> b@r"},
                {"r ~ normal(0.1, 1)", "z ~ uniform(0.2, 0.8)", "c = log(z) * r"});
  prepare(run);
  auto chain = run.chain(Random(5, 1));
  EXPECT_TRUE(draws(*chain, 0, 50).is_finite());
}

TEST_F(PhantomRun, OneLabelIsOneCorrelation) {
  const arma::mat data = arma::join_rows(correlated_pair(40, -0.5), correlated_pair(41, -0.2).head_rows(40));
  small_run run({"a", "b", "c", "d"}, data, {},
                {"a ~ 1", "b ~ 1", "c ~ 1", "d ~ 1", "a <-> b@r", "c <-> d@r"});
  prepare(run);
  auto chain = run.chain(Random(5, 1));
  const arma::mat out = draws(*chain, 50, 400);
  const arma::rowvec first = out.row(out.n_rows - 2), second = out.row(out.n_rows - 1);
  EXPECT_EQ(arma::abs(first - second).max(), 0.0);
  EXPECT_GT(arma::stddev(first), 0.0);
  EXPECT_EQ(chain->outcomes()->n_estimated(), 9u);
}

TEST_F(PhantomRun, WhatFollowsALabelledCorrelationFollowsInEveryDraw) {
  arma::mat data = correlated_pair(40, -0.5);
  data.insert_cols(2, arma::linspace(-1.0, 1.0, 40));
  small_run run({"a", "b", "z"}, data, {}, {"a ~ 1", "b ~ 1 z@d", "a <-> b@r"},
                {"r ~ uniform(-0.9, 0.1)", "d = 1 + r"});
  prepare(run);
  auto chain = run.chain(Random(5, 1));
  const arma::mat out = draws(*chain, 50, 400);
  arma::uword at = 0;
  arma::rowvec r, slope;
  for (const Model& model : run.models) {
    if (model.kind() == model::kind::phantom) r = out.row(at);
    if (model.name() == "b") slope = out.row(at + 2);  // residual variance, intercept, z
    at += model.n_rows();
  }
  ASSERT_EQ(r.n_elem, 400u);
  EXPECT_LT(arma::abs(slope - 1.0 - r).max(), 1e-14);
  EXPECT_GT(arma::stddev(r), 0.01);
  EXPECT_LT(r.max(), 0.1);
}

TEST_F(PhantomRun, SignStandsOnTheSecondNameInNaturalOrder) {
  small_run run({"y", "x"}, correlated_pair(40, -0.5), {}, {"y ~ 1", "x ~ 1", "y <-> x"});
  prepare(run);
  for (const Model& model : run.models) {
    if (model.kind() == model::kind::phantom) continue;
    const auto phantoms = sem::phantoms_of(model);
    ASSERT_EQ(phantoms.size(), 1u);
    EXPECT_EQ(phantoms[0].at(0).signed_side, model.name() == "y");
  }
}

TEST_F(PhantomRun, EffectsOfTwoOutcomes) {
  Random rng(9, 1);
  arma::mat data(120, 3);
  for (arma::uword i = 0; i < 120; ++i) data(i, 0) = static_cast<double>(i / 4);
  const arma::mat u = rng.randn(30, 2);
  for (arma::uword i = 0; i < 120; ++i) {
    data(i, 1) = u(i / 4, 0) + rng.rnorm();
    data(i, 2) = -0.8 * u(i / 4, 0) + 0.6 * u(i / 4, 1) + rng.rnorm();
  }
  small_run run({"g", "y", "x"}, data, {"g"}, {"y ~ 1 | 1", "x ~ 1 | 1", "y[g] <-> x[g]"});
  prepare(run);
  auto chain = run.chain(Random(5, 1), {2, 2});
  for (int i = 0; i < 400; ++i) {
    chain->oneRep();
    if (i % 50 == 49) chain->tune();
  }
  const arma::mat out = draws(*chain, 0, 4000);
  EXPECT_LT(arma::mean(out.row(out.n_rows - 1)), -0.3);
}

/// The burn-in of 1000 scans that a run has unless it says otherwise: proposals are adapted in its first
/// half.
void burn_in(sem::Mcmc& chain) {
  for (int i = 1; i <= 1000; ++i) {
    chain.oneRep();
    if (i % 100 == 0 && i < 500) chain.tune();
  }
}

/// Independent draws that a draw is worth, from 50 batches.
double effective_share(const arma::rowvec& series) {
  const double error = mean_error(series);
  return arma::var(series) / (error * error * static_cast<double>(series.n_elem));
}

TEST_F(PhantomRun, StrongCorrelationsAreTunedInTheBurnIn) {
  for (double rho : {-0.5, 0.9}) {
    small_run run({"y", "x"}, correlated_pair(500, rho), {}, {"y ~ 1", "x ~ 1", "x <-> y"});
    prepare(run);
    auto chain = run.chain(Random(5, 1));
    burn_in(*chain);
    EXPECT_NO_THROW(chain->tune_check()) << rho;
    // A walk at given variances would be worth 0.03 at 0.9.
    const arma::mat out = draws(*chain, 0, 20000);
    EXPECT_GT(effective_share(out.row(out.n_rows - 1)), 0.3) << rho;
  }
}

TEST_F(PhantomRun, SmallSamplesOfClustersAreTunedInTheBurnIn) {
  for (std::uint32_t seed = 1; seed <= 8; ++seed) {
    Random rng(100 + seed, 1);
    arma::mat data(120, 3);
    const arma::mat u = rng.randn(30, 2);
    for (arma::uword i = 0; i < 120; ++i) {
      data(i, 0) = static_cast<double>(i / 4);
      data(i, 1) = u(i / 4, 0) + rng.rnorm();
      data(i, 2) = 0.3 * u(i / 4, 0) + 0.95 * u(i / 4, 1) + rng.rnorm();
    }
    small_run run({"g", "y", "x"}, data, {"g"}, {"y ~ 1 | 1", "x ~ 1 | 1", "y[g] <-> x[g]", "y <-> x"});
    prepare(run);
    auto chain = run.chain(Random(seed, 1));
    burn_in(*chain);
    EXPECT_NO_THROW(chain->tune_check()) << seed;
  }
}

/// Draws given the scores would be worth 0.01 and less here, these are worth 0.25 and more.
TEST_F(PhantomRun, SeveralCorrelationsOfAnOutcomeMix) {
  Random rng(78, 1);
  const arma::mat z = rng.randn(300, 4);
  arma::mat data = z;
  data.col(1) = 0.4 * z.col(0) + z.col(1);
  data.col(2) = 0.3 * z.col(0) - 0.3 * z.col(1) + z.col(2);
  data.col(3) = 0.2 * z.col(0) + z.col(3);
  small_run run({"a", "b", "c", "d"}, data, {},
                {"a ~ 1", "b ~ 1", "c ~ 1", "d ~ 1", "a <-> b", "a <-> c", "b <-> c", "a <-> d"});
  prepare(run);
  auto chain = run.chain(Random(5, 1));
  burn_in(*chain);
  EXPECT_NO_THROW(chain->tune_check());
  const arma::mat out = draws(*chain, 0, 20000);
  for (arma::uword k = 1; k <= 4; ++k) EXPECT_GT(effective_share(out.row(out.n_rows - k)), 0.12) << k;
}

}  // namespace
}  // namespace tovik::tests::phantom_run_test
