// Variance models in chains: the rows of the report, starting values, incomplete data, latent effects.

#include <gtest/gtest.h>

#include <cmath>

#include "sample_tests.hpp"
#include "sem/outcomes/scaled.hpp"
#include "small_run.hpp"
#include "support/error.hpp"

namespace tovik::tests::scaled_run_test {
namespace {

const std::vector<std::string> names = {"id", "y", "x", "z", "o"};

/// Forty clusters of eight rows. The log variance of y is 1 + 0.8 z + a normal effect of the cluster with the
/// standard deviation 0.7, y = 2 + 0.5 x + e; o is 1 where another such score is above 0.
arma::mat columns(double unit = 1.0) {
  Random rng(61, 1);
  arma::mat out(320, 5);
  double effect = 0.0;
  for (arma::uword i = 0; i < 320; ++i) {
    if (i % 8 == 0) effect = 0.7 * rng.rnorm();
    const double x = rng.rnorm(), z = rng.rnorm(), l = 1.0 + 0.8 * z + effect;
    const double y = 2.0 + 0.5 * x + std::exp(0.5 * l) * rng.rnorm();
    const double score = 0.3 + 0.9 * x + std::exp(0.4 * z) * rng.rnorm();
    out.row(i) = arma::rowvec{static_cast<double>(i / 8), unit * y, x, z, score > 0.0 ? 1.0 : 0.0};
  }
  return out;
}

/// y and z are missing in some rows.
arma::mat incomplete(arma::mat data) {
  for (arma::uword i = 0; i < data.n_rows; i += 9) data(i, 1) = arma::datum::nan;
  for (arma::uword i = 4; i < data.n_rows; i += 11) data(i, 3) = arma::datum::nan;
  return data;
}

const sem::LogScale& scale_of(const sem::Mcmc& chain) {
  const auto& models = *chain.outcomes();
  for (unsigned i = 0; i < models.n_outcomes(); ++i)
    if (const auto* found = dynamic_cast<const sem::LogScale*>(&models.outcome(i))) return *found;
  throw error_debug("The run has no variance model.");
}

/// Mean and standard deviation of each coefficient of the variance model.
arma::mat coefficients(sem::Mcmc& chain, int burn, int n) {
  arma::mat all;
  for (int i = 0; i < burn + n; ++i) {
    chain.oneRep();
    if (i < burn / 2) chain.adapt();
    if (i >= burn) all.insert_rows(all.n_rows, scale_of(chain).params().t());
  }
  return arma::join_cols(arma::mean(all, 0), arma::stddev(all, 0, 0));
}

TEST(ScaledRun, FindsTheVarianceOfEachRow) {
  const small_run run(names, columns(), {"id"}, {"y ~ x | 0", "var(y) ~ z"});
  const auto chain = run.chain(Random(3, 1));
  const arma::mat g = coefficients(*chain, 200, 800);
  EXPECT_NEAR(g(0, 1), 0.8, 4.0 * g(1, 1));
  EXPECT_LT(g(1, 1), 0.13);
}

TEST(ScaledRun, LabelsAndValuesAgree) {
  for (const std::vector<std::string>& statements :
       {std::vector<std::string>{"y ~ x | x", "var(y) ~ z x", "z ~ x | 0"},
        std::vector<std::string>{"var(y) ~ z", "y ~ x z | 0"},
        std::vector<std::string>{"o ~ x | 0", "var(o) ~ z"}}) {
    const small_run run(names, incomplete(columns()), {"id"}, statements, {}, {"o"});
    const auto chain = run.chain(Random(3, 1), {1, 1});
    for (int i = 0; i < 5; ++i) chain->oneRep();
    const arma::vec rows = chain->outcomes()->params(chain->working().data);
    arma::uword n = 0;
    for (const Model& model : run.models)
      n += model.parameters().size() + model.standardized().size() + model.rsquare().size();
    EXPECT_EQ(rows.n_elem, n);
    EXPECT_TRUE(rows.is_finite());
  }
}

TEST(ScaledRun, StartsWhereTheVarianceOfTheOutcomeDoes) {
  const arma::mat data = columns(1000.0);
  const small_run run(names, data, {}, {"var(y) ~ z", "y ~ x"});
  const auto chain = run.chain(Random(3, 1));
  const arma::vec g = scale_of(*chain).params();
  EXPECT_NEAR(g(0), std::log(arma::var(data.col(1))), 1e-10);
  EXPECT_EQ(g(1), 0.0);
}

TEST(ScaledRun, TheUnitOfAProbitIsHeld) {
  const small_run run(names, columns(), {}, {"o ~ x", "var(o) ~ z"}, {}, {"o"});
  const auto chain = run.chain(Random(4, 1));
  const arma::mat g = coefficients(*chain, 300, 1500);
  EXPECT_EQ(g(0, 0), 0.0);
  EXPECT_NEAR(g(0, 1), 0.8, 4.0 * g(1, 1));
  try {
    const small_run labelled(names, columns(), {}, {"o ~ x", "var(o) ~ z Intercept@a"}, {}, {"o"});
    FAIL();
  } catch (const error& e) {
    EXPECT_EQ(std::string(e.what()).substr(0, 39), "ERROR: The variance model of an ordinal");
  }
}

// Means over draws from a solved distribution of y, and by Metropolis steps.
TEST(ScaledRun, SolvedValuesHaveTheSameDistribution) {
  const small_run run(names, incomplete(columns()).rows(0, 79), {},
                      {"y ~ x", "var(y) ~ z", "x ~ z", "o ~ y"});
  arma::mat found[2];
  for (const bool solves : {false, true}) {
    const Setting<bool> solver(sem::sampler_settings::use_autosolver, solves);
    const auto chain = run.chain(Random(5, 1));
    arma::mat all;
    for (int i = 0; i < 4000; ++i) {
      chain->oneRep();
      if (i < 200) chain->adapt();
      if (i >= 500)
        all.insert_rows(all.n_rows, arma::rowvec{scale_of(*chain).params()(1), chain->working().data(9, 1)});
    }
    found[solves] = arma::join_cols(arma::mean(all, 0), arma::stddev(all, 0, 0));
  }
  for (arma::uword j = 0; j < 2; ++j) {
    EXPECT_NEAR(found[0](0, j), found[1](0, j), 0.2 * found[0](1, j));
    EXPECT_NEAR(found[0](1, j), found[1](1, j), 0.15 * found[0](1, j));
  }
}

double normal_cdf(double x) {
  return 0.5 * std::erfc(-x / std::sqrt(2.0));
}

/// All parameters are held, so that the category of a unit has a known probability given what reads it: with
/// m and v the mean and the variance of its score, `probability`(m, v, y) for the y of the unit. The first
/// scan walks, too: its steps need a width before any variance has been kept for the report.
template <class Probability>
void expect_categories(const char* reader, const Probability& probability) {
  arma::mat data = columns().rows(0, 79);
  const arma::uvec missing = arma::regspace<arma::uvec>(0, 13, 79);
  const arma::uvec of_o = {4};
  data.submat(missing, of_o).fill(arma::datum::nan);
  small_run run(names, data, {}, {"o ~ Intercept@0.3 x@0.9", "var(o) ~ z@0.8", reader, "y ~~ y@4"}, {},
                {"o"});
  prepare(run);
  const auto chain = run.chain(Random(15, 1));
  arma::mat drawn(missing.n_elem, 20000);
  for (int i = -500; i < 20000; ++i) {
    chain->oneRep();
    if (i < -100) chain->adapt();
    if (i >= 0) drawn.col(static_cast<arma::uword>(i)) = chain->working().data.submat(missing, of_o);
  }
  for (arma::uword k = 0; k < missing.n_elem; ++k) {
    const double y = data(missing(k), 1), x = data(missing(k), 2), z = data(missing(k), 3);
    const double error = mean_error(drawn.row(k));
    EXPECT_NEAR(arma::mean(drawn.row(k)), probability(0.3 + 0.9 * x, std::exp(0.8 * z), y),
                5.0 * error + 1e-3)
        << "unit " << k;
    EXPECT_LT(error, 0.015);
  }
}

TEST(ScaledRun, MissingCategoriesThatOthersReadHaveTheirProbabilities) {
  expect_categories("y ~ Intercept@1 o@1.5", [](double m, double v, double y) {
    const double p = normal_cdf(m / std::sqrt(v));
    const double of_one = p * std::exp(-(y - 2.5) * (y - 2.5) / 8.0);
    const double of_zero = (1.0 - p) * std::exp(-(y - 1.0) * (y - 1.0) / 8.0);
    return of_one / (of_one + of_zero);
  });
}

// The score and y are jointly normal.
TEST(ScaledRun, MissingCategoriesHaveTheirProbabilitiesWhereOthersReadTheScores) {
  for (const bool solves : {false, true}) {
    const Setting<bool> solver(sem::sampler_settings::use_autosolver, solves);
    expect_categories("y ~ Intercept@1 o.latent@1.5", [](double m, double v, double y) {
      const double whole = 4.0 + 2.25 * v;
      return normal_cdf((m + 1.5 * v / whole * (y - 1.0 - 1.5 * m)) / std::sqrt(4.0 * v / whole));
    });
  }
}

TEST(ScaledRun, ALatentVariableIsARandomEffectOfTheVariance) {
  small_run run(names, columns(100.0), {"id"}, {"y ~ x | 0", "var(y) ~ z Intercept@v"}, {}, {}, {"id=v"});
  prepare(run);
  const auto chain = run.chain(Random(6, 1));
  const auto& models = *chain->outcomes();
  arma::uword f = 0;
  while (models.outcome(static_cast<unsigned>(f)).type != data::type::latent) ++f;
  const auto& factor = dynamic_cast<const sem::Normal&>(models.outcome(static_cast<unsigned>(f)));
  std::vector<double> variance, mean;
  for (int i = 0; i < 3000; ++i) {
    chain->oneRep();
    if (i < 400) chain->adapt();
    if (i < 600) continue;
    variance.push_back(factor.sigma2);
    mean.push_back(factor.betas()(0));
  }
  const arma::vec v(variance), m(mean);
  EXPECT_NEAR(arma::mean(v), 0.49, 4.0 * arma::stddev(v));
  EXPECT_LT(arma::stddev(v), 0.4);
  EXPECT_NEAR(arma::mean(m), 1.0 + 2.0 * std::log(100.0), 4.0 * arma::stddev(m));
  EXPECT_LT(arma::stddev(m), 0.3);
}

TEST(ScaledRun, LabelsOfMeanAndVarianceAreOneParameter) {
  const small_run run(names, columns(), {}, {"y ~ x@a", "var(y) ~ z@a"});
  const auto chain = run.chain(Random(7, 1));
  for (int i = 0; i < 50; ++i) chain->oneRep();
  for (unsigned i = 0; i < 2; ++i) {
    const auto& model = chain->outcomes()->outcome(i);
    EXPECT_EQ(model.betas()(1), scale_of(*chain).betas()(1));
  }
  EXPECT_NE(scale_of(*chain).betas()(1), 0.0);
}

TEST(ScaledRun, PredictorsOfTheVarianceAreChecked) {
  EXPECT_EQ(small_run(names, columns(), {}, {"y ~ x", "var(y) ~ z (2*z)"}).failure().substr(0, 30),
            "ERROR: The predictor '2*z' of ");
  EXPECT_EQ(small_run(names, columns().rows(0, 4), {}, {"y ~ x", "var(y) ~ z x o"}).failure().substr(0, 53),
            "ERROR: There are too few observed values of 'y'.\n    ");
}

TEST(ScaledRun, BlocksMayHaveVarianceModels) {
  arma::mat data = columns();
  data.col(2) += 0.3 * data.col(1);
  const small_run run(names, incomplete(data), {"id"}, {"y ~ o | 0", "var(y) ~ z", "x ~ o | 0", "y <-> x"});
  const auto chain = run.chain(Random(8, 1));
  const arma::mat g = coefficients(*chain, 200, 600);
  EXPECT_NEAR(g(0, 1), 0.8, 4.0 * g(1, 1) + 0.1);
  const arma::cube fit = chain->outcomes()->likelihood(chain->working().data);
  EXPECT_TRUE(fit.is_finite());
}

}  // namespace
}  // namespace tovik::tests::scaled_run_test
