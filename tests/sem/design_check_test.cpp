// Predictors that leave coefficients undetermined are named before the first draw; large means leave them
// determined.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "sem/small_run.hpp"

namespace tovik::sem::design_check_test {
namespace {

const std::vector<std::string> names = {"y", "a", "b", "c", "d"};

/// 40 rows: a and b are noise, c = 2 a - b + 3, d a constant.
arma::mat example() {
  Random rng(31, 1);
  arma::mat data = rng.randn(40, 5);
  data.col(3) = 2.0 * data.col(1) - data.col(2) + 3.0;
  data.col(4).fill(7.0);
  return data;
}

std::string failure(const std::string& statement, const arma::mat& data = example()) {
  return tests::small_run(names, data, {}, {statement}).failure();
}

TEST(DesignCheck, ACombinationIsNamedWithItsParts) {
  EXPECT_EQ(failure("y ~ a b c"),
            "ERROR: The predictor 'c' of 'y' is a combination of 'a' and 'b'.\n       Remove one of them and "
            "rerun.");
  EXPECT_EQ(failure("y ~ c a"), "");
  EXPECT_EQ(failure("y ~ a b c@2"), "");
}

TEST(DesignCheck, AColumnThatDoesNotVaryIsNamed) {
  EXPECT_EQ(failure("y ~ a d"), "ERROR: Variable 'd' does not vary.\n       Remove it and rerun.");
  EXPECT_EQ(failure("y ~ 0 a d"), "");  // in the place of the intercept
}

TEST(DesignCheck, AComputedPredictorIsFinite) {
  arma::mat data = example();
  data(3, 1) = 0.0;
  const std::string text = failure("y ~ b (1/a)", data);
  EXPECT_EQ(text.rfind("ERROR: The predictor '", 0), 0u) << text;
  EXPECT_NE(text.find("' of 'y' gives values that are not finite."), std::string::npos) << text;
}

TEST(DesignCheck, AMeanOfTenMillionStandardDeviationsLeavesTheSlope) {
  arma::mat data = example();
  arma::mat X = arma::join_rows(arma::ones(40), data.col(1) - arma::mean(data.col(1)), data.col(2));
  const arma::vec b = arma::solve(X, data.col(0));
  const double s2 = arma::accu(arma::square(data.col(0) - X * b)) / 35.0;
  const arma::mat V = arma::inv(X.t() * X);
  const double sd = std::sqrt(s2 * V(1, 1));
  data.col(1) += 1e7;
  const tests::small_run run(names, data, {}, {"y ~ a b"});
  auto chain = run.chain(Random(3, 1));
  const arma::mat all = tests::draws(*chain, 100, 8000);
  // Independent draws: t with n - k - 2 = 35 degrees of freedom about b, whose variance is sd^2 35 / 33;
  // within four standard errors of the mean, and of the standard deviation with a tail of that t.
  const double spread = sd * std::sqrt(35.0 / 33.0);
  EXPECT_NEAR(arma::mean(all.row(2)), b(1), 4.0 * spread / std::sqrt(8000.0));
  EXPECT_NEAR(arma::stddev(all.row(2)), spread, 5.0 * spread / std::sqrt(16000.0));
}

}  // namespace
}  // namespace tovik::sem::design_check_test
