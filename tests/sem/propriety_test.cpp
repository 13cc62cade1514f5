// Flat priors need data: what is short of them is refused with the counts and a cure.

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "sem/small_run.hpp"
#include "support/error.hpp"

namespace tovik::sem::propriety_test {
namespace {

/// `clusters` schools of 6 rows; x varies within them, w between them only.
tests::small_run schools(arma::uword clusters, const std::string& statement) {
  Random rng(4, 1);
  arma::mat data(6 * clusters, 4);
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    data(i, 0) = static_cast<double>(i / 6 + 1);
    data(i, 1) = rng.rnorm();
    data(i, 2) = rng.rnorm();
    data(i, 3) = std::sin(static_cast<double>(i / 6 + 1));
  }
  return {{"school", "y", "x", "w"}, data, {"school"}, {statement}};
}

std::string failure(arma::uword clusters, const std::string& statement, const priors& prior = {}) {
  try {
    schools(clusters, statement).chain(Random(1, 1), prior);
  } catch (const tovik::error& e) {
    return e.what();
  }
  return "";
}

TEST(Propriety, ARandomInterceptNeedsFourClusters) {
  EXPECT_EQ(failure(4, "y ~ x | 1"), "");
  EXPECT_EQ(
      failure(3, "y ~ x | 1"),
      "ERROR: There are too few clusters of 'school' in the model of 'y'.\n"
      "       3 clusters for 1 random effect and 1 coefficient between clusters: a flat prior of variances "
      "needs 4.\n"
      "       Use 'OPTIONS: prior1;' or fewer random effects.");
}

TEST(Propriety, ASlopeAndAnInterceptNeedSix) {
  EXPECT_EQ(failure(6, "y ~ x | x"), "");
  EXPECT_NE(failure(5, "y ~ x | x").find("5 clusters for 2 random effects and 1 coefficient"),
            std::string::npos);
}

TEST(Propriety, PredictorsOfTheClustersTakeDegreesOfFreedom) {
  EXPECT_EQ(failure(5, "y ~ x w | 1"), "");
  EXPECT_NE(failure(4, "y ~ x w | 1").find("2 coefficients between clusters"), std::string::npos);
  EXPECT_EQ(failure(4, "y ~ x w@0.5 | 1"), "");
}

TEST(Propriety, AProperPriorNeedsNoClusters) {
  EXPECT_EQ(failure(2, "y ~ x | x", {1, 1}), "");
  EXPECT_EQ(failure(3, "y ~ x | 1", {2, 3}), "");
}

TEST(Propriety, AnEquationWithoutRandomEffectsNeedsUnitsOnly) {
  EXPECT_EQ(failure(2, "y ~ x w | 0"), "");
}

/// n rows of y, x and z, of which y has `missing` empty cells.
std::string single_level(arma::uword n, arma::uword missing, const std::string& statement,
                         const priors& prior) {
  Random rng(5, 1);
  arma::mat data = rng.randn(static_cast<int>(n), 3);
  for (arma::uword i = 0; i < missing; ++i) data(i, 0) = arma::datum::nan;
  const tests::small_run run({"y", "x", "z"}, data, {}, {statement});
  try {
    run.chain(Random(1, 1), prior);
  } catch (const tovik::error& e) {
    return e.what();
  }
  return "";
}

TEST(Propriety, AFlatResidualVarianceNeedsThreeValuesMoreThanCoefficients) {
  EXPECT_EQ(single_level(6, 0, "y ~ x z", {2, 2}), "");
  EXPECT_EQ(single_level(5, 0, "y ~ x z", {2, 2}),
            "ERROR: There are too few observed values of 'y'.\n"
            "       5 values for 3 coefficients: the prior of the residual variance needs 6.\n"
            "       Use 'OPTIONS: prior1;' or fewer predictors.");
  EXPECT_EQ(single_level(5, 0, "y ~ x", {2, 2}), "");
}

TEST(Propriety, MissingValuesDoNotCount) {
  EXPECT_EQ(single_level(9, 3, "y ~ x z", {2, 2}), "");
  EXPECT_NE(single_level(9, 4, "y ~ x z", {2, 2}), "");
}

TEST(Propriety, OtherPriorsNeedLess) {
  EXPECT_EQ(single_level(4, 0, "y ~ x z", {3, 2}), "");
  EXPECT_NE(single_level(3, 0, "y ~ x z", {3, 2}), "");
  EXPECT_EQ(single_level(3, 0, "y ~ x z", {1, 2}), "");
}

TEST(Propriety, AFixedResidualVarianceHasNoPrior) {
  Random rng(6, 1);
  const tests::small_run run({"y", "x", "z"}, rng.randn(3, 3), {}, {"y ~ x z", "y ~~ y@1"});
  EXPECT_EQ(run.failure({2, 2}), "");
}

}  // namespace
}  // namespace tovik::sem::propriety_test
