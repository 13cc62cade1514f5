#include "sem/ensemble/starts.hpp"

#include <gtest/gtest.h>

#include "sem/small_run.hpp"

namespace tovik::sem::starts_test {
namespace {

const double nan = arma::datum::nan;

/// Columns: school, y, x, w (level 2). y observed: 1, 2, 4, 9: mean 4, variance 38/3.
arma::mat two_level() {
  return {{1, 1, 0, 5}, {1, 2, 1, 5}, {2, nan, 0, 7}, {2, 4, 3, 7}, {3, 9, 2, nan}, {3, nan, 5, nan}};
}

tests::small_run run(const std::string& statement) {
  return {{"school", "y", "x", "w"}, two_level(), {"school"}, {statement}};
}

arma::vec starts(const tests::small_run& r, double scale, double shift) {
  const working_data working(r.data, {0});
  const unsigned level = r.models[0].levels == 0 ? 1 : 0;
  return generateStarts(r.models[0], working.data, working.clusters(level), scale, shift);
}

void expect_values(const arma::vec& actual, const std::vector<double>& expected) {
  ASSERT_EQ(actual.n_elem, expected.size());
  for (arma::uword i = 0; i < actual.n_elem; ++i) EXPECT_NEAR(actual[i], expected[i], 1e-12) << i;
}

TEST(Starts, UndispersedStartsAreTheMomentsOfTheObservedValues) {
  const double v = 38.0 / 3.0;
  expect_values(starts(run("y ~ x | x"), 1.0, 0.0), {v / 2, 0, v / 2, v, 4, 0});
}

TEST(Starts, VariancesOfSlopesKnowTheUnitsOfTheirCovariates) {
  const tests::small_run r = run("y ~ x | x");
  const working_data working(r.data, {0});
  const double v = 38.0 / 3.0, square = 7.5;
  expect_values(generateStarts(r.models[0], working.data, working.clusters(0), 1.0, 0.0, {{1.0, square}}),
                {v / 2, 0, v / 2 / square, v, 4, 0});
  EXPECT_EQ(generateStarts(r.models[0], working.data, working.clusters(0), 1.0, 0.0, {{1.0, nan}})[2], v / 2);
}

TEST(Starts, DispersionScalesVariancesAndShiftsTheInterceptByStandardDeviations) {
  const double v = 38.0 / 3.0;
  expect_values(starts(run("y ~ x | x"), 3.0, -2.0), {1.5 * v, 0, 1.5 * v, 3 * v, 4 - 2 * std::sqrt(v), 0});
}

TEST(Starts, ValuesOfTheUserTakeThePlaceOfDefaults) {
  const double v = 38.0 / 3.0;
  expect_values(starts(run("y ~ 1%3 x%0.5"), 2.0, 1.0), {v, 2 * v, 3 + std::sqrt(v), 0.5});
}

TEST(Starts, FixedValuesStandAsTheyAre) {
  const double v = 38.0 / 3.0;
  expect_values(starts(run("y ~ 1@7 x@-1"), 2.0, 1.0), {v, 2 * v, 7, -1});
}

TEST(Starts, AFixedResidualVarianceIsNotDispersed) {
  tests::small_run r({"school", "y", "x", "w"}, two_level(), {"school"}, {"y ~ x", "y ~~ y@2.5"});
  const double v = 38.0 / 3.0;
  expect_values(starts(r, 4.0, 0.0), {2 * v, 2.5, 4, 0});
}

TEST(Starts, WithoutInterceptAllCoefficientsStartAtZero) {
  expect_values(starts(run("y ~ 0 x"), 1.0, 5.0).tail(1), {0});
}

TEST(Starts, ALevelTwoOutcomeCountsEachClusterOnce) {
  expect_values(starts(run("w ~ 1"), 1.0, 0.0), {2, 6});
}

TEST(Starts, AConstantOutcomeIsRefused) {
  arma::mat data = two_level();
  data.col(1).fill(3.0);
  tests::small_run r({"school", "y", "x", "w"}, data, {}, {"y ~ 1"});
  EXPECT_EQ(r.failure(), "ERROR: Variable 'y' does not vary.\n       Remove it and rerun.");
}

TEST(Starts, AnOutcomeWithoutObservedValuesIsRefused) {
  arma::mat data = two_level();
  data.col(1).fill(nan);
  tests::small_run r({"school", "y", "x", "w"}, data, {}, {"y ~ 1"});
  EXPECT_EQ(r.failure(), "ERROR: Variable 'y' has no observed values.");
}

TEST(Starts, MissingValuesAreDrawnOnTheScaleOfTheObservedOnes) {
  Random rng(7, 1);
  const arma::vec drawn = draw_missing(run("y ~ 1").models[0], {100.0, 25.0, 100.0}, 40000, rng);
  EXPECT_NEAR(arma::mean(drawn), 100.0, 4 * 5 / 200.0);  // 4 standard errors
  EXPECT_NEAR(arma::stddev(drawn), 5.0, 4 * 5 / std::sqrt(80000.0));
}

TEST(Starts, ATransformedOutcomeStartsFromTheMomentsOfItsTransform) {
  const arma::vec g = arma::log(arma::vec{1, 2, 4, 9});
  const double v = arma::var(g);
  expect_values(starts(run("log(y) ~ x"), 2.0, 1.0), {v, 2 * v, arma::mean(g) + std::sqrt(v), 0});
}

TEST(Starts, MissingValuesOfATransformedOutcomeAreDrawnOnItsScaleAndPutBack) {
  Random rng(8, 1);
  const arma::vec drawn = draw_missing(run("log(y) ~ 1").models[0], {1.0, 0.25, 2.7}, 40000, rng);
  const arma::vec g = arma::log(drawn);
  EXPECT_NEAR(arma::mean(g), 1.0, 4 * 0.5 / 200.0);  // 4 standard errors
  EXPECT_NEAR(arma::stddev(g), 0.5, 4 * 0.5 / std::sqrt(80000.0));
}

TEST(Starts, DrawsOutsideTheRangeOfTheTransformationAreMadeAgain) {
  Random rng(9, 1);
  // y* = y^2 > 0: the truncated normal with mean -1 + lambda, lambda = phi(1) / Phi(-1) = 1.5251.
  const arma::vec drawn = draw_missing(run("y^2 ~ 1").models[0], {-1.0, 1.0, 0.3}, 40000, rng);
  ASSERT_TRUE(drawn.is_finite());
  EXPECT_GT(drawn.min(), 0.0);
  EXPECT_NEAR(arma::mean(arma::square(drawn)), 0.5251, 4 * 0.446 / 200.0);
}

TEST(Starts, TheMeanOrACentralValueStandsInWhereNoDrawIsInRange) {
  Random rng(10, 1);
  const arma::vec low = draw_missing(run("y^2 ~ 1").models[0], {-50.0, 1.0, 0.3}, 3, rng);
  EXPECT_EQ(arma::vec(arma::unique(low)).n_elem, 1U);
  EXPECT_EQ(low[0], 0.3);
}

TEST(Starts, ATransformationThatIsNotFiniteIsRefused) {
  arma::mat data = two_level();
  data(0, 1) = 0.0;
  tests::small_run r({"school", "y", "x", "w"}, data, {}, {"log(y) ~ 1"});
  EXPECT_EQ(r.failure(), "ERROR: The transformation of variable 'y' gives values that are not finite.");
}

}  // namespace
}  // namespace tovik::sem::starts_test
