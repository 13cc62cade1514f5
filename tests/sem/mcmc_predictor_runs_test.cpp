// What whole runs with incomplete predictors find in data whose truth is known.

#include <gtest/gtest.h>

#include <cmath>

#include "sem/two_level_predictors.hpp"

namespace tovik::sem::mcmc_predictor_runs_test {
namespace {

using tests::clustered;
using tests::predictor;
using tests::predictor_run;
using tests::tuned_draws;
using tests::two_level;
using step = predictor_step;
using center = data::center;

const double nan = arma::datum::nan;
const std::vector<std::string> names = two_level::names();

/// The rows of an equation come as: covariances, residual variance, coefficients. The seeds are fixed; with
/// others the posterior mean is farther off than four of its standard deviations in one of 15,000 runs. Draws
/// of the latent means without the likelihood of their readers shift slopes by more.
void expect_near_truth(const arma::mat& draws, arma::uword row, double truth) {
  const arma::vec values = draws.row(row).t();
  const double mean = arma::mean(values);
  const double sd = arma::norm(values - mean) / std::sqrt(static_cast<double>(values.n_elem - 1));
  EXPECT_NEAR(mean, truth, 4.0 * sd) << "row " << row << ", sd " << sd;
  EXPECT_LT(sd, 0.15);
}

TEST(McmcPredictorRuns, AGroupCenteredPredictorAndItsMeanAreUnbiased) {
  const two_level world(300, 8, 41, 0.6, 1.2);
  auto p = clustered();
  p.centered = {{"x", center::cluster}};
  const predictor_run run(names, world.data, {"y ~ x x.mean"}, p);
  const auto chain = run.chain(Random(7, 1));
  const Variable& x = predictor(*chain, "x");
  EXPECT_TRUE(x.needsLikelihood(step::imputation, 0));
  EXPECT_TRUE(x.needsLikelihood(step::level_mean, 1));
  EXPECT_FALSE(x.needsLikelihood(step::grand_mean, 0));
  const arma::mat draws = tuned_draws(*chain, 400, 800);
  // Intercept variance, residual variance, intercept, slopes.
  expect_near_truth(draws, 0, 0.25);
  expect_near_truth(draws, 1, 0.64);
  expect_near_truth(draws, 3, 0.6);
  expect_near_truth(draws, 4, 1.2);
  EXPECT_NO_THROW(chain->tune_check());
}

TEST(McmcPredictorRuns, AGrandCenteredPredictorNeedsTheLikelihoodForItsGrandMean) {
  const two_level world(150, 6, 43, 0.6, 0.6);
  auto p = clustered();
  p.centered = {{"x", center::grand}};
  const predictor_run run(names, world.data, {"y ~ x"}, p);
  const auto chain = run.chain(Random(7, 1));
  const Variable& x = predictor(*chain, "x");
  EXPECT_FALSE(x.needsLikelihood(step::level_mean, 1));
  EXPECT_TRUE(x.needsLikelihood(step::grand_mean, 0));
  const arma::mat draws = tuned_draws(*chain, 300, 600);
  expect_near_truth(draws, 3, 0.6);
  // What the equation reads is centred at the grand mean of the model.
  const double mu = x.params()[0];
  const arma::vec raw = arma::vec(x.uncenteredData().col(0)).elem(chain->working().units(0));
  EXPECT_LT(arma::abs(chain->working().data.col(2) - (raw - mu)).max(), 1e-12);
}

TEST(McmcPredictorRuns, ARandomSlopeOfAnIncompletePredictor) {
  Random rng(5, 2);
  arma::mat file(200 * 8, 3);
  for (arma::uword j = 0; j < 200; ++j) {
    const double u = 0.5 * rng.rnorm(), slope = 0.8 + 0.5 * rng.rnorm();
    for (arma::uword i = 0; i < 8; ++i) {
      const double x = rng.rnorm();
      const double y = u + slope * x + 0.7 * rng.rnorm();
      const bool hole = rng.runif() < (y > 0 ? 0.35 : 0.1);
      file.row(j * 8 + i) = arma::rowvec{static_cast<double>(j), y, hole ? nan : x};
    }
  }
  auto p = clustered();
  p.fixed = {};
  predictor_run run({"id", "y", "x"}, file, {"y ~ x | x"}, p);
  const auto chain = run.chain(Random(7, 1));
  EXPECT_TRUE(predictor(*chain, "x").needsLikelihood(step::imputation, 0));
  const arma::mat draws = tuned_draws(*chain, 300, 600);
  // Covariance matrix of intercept and slope (three elements), residual variance, intercept, slope.
  expect_near_truth(draws, 2, 0.25);
  expect_near_truth(draws, 3, 0.49);
  expect_near_truth(draws, 5, 0.8);
}

/// y = 0.5 + 0.9 x w + e with x missing at a rate that depends on y, w complete.
arma::mat product_data() {
  Random rng(17, 3);
  arma::mat file(1500, 3);
  for (arma::uword i = 0; i < file.n_rows; ++i) {
    const double w = 1.0 + rng.rnorm();
    const double x = 1.0 + 0.5 * w + rng.rnorm();
    const double y = 0.5 + 0.9 * x * w + rng.rnorm();
    const bool hole = rng.runif() < (y > 2 ? 0.4 : 0.1);
    file.row(i) = arma::rowvec{y, hole ? nan : x, w};
  }
  return file;
}

void expect_product_found(const predictor_run& run) {
  const auto chain = run.chain(Random(7, 1));
  EXPECT_TRUE(predictor(*chain, "x").needsLikelihood(step::imputation, 0));
  const arma::mat draws = tuned_draws(*chain, 200, 500);
  expect_near_truth(draws, 0, 1.0);
  expect_near_truth(draws, 1, 0.5);
  expect_near_truth(draws, 2, 0.9);
}

TEST(McmcPredictorRuns, APredictorThatIsReadInAProductOnly) {
  predictor_run::plan p;
  p.fixed = {"w"};
  expect_product_found(predictor_run({"y", "x", "w"}, product_data(), {"y ~ (x*w)"}, p));
}

TEST(McmcPredictorRuns, APredictorThatIsReadThroughADefinitionOnly) {
  predictor_run::plan p;
  p.fixed = {"w"};
  p.definitions = {{"xw", "x * w"}};
  expect_product_found(predictor_run({"y", "x", "w"}, product_data(), {"y ~ xw"}, p));
}

/// y ~ m - M and M, where m has an equation of its own and M is its part between clusters.
TEST(McmcPredictorRuns, AnOutcomeThatOthersReadCenteredHasACopyLessItsMean) {
  Random rng(29, 1);
  arma::mat file(250 * 8, 4);
  for (arma::uword j = 0; j < 250; ++j) {
    const double M = 3.0 + 0.8 * rng.rnorm();
    const double u = 0.4 * rng.rnorm();
    for (arma::uword i = 0; i < 8; ++i) {
      const double z = rng.rnorm();
      const double e = 0.5 * z + rng.rnorm();
      const double y = 1.0 + 0.7 * e - 0.5 * M + u + 0.6 * rng.rnorm();
      const bool hole = rng.runif() < (y > 0 ? 0.35 : 0.1);
      file.row(j * 8 + i) = arma::rowvec{static_cast<double>(j), y, hole ? nan : M + e, z};
    }
  }
  auto p = clustered();
  p.fixed = {"z"};
  p.centered = {{"m", center::cluster}};
  const predictor_run run({"id", "y", "m", "z"}, file, {"y ~ m m.mean", "m ~ z"}, p);
  const auto chain = run.chain(Random(7, 1));
  ASSERT_EQ(chain->predictors().size(), 1u);
  const Variable& m = predictor(*chain, "m");
  EXPECT_TRUE(m.means_only());
  EXPECT_FALSE(m.missing);
  EXPECT_TRUE(m.needsLikelihood(step::level_mean, 1));
  EXPECT_FALSE(m.needsLikelihood(step::grand_mean, 0));
  const arma::uword copy = run.vars.find("m")->centered_columns.front();
  for (int t = 0; t < 3; ++t) {
    chain->oneRep();
    const arma::vec means = m.latentMeans().at(0).col(0);
    const arma::mat& data = chain->working().data;
    const arma::vec expected = data.col(2) - means;
    EXPECT_LT(arma::abs(data.col(copy) - expected).max(), 1e-12);
  }
  const arma::mat draws = tuned_draws(*chain, 400, 800);
  const bool y_first = run.models[0].name() == "y";
  const arma::uword at = y_first ? 0 : run.models[0].n_rows();
  expect_near_truth(draws, at + 3, 0.7);
  expect_near_truth(draws, at + 4, -0.5);
  const arma::mat out = chain->getData();
  for (arma::uword k = 0; k < file.n_elem; ++k) {
    if (std::isnan(file[k])) continue;
    ASSERT_EQ(out[k], file[k]);
  }
}

}  // namespace
}  // namespace tovik::sem::mcmc_predictor_runs_test
