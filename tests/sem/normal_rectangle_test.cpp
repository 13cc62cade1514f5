#include "sem/predictors/normal_rectangle.hpp"

#include <gtest/gtest.h>

#include <cmath>

#include "random/densities.hpp"
#include "support/error.hpp"

namespace tovik::sem::mvnphi_test {
namespace {

arma::mat scalar(double variance) {
  return arma::mat(1, 1, arma::fill::value(variance));
}

arma::mat equicorrelated(arma::uword d, double rho) {
  return (1.0 - rho) * arma::mat(d, d, arma::fill::eye) + rho * arma::mat(d, d, arma::fill::ones);
}

/// Of the common-factor form X_i = sqrt(rho) F + sqrt(1 - rho) e_i: one integral over the factor.
double equicorrelated_rectangle(const arma::vec& bound, double rho) {
  double sum = 0.0;
  const double step = 0.002;
  for (double f = -9.0; f < 9.0; f += step) {
    double product = std::exp(-0.5 * f * f) / std::sqrt(2.0 * arma::datum::pi);
    for (double b : bound) product *= phi((b - std::sqrt(rho) * f) / std::sqrt(1.0 - rho));
    sum += product * step;
  }
  return sum;
}

/// P(X1 <= a, X2 <= b): the density of X1 times the conditional probability of X2.
double bivariate(double a, double b, const arma::mat& S) {
  const double s1 = std::sqrt(S(0, 0)), slope = S(0, 1) / S(0, 0);
  const double s2 = std::sqrt(S(1, 1) - slope * S(0, 1));
  double sum = 0.0;
  const int n = 40000;
  const double lower = -9.0 * s1, step = (a - lower) / n;
  for (int i = 0; i < n; ++i) {
    const double x = lower + (i + 0.5) * step;
    sum += std::exp(-0.5 * x * x / S(0, 0)) / (s1 * std::sqrt(2.0 * arma::datum::pi)) *
           phi((b - slope * x) / s2) * step;
  }
  return sum;
}

TEST(NormalRectangle, OneDimensionIsPhi) {
  normal_rectangle rectangle(scalar(4.0));
  for (double b : {-3.0, -0.4, 0.0, 2.5}) EXPECT_DOUBLE_EQ(rectangle(arma::vec{b}), phi(b / 2.0));
}

TEST(NormalRectangle, OrthantsAtCorrelationOneHalf) {
  for (arma::uword d = 2; d <= 6; ++d) {
    normal_rectangle rectangle(equicorrelated(d, 0.5));
    const double expected = 1.0 / (static_cast<double>(d) + 1.0);
    EXPECT_NEAR(rectangle(arma::vec(d, arma::fill::zeros)), expected, 0.02 * expected) << d;
  }
}

TEST(NormalRectangle, AgreesWithIntegrationInTwoDimensions) {
  arma::mat const S = {{2.0, -0.7}, {-0.7, 0.5}};
  normal_rectangle rectangle(S);
  for (double a : {-2.0, -0.3, 1.4})
    for (double b : {-0.9, 0.1, 1.1})
      EXPECT_NEAR(rectangle(arma::vec{a, b}), bivariate(a, b, S), 5e-4) << a << " " << b;
}

TEST(NormalRectangle, AgreesWithIntegrationOverACommonFactor) {
  for (arma::uword d : {3u, 5u}) {
    normal_rectangle rectangle(equicorrelated(d, 0.3));
    arma::vec const bound = arma::linspace(-0.8, 1.5, d);
    EXPECT_NEAR(rectangle(bound), equicorrelated_rectangle(bound, 0.3), 2e-3) << d;
  }
}

TEST(NormalRectangle, IsTheSameEveryTimeAndSmoothInTheBound) {
  normal_rectangle rectangle(equicorrelated(3, 0.5));
  arma::vec const at = {0.3, -0.2, 0.9};
  const double value = rectangle(at);
  EXPECT_EQ(normal_rectangle(equicorrelated(3, 0.5))(at), value);
  const double up = rectangle(at + 1e-6), down = rectangle(at - 1e-6);
  EXPECT_NEAR((up - down) / 2.0, up - value, 1e-10);
  EXPECT_GT(up, value);
}

TEST(NormalRectangle, FarBoundsGiveZeroAndOne) {
  normal_rectangle rectangle(equicorrelated(3, 0.5));
  EXPECT_EQ(rectangle(arma::vec{-60.0, 0.0, 0.0}), 0.0);
  EXPECT_EQ(rectangle(arma::vec{0.0, 0.0, -60.0}), 0.0);
  EXPECT_NEAR(rectangle(arma::vec{60.0, 60.0, 60.0}), 1.0, 1e-12);
  EXPECT_NEAR(rectangle(arma::vec{60.0, 0.4, 60.0}), phi(0.4), 2e-3);
}

TEST(NormalRectangle, ThrowsUnlessPositiveDefinite) {
  EXPECT_THROW(normal_rectangle(equicorrelated(2, 1.5)), numeric_error);
}

}  // namespace
}  // namespace tovik::sem::mvnphi_test
