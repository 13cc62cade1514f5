// Log likelihoods of several draws together, against what the ensemble says of each draw when it is made.

#include "sem/ensemble/likelihood_totals.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "sem/predictor_run.hpp"
#include "sem/small_run.hpp"
#include "support/error.hpp"

namespace tovik::sem::likelihood_totals_test {
namespace {

using tests::predictor_run;
using tests::small_run;

const std::vector<std::string> names = {"id", "y", "x", "w", "z"};

/// `clusters` of `size` rows. w is the same in all rows of a cluster.
arma::mat study(arma::uword clusters, arma::uword size) {
  Random rng(5, 1);
  arma::mat out(clusters * size, 5);
  for (arma::uword c = 0; c < clusters; ++c) {
    const double u = rng.rnorm(), w = rng.rnorm();
    for (arma::uword i = c * size; i < (c + 1) * size; ++i) {
      const double x = rng.rnorm(), y = 1 + 0.5 * x + 0.3 * w + u + rng.rnorm();
      out.row(i) = arma::rowvec{static_cast<double>(c), y, x, w, 0.4 * y + rng.rnorm()};
    }
  }
  return out;
}

void lose(arma::mat& data, arma::uword column, arma::uword every) {
  for (arma::uword i = 1; i < data.n_rows; i += every) data(i, column) = arma::datum::nan;
}

/// The kept draws of a column of the totals: units x draws.
arma::mat values_of(likelihood_totals& totals, arma::uword column) {
  arma::mat out(totals.n_units(), totals.n_draws());
  for (arma::uword first = 0; first < out.n_rows; first += likelihood_totals::most_rows) {
    const arma::uword n = std::min(likelihood_totals::most_rows, out.n_rows - first);
    const double* at = totals.evaluate(first, n) + column * n * out.n_cols;
    out.rows(first, first + n - 1) = arma::mat(at, n, out.n_cols);
  }
  return out;
}

/// Makes 30 draws; compares them with the cubes, both columns. Returns the totals.
std::unique_ptr<likelihood_totals> expect_totals(Mcmc& chain) {
  chain.oneRep();
  std::unique_ptr<likelihood_totals> totals = chain.getLikelihoodTotals();
  std::vector<arma::mat> expected(2);
  for (int t = 0; t < 30; ++t) {
    chain.oneRep();
    totals->keep();
    const arma::cube cube = chain.getLikelihoods();
    for (arma::uword c = 0; c < 2; ++c) expected[c].insert_cols(t, cube.slice(cube.n_slices - 1).col(c));
  }
  for (arma::uword c = 0; c < 2; ++c) {
    const arma::mat found = values_of(*totals, totals->n_columns() == 2 ? c : 0);
    EXPECT_TRUE(arma::approx_equal(found, expected[c], "absdiff", 1e-10)) << c;
    EXPECT_GT(arma::stddev(arma::vectorise(found)), 0.1);
  }
  return totals;
}

TEST(LikelihoodTotals, RegressionsWithoutEffectsAreEvaluatedTogether) {
  const small_run run(names, study(60, 10), {}, {"y ~ x w", "z ~ x"});
  const auto chain = run.chain(Random(2, 1));
  const auto totals = expect_totals(*chain);
  EXPECT_EQ(totals->n_together(), 2u);
  EXPECT_EQ(totals->n_columns(), 1u);
  EXPECT_EQ(totals->n_units(), 600u);
}

TEST(LikelihoodTotals, CellsThatWereNotObservedCountForNothing) {
  arma::mat data = study(60, 10);
  lose(data, 1, 3);
  const small_run run(names, data, {}, {"y ~ x w"});
  const auto chain = run.chain(Random(2, 1));
  const auto totals = expect_totals(*chain);
  EXPECT_EQ(totals->n_together(), 1u);
  const arma::mat values = values_of(*totals, 0);
  for (arma::uword i = 0; i < 600; ++i) EXPECT_EQ(arma::all(values.row(i) == 0.0), i % 3 == 1) << i;
}

TEST(LikelihoodTotals, AnEquationThatReadsAnImputedOutcomeIsEvaluatedDrawByDraw) {
  arma::mat data = study(60, 10);
  lose(data, 1, 4);
  const small_run run(names, data, {}, {"y ~ x w", "z ~ y x"});
  const auto chain = run.chain(Random(2, 1));
  EXPECT_EQ(expect_totals(*chain)->n_together(), 1u);
}

TEST(LikelihoodTotals, AnEquationWithAnIncompletePredictorIsEvaluatedDrawByDraw) {
  arma::mat data = study(40, 10);
  lose(data, 2, 4);
  predictor_run::plan plan;
  plan.fixed = {"w"};
  const predictor_run run(names, data, {"y ~ x w"}, plan);
  const auto chain = run.chain(Random(2, 1));
  EXPECT_EQ(expect_totals(*chain)->n_together(), 0u);
}

TEST(LikelihoodTotals, EffectsHaveAMarginalLikelihoodBesideTheConditionalOne) {
  arma::mat data = study(60, 10);
  for (const bool complete : {true, false}) {
    if (!complete) lose(data, 1, 5);
    const small_run run(names, data, {"id"}, {"y ~ x w | x"});
    const auto chain = run.chain(Random(2, 1));
    const auto totals = expect_totals(*chain);
    EXPECT_EQ(totals->n_together(), 0u);
    EXPECT_EQ(totals->n_columns(), 2u);
    EXPECT_FALSE(arma::approx_equal(values_of(*totals, 0), values_of(*totals, 1), "absdiff", 1e-3));
  }
}

TEST(LikelihoodTotals, AnOutcomeOfTheClustersIsEvaluatedTogetherBesideOneOfTheRows) {
  const small_run run(names, study(60, 10), {"id"}, {"y ~ x w", "w ~ 1"});
  const auto chain = run.chain(Random(2, 1));
  const auto totals = expect_totals(*chain);
  EXPECT_EQ(totals->n_together(), 1u);
  EXPECT_EQ(totals->n_columns(), 2u);
  EXPECT_EQ(totals->n_units(), 60u);
}

TEST(LikelihoodTotals, FixedValuesAndDrivenCoefficientsAreThoseOfTheDraw) {
  const small_run run(names, study(60, 10), {}, {"y ~ 1@1.5 x@b w", "z ~ x@b", "z ~~ z@2"},
                      {"b ~ normal(0, 1)"});
  const auto chain = run.chain(Random(2, 1));
  EXPECT_EQ(expect_totals(*chain)->n_together(), 2u);
}

TEST(LikelihoodTotals, RoomIsBounded) {
  predictor_run::plan plan;
  plan.fixed = {"w"};
  arma::mat data = study(600, 10);
  lose(data, 2, 4);
  const predictor_run run(names, data, {"y ~ x w"}, plan);
  const auto chain = run.chain(Random(2, 1));
  chain->oneRep();
  const auto totals = chain->getLikelihoodTotals();
  arma::uword draws = 0;
  for (; !totals->full(); ++draws) totals->keep();
  EXPECT_EQ(draws, likelihood_totals::most_cells / 6000);
  EXPECT_THROW(totals->keep(), error_debug);
  totals->clear();
  EXPECT_EQ(totals->n_draws(), 0u);
  EXPECT_THROW(totals->evaluate(0, likelihood_totals::most_rows + 1), error_debug);
  EXPECT_THROW(totals->evaluate(5999, 2), error_debug);
}

TEST(LikelihoodTotals, WithoutOutcomesThereAreNone) {
  small_run run(names, study(6, 10), {}, {"y ~ x"});
  run.models.clear();
  EXPECT_EQ(run.chain(Random(2, 1))->getLikelihoodTotals(), nullptr);
}

}  // namespace
}  // namespace tovik::sem::likelihood_totals_test
