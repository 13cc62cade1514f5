// A latent variable in a chain: where its scores start, who draws them, what is told of them.

#include "sem/outcomes/factor.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "sample_tests.hpp"
#include "sem/small_run.hpp"

namespace tovik::sem::factor_test {
namespace {

using tests::small_run;

const std::vector<std::string> names = {"school", "x1", "x2", "x3", "w", "y"};

/// Indicators of a factor of the rows, with mean `mean` and a deviation near `unit`, some missing; w is a
/// value of the school, of which there are twenty.
arma::mat columns(double mean = 0.0, double unit = 1.0) {
  Random rng(17, 1);
  arma::mat out(200, 6);
  double school = 0.0, of_school = 0.0;
  for (arma::uword i = 0; i < out.n_rows; ++i) {
    if (i % 10 == 0) {
      school += 1.0;
      of_school = rng.rnorm();
    }
    const double f = of_school + rng.rnorm();
    out.row(i) = arma::rowvec{school,
                              mean + unit * (f + 0.7 * rng.rnorm()),
                              mean + unit * (0.8 * f + 0.7 * rng.rnorm()),
                              mean + unit * (1.2 * f + 0.7 * rng.rnorm()),
                              0.9 * of_school + 0.3,
                              0.5 * f + rng.rnorm()};
    if (i % 9 == 4) out(i, 1 + i % 3) = arma::datum::nan;
  }
  return out;
}

small_run run_of(const std::vector<std::string>& statements, const std::vector<std::string>& latent,
                 const arma::mat& data = columns(), const std::vector<std::string>& ids = {},
                 const std::vector<std::string>& ordinal = {}) {
  small_run run(names, data, ids, statements, {}, ordinal, latent);
  tests::prepare(run);
  return run;
}

const Outcomes& outcomes_of(const Mcmc& chain) {
  return *chain.outcomes();
}

double value_of(Mcmc& chain, unsigned model, arma::uword row) {
  return chain.getParams(model)(row);
}

TEST(Factor, StartsInTheUnitsOfItsIndicators) {
  const double mean = 1e4, unit = 1000.0;
  const small_run run = run_of({"f -> x1 x2 x3"}, {"f"}, columns(mean, unit));
  const auto chain = run.chain(Random(3, 1));
  const arma::vec f = outcomes_of(*chain).latent(chain->working().data).col(0);
  EXPECT_TRUE(f.is_finite());
  EXPECT_NEAR(arma::mean(f), 0.0, 0.3 * unit);
  EXPECT_NEAR(arma::stddev(f), unit, 0.6 * unit);
  const double v = value_of(*chain, 0, 0);
  EXPECT_NEAR(std::log(v), std::log(arma::var(f)), 0.5);
  // Models by name: f, x1, x2, x3; each has its residual variance, its intercept, its loading.
  EXPECT_EQ(value_of(*chain, 1, 2), 1.0);
  for (unsigned i : {2U, 3U}) {
    EXPECT_NEAR(value_of(*chain, i, 1), mean, unit);
    EXPECT_GT(value_of(*chain, i, 2), 0.3);
    EXPECT_LT(value_of(*chain, i, 2), 3.0);
  }
}

TEST(Factor, WithFreeLoadingsStartsInOneOfTheMirroredModesInEveryChain) {
  for (double shift : {-2.0, 2.0}) {
    const small_run run = run_of({"x1 ~ f", "x2 ~ f", "x3 ~ f"}, {"f"}, columns(50.0, 100.0));
    Random rng(4, 1);
    rng.start_shift = shift;
    const auto chain = run.chain(rng);
    EXPECT_EQ(value_of(*chain, 0, 0), 1.0) << "the variance is fixed";
    for (unsigned i : {1U, 2U, 3U}) EXPECT_NEAR(std::log(value_of(*chain, i, 2)), std::log(100.0), 1.0);
  }
}

TEST(Factor, ThatIsTheInterceptOfAnOutcomeStartsAtTheMeansOfItsClusters) {
  const small_run run = run_of({"x1 ~ Intercept@ri"}, {"school=ri"}, columns(1e4, 1000.0), {"school"});
  const auto chain = run.chain(Random(5, 1));
  const arma::vec ri = outcomes_of(*chain).latent(chain->working().data).col(0);
  EXPECT_NEAR(arma::mean(ri), 1e4, 600.0);
  EXPECT_NEAR(value_of(*chain, 0, 1), 1e4, 1500.0) << "the mean of the intercepts";
}

TEST(Factor, ThatIsTheSlopeOfAnOutcomeStartsAtTheSlopeOfARegression) {
  arma::mat data = columns();
  data.col(5) = 1e3 * (3.0 + 2.0 * data.col(1));
  data.col(1) += 5.0;
  const small_run run = run_of({"y ~ x1@rs"}, {"school=rs"}, data, {"school"});
  const auto chain = run.chain(Random(6, 1));
  EXPECT_NEAR(value_of(*chain, 0, 1), 2e3, 500.0);
}

TEST(Factor, HasOneScoreForEachUnitOfItsLevel) {
  const small_run run = run_of({"f -> w x1 x2"}, {"school=f"}, columns(), {"school"});
  const auto chain = run.chain(Random(7, 1));
  for (int t = 0; t < 20; ++t) chain->oneRep();
  const arma::vec f = outcomes_of(*chain).latent(chain->working().data).col(0);
  EXPECT_EQ(arma::vec(arma::unique(f)).n_elem, 20U);
  for (arma::uword i = 0; i < 200; ++i) EXPECT_EQ(f(i), f(10 * (i / 10)));
}

TEST(Factor, ThatNobodyReadsIsDrawnFromItsEquation) {
  const small_run run = run_of({"f ~ w", "f ~~ f@4", "y ~ w"}, {"f"});
  const auto chain = run.chain(Random(8, 1));
  const arma::uword column = run.vars.find("f")->column;
  double squares = 0.0;
  constexpr int scans = 300;
  for (int t = 0; t < scans; ++t) {
    chain->oneRep();
    squares += arma::accu(arma::square(chain->working().data.col(column) -
                                       outcomes_of(*chain).predicted(chain->working().data).col(0)));
  }
  // 60,000 squares of N(0, 4): standard error 4 sqrt(2 / 60000).
  EXPECT_NEAR(squares / (200.0 * scans), 4.0, 6.0 * 4.0 * std::sqrt(2.0 / (200.0 * scans)));
  EXPECT_EQ(outcomes_of(*chain).acceptance().front().front().total, 0U);
}

TEST(Factor, ScoresOfReadersAreProposedAndTunedUnderTheNameLatent) {
  const tests::Setting<bool> walk(sampler_settings::use_autosolver, false);
  const small_run run = run_of({"f -> x1 x2 x3"}, {"f"});
  const auto chain = run.chain(Random(9, 1));
  for (int t = 0; t < 10; ++t) chain->oneRep();
  const estimator::tune_obj tune = outcomes_of(*chain).acceptance().front().front();
  EXPECT_EQ(tune.total, 2000U);
  EXPECT_EQ(tune.kind, estimator::tune_obj::kind_type::latent_2);
  EXPECT_STREQ(tune.label(), "latent");
}

TEST(Factor, CountsNothingInTheFitStatistics) {
  const small_run run = run_of({"f -> x1 x2 x3"}, {"f"});
  const auto chain = run.chain(Random(10, 1));
  chain->oneRep();
  const arma::cube likelihood = chain->getLikelihoods();
  EXPECT_TRUE(likelihood.slice(0).is_zero());
  EXPECT_FALSE(likelihood.slice(1).is_zero());
  EXPECT_EQ(chain->getUnobservedCells(), 22U) << "of the indicators alone";
}

TEST(Factor, ScoresAndRandomEffectsAreSavedUnderTheirNames) {
  const small_run run = run_of({"f -> x1 x2 x3"}, {"f"}, columns(), {"school"});
  const auto chain = run.chain(Random(11, 1));
  const auto saved = chain->dataNames(run.vars, run.models, true, false, false);
  EXPECT_EQ(saved.at(6), "f.latent");
  EXPECT_EQ(saved.at(7), "f$Intercept");
  EXPECT_EQ(chain->getData(true, false, false).n_cols, saved.size());
}

TEST(Factor, OfOrdinalIndicatorsAndOfOtherFactors) {
  arma::mat data = columns();
  for (arma::uword j : {1U, 2U, 3U})
    for (double& cell : data.col(j)) cell = std::isnan(cell) ? cell : std::floor(std::clamp(cell, -1.5, 1.5));
  const small_run run =
      run_of({"f -> x1 x2 x3", "g -> w y", "h -> f g"}, {"f", "g", "h"}, data, {}, {"x1", "x2", "x3"});
  const auto chain = run.chain(Random(12, 1), {1, 1});
  for (int t = 0; t < 200; ++t) chain->oneRep();
  EXPECT_TRUE(chain->getParams().is_finite());
}

}  // namespace
}  // namespace tovik::sem::factor_test
