// Chains with models of incomplete predictors allocate nothing in a scan once their sizes are known.

#include <gtest/gtest.h>

#include "allocation_count.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/predictor_run.hpp"

namespace tovik::tests::predictor_allocation_test {
namespace {

void expect_none(const predictor_run& run) {
  const auto chain = run.chain(Random(12, 1));
  EXPECT_EQ(allocations_of_scans(200, [&] { chain->oneRep(); }), 0U);
}

/// Columns school, y, x1 .. x6: 60 schools of 8 rows; a third of the cells of the first `incomplete`
/// predictors is missing. Those of `categorical` predictors, the last ones, are 1, 2, 3.
arma::mat schools(arma::uword incomplete, arma::uword categorical) {
  Random rng(43, 2);
  arma::mat out(480, 8);
  arma::rowvec mean(6);
  for (arma::uword i = 0; i < out.n_rows; ++i) {
    if (i % 8 == 0)
      for (double& m : mean) m = 0.6 * rng.rnorm();
    out(i, 0) = static_cast<double>(i / 8);
    out(i, 1) = mean[0] + rng.rnorm();
    for (arma::uword j = 0; j < 6; ++j) {
      const double x = mean[j] + rng.rnorm();
      out(i, j + 2) = j + categorical < 6 ? x : 1.0 + (x > -0.5) + (x > 0.5);
      out(i, 1) += 0.2 * x;
    }
    for (arma::uword j = 0; j < incomplete; ++j)
      if ((i + j) % 3 == 0) out(i, j + 2) = arma::datum::nan;
  }
  return out;
}

const std::vector<std::string> names = {"school", "y", "x1", "x2", "x3", "x4", "x5", "x6"};

predictor_run::plan clustered() {
  predictor_run::plan out;
  out.ids = {"school"};
  return out;
}

TEST(PredictorAllocation, NoneForIncompletePredictorsOfARandomSlopeModel) {
  predictor_run::plan plan = clustered();
  plan.fixed = {"x3", "x4", "x5", "x6"};
  expect_none({names, schools(2, 0), {"y ~ x1 x2 x3 x4 x5 x6 | x1"}, plan});
}

TEST(PredictorAllocation, NoneForCentredPredictorsAndTheirMeans) {
  predictor_run::plan plan = clustered();
  plan.fixed = {"x3", "x4", "x5", "x6"};
  plan.centered = {{"x1", data::center::cluster}, {"x2", data::center::grand}};
  expect_none({names, schools(2, 0), {"y ~ x1 x1.mean x2 x3 x4 x5 x6 | x1"}, plan});
}

TEST(PredictorAllocation, NoneForContinuousVariablesAlone) {
  predictor_run::plan plan;
  plan.auxiliary = {"y", "x1", "x2", "x3", "x4", "x5", "x6"};
  expect_none({names, schools(6, 0), {}, plan});
}

TEST(PredictorAllocation, NoneForVariablesOfEveryKindInClusters) {
  predictor_run::plan plan = clustered();
  plan.auxiliary = {"y", "x1", "x2", "x3", "x4", "x5", "x6"};
  plan.ordinal = {"x3", "x4"};
  plan.nominal = {"x5", "x6"};
  expect_none({names, schools(6, 4), {}, plan});
}

TEST(PredictorAllocation, NoneForIncompleteCategoriesThatAnEquationReads) {
  predictor_run::plan plan = clustered();
  plan.ordinal = {"x3", "x4"};
  plan.nominal = {"x5", "x6"};
  expect_none({names, schools(6, 4), {"y ~ x1 x2 x3 x4 x5 x6"}, plan});
}

}  // namespace
}  // namespace tovik::tests::predictor_allocation_test
