#include "random/densities.hpp"

#include <gtest/gtest.h>

#include <boost/math/distributions/beta.hpp>
#include <boost/math/distributions/cauchy.hpp>
#include <boost/math/distributions/gamma.hpp>
#include <boost/math/distributions/inverse_gamma.hpp>
#include <boost/math/distributions/laplace.hpp>
#include <boost/math/distributions/normal.hpp>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

#include "support/error.hpp"

namespace tovik::densities_test {
namespace {

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

using density = double (*)(const double&, const double&, const double&, const bool&);

void expect_density(density f, double x, double a, double b, double expected) {
  EXPECT_NEAR(f(x, a, b, false), expected, 1e-12 * expected) << x << " " << a << " " << b;
  EXPECT_NEAR(f(x, a, b, true), std::log(expected), 1e-10) << x << " " << a << " " << b;
}

void expect_nothing(density f, double x, double a, double b) {
  EXPECT_EQ(f(x, a, b, false), 0.0) << x << " " << a << " " << b;
  EXPECT_EQ(f(x, a, b, true), -inf) << x << " " << a << " " << b;
}

TEST(Densities, AgreeWithReferences) {
  namespace bm = boost::math;
  for (double x : {-3.0, -0.2, 0.0, 0.3, 4.5}) {
    expect_density(dnorm, x, 0.5, 2.25, bm::pdf(bm::normal(0.5, 1.5), x));
    expect_density(dcauchy, x, 0.5, 1.5, bm::pdf(bm::cauchy(0.5, 1.5), x));
    // The factor is scale / 2 where the Laplace density has 1 / (2 scale).
    expect_density(dlaplace, x, 0.5, 1.5, 1.5 * 1.5 * bm::pdf(bm::laplace(0.5, 1.5), x));
  }
  for (double x : {0.01, 0.3, 1.0, 4.5})
    for (double shape : {0.4, 1.0, 3.5}) {
      expect_density(dgamma, x, shape, 2.0, bm::pdf(bm::gamma_distribution<>(shape, 2.0), x));
      expect_density(dinvgamma, x, shape, 2.0, bm::pdf(bm::inverse_gamma_distribution<>(shape, 2.0), x));
    }
  for (double x : {0.01, 0.3, 0.99})
    expect_density(dbeta, x, 2.5, 0.7, bm::pdf(bm::beta_distribution<>(2.5, 0.7), x));
}

TEST(Densities, HoldTheirSpecialPoints) {
  EXPECT_EQ(dlaplace(0, 0, 2, false), 1.0);
  EXPECT_EQ(dnorm(0, 0, 1, false), 0.3989422804014327);
  EXPECT_EQ(dnorm(0, 0, 1, true), -0.9189385332046728);
  EXPECT_EQ(dnorm(inf, 0, 1, false), 0.0);
  EXPECT_EQ(dnorm(inf, 0, 1, true), -inf);
  EXPECT_NEAR(dnorm(40, 0, 1, true), -800.9189385332046728, 1e-12);
  EXPECT_DOUBLE_EQ(dgamma(0, 1, 2, false), 0.5);
  EXPECT_EQ(dgamma(0, 3, 2, false), 0.0);
  EXPECT_DOUBLE_EQ(dbeta(0, 1, 1, false), 1.0);
  EXPECT_DOUBLE_EQ(dbeta(1, 1, 1, false), 1.0);
  EXPECT_EQ(dbeta(0, 2, 2, true), -inf);
}

TEST(Densities, AreZeroOutsideTheirSupport) {
  for (double x : {-1e-300, -2.0, -inf, inf}) expect_nothing(dgamma, x, 2, 1);
  for (double x : {0.0, -2.0, -inf, inf}) expect_nothing(dinvgamma, x, 2, 1);
  for (double x : {-1e-9, 1.0000001, inf, -inf}) expect_nothing(dbeta, x, 2, 3);
  for (double x : {-1.0000001, 2.0000001, inf, -inf, nan}) {
    expect_nothing(dunif, x, -1, 2);
    expect_nothing(dtrunc, x, -1, 2);
  }
}

TEST(Densities, KeepNaN) {
  for (density f : {dnorm, dgamma, dinvgamma, dbeta, dcauchy, dlaplace}) {
    EXPECT_TRUE(std::isnan(f(nan, 2, 1, false)));
    EXPECT_TRUE(std::isnan(f(nan, 2, 1, true)));
  }
}

TEST(Densities, UniformAndRangeIncludeTheirEnds) {
  for (double x : {-1.0, 0.0, 3.0}) {
    expect_density(dunif, x, -1, 3, 0.25);
    EXPECT_EQ(dtrunc(x, -1, 3, false), 1.0);
    EXPECT_EQ(dtrunc(x, -1, 3, true), 0.0);
  }
  EXPECT_EQ(dtrunc(1e9, 0, inf, false), 1.0);
}

TEST(Densities, PassOnTheErrorsOfTheSpecialFunctions) {
  try {
    dgamma(0, 0.5, 1, false);
    ADD_FAILURE();
  } catch (const std::overflow_error& e) {
    EXPECT_NE(std::string(e.what()).find("gamma_p_derivative"), std::string::npos) << e.what();
  }
  EXPECT_THROW(dbeta(0, 0.5, 2, true), std::overflow_error);
  EXPECT_THROW(dgamma(1, -1, 1, false), std::domain_error);
  EXPECT_THROW(dbeta(0.5, 0, 1, false), std::domain_error);
}

TEST(LogNormPDF, IsTheNormalDensityOfEachResidual) {
  const arma::Col<double> r = {-2.0, 0.0, 0.7, 30.0};
  const arma::Col<double> v = {0.5, 1.0, 4.0, 9.0};
  const arma::Col<double> one = logNormPDF(r, 2.0);
  const arma::Col<double> each = logNormPDF(r, v);
  for (arma::uword i = 0; i < 4; ++i) {
    EXPECT_NEAR(one[i], dnorm(r[i], 0, 2.0, true), 1e-13);
    EXPECT_NEAR(each[i], dnorm(r[i], 0, v[i], true), 1e-13);
  }
  EXPECT_EQ(logNormPDF(arma::Col<double>(), 1.0).n_elem, 0U);
}

TEST(LogTrNormPDF, DividesByTheMassInsideTheBounds) {
  const arma::Col<double> x = {0.2, -0.4, 0.9};
  const arma::Col<double> mean = {0.0, 1.0, -2.0};
  const arma::Col<double> lower = {-0.5, -1.0, 0.5};
  const arma::Col<double> upper = {0.5, 3.0, 1.0};
  const arma::Col<double> variances = {1.0, 4.0, 0.25};
  const auto expected = [](double value, double m, double low, double high, double variance) {
    const double sd = std::sqrt(variance);
    return dnorm(value, m, variance, true) - std::log(phi((high - m) / sd) - phi((low - m) / sd));
  };
  const arma::Col<double> each = logTrNormPDF(x, mean, lower, upper, variances);
  const arma::Col<double> bounds = logTrNormPDF(x, mean, lower, upper, 4.0);
  const arma::Col<double> spread = logTrNormPDF(x, mean, -1.0, 1.5, variances);
  const arma::Col<double> none = logTrNormPDF(x, mean, -1.0, 1.5, 4.0);
  for (arma::uword i = 0; i < 3; ++i) {
    EXPECT_NEAR(each[i], expected(x[i], mean[i], lower[i], upper[i], variances[i]), 1e-8);
    EXPECT_NEAR(bounds[i], expected(x[i], mean[i], lower[i], upper[i], 4.0), 1e-12);
    EXPECT_NEAR(spread[i], expected(x[i], mean[i], -1.0, 1.5, variances[i]), 1e-12);
    EXPECT_NEAR(none[i], expected(x[i], mean[i], -1.0, 1.5, 4.0), 1e-12);
  }
}

TEST(LogTrNormPDF, TakesOneBoundFromBelowOrAbove) {
  const arma::Col<double> x = {0.2, 1.4};
  const arma::Col<double> mean = {0.0, 1.0};
  const arma::Col<double> bound = {0.1, -3.0};
  const arma::Col<double> variances = {1.0, 4.0};
  for (arma::uword i = 0; i < 2; ++i) {
    const double sd = std::sqrt(variances[i]);
    const double above =
        dnorm(x[i], mean[i], variances[i], true) - std::log(1 - phi((bound[i] - mean[i]) / sd));
    const double below = dnorm(x[i], mean[i], variances[i], true) - std::log(phi((bound[i] - mean[i]) / sd));
    EXPECT_NEAR(logTrNormPDF(x, mean, bound, variances, false)[i], above, 1e-12);
    EXPECT_NEAR(logTrNormPDF(x, mean, bound, variances, true)[i], below, 1e-12);
    EXPECT_NEAR(logTrNormPDF(x, mean, bound, variances[i], false)[i], above, 1e-12);
    EXPECT_NEAR(logTrNormPDF(x, mean, bound[i], variances, true)[i], below, 1e-12);
    EXPECT_NEAR(logTrNormPDF(x, mean, bound[i], variances[i], true)[i], below, 1e-12);
  }
}

TEST(LogTrNormPDF, IsAccurateInTheTailsOnBothSides) {
  // For a bound z far out, phi(z) / (1 - Phi(z)) = z + 1 / z - 2 / z^3 + ...
  const arma::Col<double> x = {10.0};
  const arma::Col<double> zero = {0.0};
  const double mills = std::log(10.0980932339625119628);
  EXPECT_NEAR(logTrNormPDF(x, zero, 10.0, 1.0, false)[0], mills, 1e-12);
  EXPECT_NEAR(logTrNormPDF(-x, zero, -10.0, 1.0, true)[0], mills, 1e-12);
  EXPECT_NEAR(logTrNormPDF(x, zero, 10.0, inf, 1.0)[0], mills, 1e-12);
  EXPECT_NEAR(logTrNormPDF(-x, zero, -inf, -10.0, 1.0)[0], mills, 1e-12);
}

TEST(LogMvnrmPDF, IsTheMultivariateNormalDensity) {
  const arma::Mat<double> Sigma = {{2.0, 0.6, -0.3}, {0.6, 1.0, 0.2}, {-0.3, 0.2, 0.5}};
  const arma::Mat<double> R = {{0.1, -0.4, 2.0}, {0.0, 0.0, 0.0}, {-3.0, 1.0, 0.5}, {7.0, 7.0, 7.0}};
  const arma::Col<double> out = logMvnrmPDF(R, Sigma);
  ASSERT_EQ(out.n_elem, 4U);
  for (arma::uword i = 0; i < 4; ++i) {
    const arma::Row<double> r = R.row(i);
    const double expected = -0.5 * (3 * std::log(2 * M_PI) + std::log(arma::det(Sigma)) +
                                    arma::as_scalar(r * arma::inv(Sigma) * r.t()));
    EXPECT_NEAR(out[i], expected, 1e-10);
    EXPECT_NEAR(dmvnorm(r, Sigma), expected, 1e-10);
  }
  EXPECT_NEAR(dmvnorm(arma::Row<double>{1.3}, arma::Mat<double>{2.0}), dnorm(1.3, 0, 2.0, true), 1e-14);
}

TEST(LogMvnrmPDF, NeedsAPositiveDefiniteMatrix) {
  const arma::Mat<double> bad = {{1.0, 2.0}, {2.0, 1.0}};
  for (int form = 0; form < 2; ++form) try {
      if (form == 0)
        logMvnrmPDF(arma::Mat<double>(4, 2, arma::fill::ones), bad);
      else
        dmvnorm(arma::Row<double>(2, arma::fill::ones), bad);
      ADD_FAILURE();
    } catch (const numeric_error& e) {
      EXPECT_STREQ(e.what(), "chol(): decomposition failed");
    }
}

TEST(Phi, IsTheNormalDistributionFunction) {
  EXPECT_EQ(phi(0), 0.5);
  EXPECT_NEAR(phi(1.959963984540054), 0.975, 1e-15);
  EXPECT_EQ(phi(-inf), 0.0);
  EXPECT_EQ(phi(inf), 1.0);
  EXPECT_TRUE(std::isnan(phi(nan)));
  const arma::Mat<double> x = {{-1.0, 0.0, 2.0}, {0.5, -3.0, nan}};
  const arma::Mat<double> p = phi(x);
  ASSERT_EQ(arma::size(p), arma::size(x));
  for (arma::uword i = 0; i < 5; ++i) EXPECT_EQ(p[i], phi(x[i]));
  EXPECT_TRUE(std::isnan(p(1, 2)));
}

TEST(IPhi, InvertsPhi) {
  const boost::math::normal reference;
  for (double p : {1e-300, 1e-100, 1e-30, 1e-15, 1e-11, 1.5e-11, 1e-6, 0.01, 0.074, 0.0751, 0.3, 0.4999, 0.6,
                   0.92, 0.926, 0.99, 1 - 1e-9}) {
    const double expected = boost::math::quantile(reference, p);
    EXPECT_NEAR(iPhi(p), expected, 4e-15 * std::fabs(expected)) << p;
  }
  for (double x = -5; x <= 5; x += 0.25) EXPECT_NEAR(iPhi(phi(x)), x, 1e-10 * std::exp(x * x / 4));
  EXPECT_EQ(iPhi(0.5), 0.0);
}

TEST(IPhi, GivesMinusTenOutsideOnBothSides) {
  for (double p : {0.0, 1.0, -0.5, 1.5, inf, -inf, nan}) EXPECT_EQ(iPhi(p), -10.0) << p;
}

TEST(Cov2cor, DividesByTheStandardDeviations) {
  const arma::Mat<double> S = {{4.0, 1.0}, {1.0, 9.0}};
  const arma::Mat<double> R = cov2cor(S);
  EXPECT_DOUBLE_EQ(R(0, 0), 1);
  EXPECT_DOUBLE_EQ(R(1, 1), 1);
  EXPECT_DOUBLE_EQ(R(0, 1), 1.0 / 6);
  EXPECT_DOUBLE_EQ(R(1, 0), 1.0 / 6);
  EXPECT_EQ(cov2cor(arma::Mat<double>()).n_elem, 0U);
}

}  // namespace
}  // namespace tovik::densities_test
