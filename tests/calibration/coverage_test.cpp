// Intervals and biases under repeated sampling, in brief; `make calibrate` has more replications.

#include <gtest/gtest.h>

#include <cmath>

#include "calibration/coverage_models.hpp"
#include "calibration/pooling.hpp"

namespace tovik::tests::calibration::coverage_test {
namespace {

constexpr std::size_t replications = 40;

/// With a true coverage of 93% or more, 28 intervals of 40 or fewer cover with a probability below 1e-5. Five
/// standard errors and a margin for the bias of order 1/n that a posterior mean has in small samples.
void expect_coverage(const coverage_study& what) {
  const coverage_table table = coverage(what, replications);
  for (const coverage_row& row : table.rows) {
    EXPECT_GE(row.coverage, 28.5 / replications) << row.name << "\n" << table.markdown();
    EXPECT_LT(std::abs(row.bias), 5 * row.bias_error + 0.02) << row.name << "\n" << table.markdown();
    // The width of the intervals belongs to the spread of the estimates: their ratio has an error of about
    // 11%.
    EXPECT_NEAR(std::log(row.posterior / row.deviation), 0, 0.6) << row.name << "\n" << table.markdown();
  }
}

TEST(Coverage, Interaction) {
  expect_coverage(interaction_coverage());
}

TEST(Coverage, CategoricalPredictors) {
  expect_coverage(categorical_coverage());
}

TEST(Coverage, OrdinalOutcome) {
  expect_coverage(ordinal_outcome_coverage());
}

TEST(Coverage, PredictorOfLevelTwo) {
  expect_coverage(level_two_coverage());
}

TEST(Coverage, ContextualEffect) {
  expect_coverage(contextual_coverage());
}

TEST(Coverage, ThreeLevels) {
  expect_coverage(three_level_coverage());
}

TEST(Coverage, FullyConditionalSpecification) {
  expect_coverage(fcs_coverage());
}

TEST(Coverage, FullyConditionalSpecificationWithCategoriesAsPredictors) {
  expect_coverage(observed_fcs_coverage("gibbs"));
}

TEST(Coverage, ObservedClusterMeansInTwoLevels) {
  expect_coverage(observed_means_coverage("gibbs"));
}

TEST(Coverage, ObservedClusterMeansFromObservedRows) {
  expect_coverage(observed_means_coverage("mice"));
}

TEST(Coverage, ObservedClusterMeansInThreeLevels) {
  expect_coverage(observed_means_three_levels_coverage());
}

TEST(Coverage, SamplingWeights) {
  expect_coverage(weighted_coverage());
}

/// Within-variance 1, between-variance 2: total 1 + 1.5 * 2 = 4, of which 3/4 is due to missing data; 1 /
/// (3/4)^2 degrees of freedom of two imputations, and 11/13 * 10 / 4 of the rows.
TEST(Pooling, OfTwoImputations) {
  const estimate e = pool({1.0, 3.0}, {1.0, 1.0}, 10);
  EXPECT_DOUBLE_EQ(e.mean, 2);
  EXPECT_DOUBLE_EQ(e.deviation, 2);
  const double df = 1 / (9.0 / 16 + 13.0 * 4 / (11 * 10));
  const double half = 2 * boost::math::quantile(boost::math::students_t_distribution<double>(df), 0.975);
  EXPECT_NEAR(e.lower, 2 - half, 1e-9);
  EXPECT_NEAR(e.upper, 2 + half, 1e-9);
}

TEST(Pooling, LeastSquares) {
  const arma::Mat<double> X = {{1, 0}, {1, 1}, {1, 2}};
  const arma::Mat<double> found = least_squares(X, {1, 2, 2});
  EXPECT_NEAR(found(1, 0), 0.5, 1e-12);
  EXPECT_NEAR(found(1, 1), (1.0 / 6) / 2, 1e-12);
}

}  // namespace
}  // namespace tovik::tests::calibration::coverage_test
