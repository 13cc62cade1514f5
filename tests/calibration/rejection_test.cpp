// Wald tests reject true hypotheses about as often as their level says.

#include "calibration/rejection.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace tovik::tests::calibration::rejection_test {
namespace {

constexpr std::size_t replications = 200;

/// A share of 200 is beyond 4.5 standard errors with a probability below 1e-5. The statistic is compared with
/// chi-square where F with the residual degrees of freedom would be exact, and the draws have an error of
/// their own: with 60 schools a level of 5% becomes 6%, one of 25% becomes 26%.
void expect_levels(const rejection_study& what) {
  const arma::Mat<double> p = probabilities(what, replications);
  for (arma::uword j = 0; j < p.n_cols; ++j) {
    ASSERT_TRUE(p.col(j).is_finite()) << what.tests[j];
    for (const double level : {0.05, 0.25, 0.5}) {
      const double error = std::sqrt(level * (1 - level) / replications);
      EXPECT_NEAR(rejections(p.col(j), level), level, 4.5 * error + 0.015) << what.tests[j] << ", " << level;
    }
    EXPECT_NEAR(arma::mean(p.col(j)), 0.5, 4.5 / std::sqrt(12.0 * replications) + 0.01) << what.tests[j];
  }
}

TEST(Rejections, Regression) {
  expect_levels(regression_rejections());
}

TEST(Rejections, TwoLevels) {
  expect_levels(two_level_rejections());
}

/// Power: of a hypothesis that is wrong by four standard errors of the estimate nearly all tests reject.
TEST(Rejections, OfAWrongHypothesis) {
  rejection_study wrong = regression_rejections();
  wrong.runs.commands = "MODEL: y ~ x@b1 z@b2 w;\nWALDTEST: b1 = 1.1;\n" +
                        wrong.runs.commands.substr(wrong.runs.commands.find("OPTIONS:"));
  wrong.tests = {"b1 = 1.1"};
  EXPECT_GT(rejections(probabilities(wrong, 40).col(0), 0.05), 0.8);
}

}  // namespace
}  // namespace tovik::tests::calibration::rejection_test
