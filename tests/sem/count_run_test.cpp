// Count outcomes in chains: the rows of the report, starting values, incomplete data, scores for output.

#include <gtest/gtest.h>

#include <cmath>

#include "count_world.hpp"
#include "marginal_check.hpp"
#include "model/parameter.hpp"
#include "sem/ensemble/output_names.hpp"
#include "sem/ensemble/starts.hpp"
#include "small_run.hpp"

namespace tovik::tests::count_run_test {
namespace {

const std::vector<std::string> names = {"school", "y", "x", "w", "v"};

/// Twelve schools of eight rows: counts y, that x and the school predict.
arma::mat columns() {
  Random rng(211, 1);
  arma::mat out(96, 5);
  double u = 0.0;
  for (arma::uword i = 0; i < 96; ++i) {
    if (i % 8 == 0) u = 0.5 * rng.rnorm();
    const double x = rng.rnorm();
    const double y = simulate_counts({u + 1.0 + 0.6 * x}, 2.0, rng)(0);
    out.row(i) = arma::rowvec{static_cast<double>(i / 8), y, x, rng.rnorm(), rng.rnorm()};
  }
  return out;
}

small_run count_run(const arma::mat& data, const std::vector<std::string>& statements,
                    const std::vector<std::string>& ids = {"school"},
                    const std::vector<std::string>& parameters = {}) {
  small_run run(names, data, ids, statements, parameters);
  run.vars.find("y")->type = data::type::count;
  return run;
}

TEST(CountRun, LabelsAndValuesAgree) {
  const ShortSeries series(20);
  const small_run run = count_run(columns(), {"y ~ x w | x"});
  const auto chain = run.chain(Random(3, 1), {1, 1});
  chain->oneRep();
  const arma::vec rows = chain->getParams();
  const auto labels = run.models[0].parameters(), behind = run.models[0].standardized();
  ASSERT_EQ(rows.n_elem, labels.size() + behind.size());
  ASSERT_TRUE(rows.is_finite());
  EXPECT_EQ(labels.at(3), "Variance : Dispersion Parameter");
  EXPECT_EQ(behind.size(), 3U);
  EXPECT_TRUE(run.models[0].rsquare().empty());
  EXPECT_TRUE(arma::approx_equal(rows.tail(3), arma::exp(rows.subvec(4, 6)), "reldiff", 1e-12));
}

// Mean 20 and variance 220: r = 400 / 200.
TEST(CountRun, StartsAreTheMomentsOfTheCounts) {
  arma::mat data = columns();
  for (arma::uword i = 0; i < 96; ++i) data(i, 1) = i % 2 == 0 ? 5.0 : 35.0;
  data(7, 1) = arma::datum::nan;
  data(8, 1) = arma::datum::nan;
  const small_run run = count_run(data, {"y ~ x"}, {});
  const sem::working_data working(run.data, {});
  const auto moments = sem::observed_moments(run.models[0], working.data, working.clusters(0)).front();
  const double v = 225.0 * 94.0 / 93.0, r = 400.0 / (v - 20.0);
  EXPECT_NEAR(moments.mean, std::log(20.0), 1e-12);
  EXPECT_NEAR(moments.variance, std::log(1.0 + v / 400.0), 1e-12);
  const arma::vec starts = sem::generateStarts(run.models[0], moments, 2.0, 1.0);
  ASSERT_EQ(starts.n_elem, 3U);
  EXPECT_NEAR(starts(0), 2.0 * r, 1e-12);
  EXPECT_NEAR(starts(1), std::log(20.0) + std::sqrt(moments.variance), 1e-12);
  EXPECT_EQ(starts(2), 0.0);
  Random rng(4, 1);
  const arma::vec drawn = sem::draw_missing(run.models[0], moments, 400, rng);
  EXPECT_EQ(arma::accu((drawn == 5.0) + (drawn == 35.0)), 400U);
}

// Counts that vary less than Poisson ones.
TEST(CountRun, StartsOfEvenCountsTakeALargeDispersion) {
  arma::mat data = columns();
  for (arma::uword i = 0; i < 96; ++i) data(i, 1) = 7.0 + static_cast<double>(i % 2);
  const small_run run = count_run(data, {"y ~ x"}, {});
  const sem::working_data working(run.data, {});
  EXPECT_EQ(sem::observed_moments(run.models[0], working.data, working.clusters(0)).front().dispersion, 10.0);
}

TEST(CountRun, CountsThatDoNotVaryAreRefused) {
  arma::mat data = columns();
  data.col(1).zeros();
  EXPECT_EQ(count_run(data, {"y ~ x"}, {}).failure(),
            "ERROR: Variable 'y' does not vary.\n       Remove it and rerun.");
  data.col(1).fill(arma::datum::nan);
  data(0, 1) = 3.0;
  EXPECT_EQ(count_run(data, {"y ~ x"}, {}).failure(),
            "ERROR: Variable 'y' does not vary.\n       Remove it and rerun.");
}

TEST(CountRun, CountsNeedAnIntercept) {
  EXPECT_EQ(count_run(columns(), {"y ~ 0 x"}, {}).failure(), "Count Data requires having an interecpt.");
}

// Missing counts, with and without an equation that reads them, stay counts.
TEST(CountRun, IncompleteCountsStayCounts) {
  const ShortSeries series(20);
  arma::mat data = columns();
  for (arma::uword i = 0; i < 96; i += 4) data(i, 1) = arma::datum::nan;
  for (const auto& statements : {std::vector<std::string>{"y ~ x | 1"}, {"w ~ y", "y ~ x"}}) {
    const small_run run = count_run(data, statements);
    const auto chain = run.chain(Random(5, 1), {1, 1});
    arma::vec changes(96, arma::fill::zeros);
    arma::vec before = chain->working().data.col(1);
    for (int t = 0; t < 300; ++t) {
      chain->oneRep();
      const arma::vec now = chain->working().data.col(1);
      ASSERT_TRUE(arma::all(now >= 0.0) && arma::all(now == arma::floor(now)));
      changes += arma::conv_to<arma::vec>::from(now != before);
      before = now;
    }
    for (arma::uword i = 0; i < 96; ++i) {
      if (std::isnan(data(i, 1)))
        EXPECT_GT(changes(i), 20.0) << i;
      else
        EXPECT_EQ(before(i), data(i, 1)) << i;
    }
    ASSERT_TRUE(chain->getParams().is_finite());
  }
}

// What predicts a count has no normal conditional distribution.
TEST(CountRun, NoSolvedDistributionOfWhatACountReads) {
  const ShortSeries series(20);
  arma::mat data = columns();
  for (arma::uword i = 1; i < 96; i += 4) data(i, 2) = arma::datum::nan;
  for (arma::uword i = 0; i < 96; i += 5) data(i, 1) = arma::datum::nan;
  const small_run run = count_run(data, {"y ~ x@a w", "x ~ v", "w ~ x@a y"}, {}, {"a ~ normal(0, 2)"});
  for (const char* name : {"x", "y"}) {
    model::anyVariable unknown;
    for (const Model& model : run.models)
      if (model.name() == name) unknown = model.outcomes.front();
    EXPECT_TRUE(run.models.autosolverInfo(unknown).empty()) << name;
  }
  EXPECT_TRUE(run.models.autosolverInfo(model::parameter::labelled("a")).empty());
  const auto chain = run.chain(Random(6, 1), {1, 1});
  const double before = chain->working().data(1, 2);
  for (int t = 0; t < 50; ++t) chain->oneRep();
  EXPECT_TRUE(chain->getParams().is_finite());
  EXPECT_NE(chain->working().data(1, 2), before);
}

TEST(CountRun, PredictedScoresAreMeans) {
  const ShortSeries series(20);
  const small_run run = count_run(columns(), {"y ~ x w"}, {});
  EXPECT_EQ(sem::predicted_names(run.models[0]), std::vector<std::string>{"y.predicted"});
  const auto chain = run.chain(Random(7, 1));
  chain->oneRep();
  const arma::mat& data = chain->working().data;
  const arma::mat mean = chain->outcomes()->predicted(data);
  const arma::vec b = chain->getParams().subvec(1, 3);
  for (arma::uword i = 0; i < data.n_rows; ++i)
    EXPECT_NEAR(std::log(mean(i)), b(0) + b(1) * data(i, 2) + b(2) * data(i, 3), 1e-10);
}

TEST(CountRun, MarginalLikelihoodIsTheConditionalOneOrUnknown) {
  const ShortSeries series(20);
  expect_marginal_likelihood_without_effects_only(
      [](const std::vector<std::string>& ids) { return count_run(columns(), {"y ~ x"}, ids); }, 8);
}

}  // namespace
}  // namespace tovik::tests::count_run_test
