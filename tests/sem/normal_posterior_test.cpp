// Whole runs of the normal outcome against closed forms.

#include <gtest/gtest.h>

#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>

#include "sample_tests.hpp"
#include "scan_world.hpp"

namespace tovik::tests::normal_posterior_test {
namespace {

using sem::equation_setup;
using sem::Normal;

struct Fit {
  arma::Col<double> b;
  arma::Mat<double> inverse;
  double rss;

  Fit(const arma::Mat<double>& X, const arma::Col<double>& y)
      : b(arma::solve(X, y)), inverse(arma::inv_sympd(X.t() * X)), rss(arma::accu(arma::square(y - X * b))) {}
};

// With prior pseudo degrees of freedom d and sum of squares s, integrating the k flat coefficients out leaves
// (rss + s) / s2 chi-squared with n + d - k degrees of freedom, and each coefficient is t around least
// squares.
void expect_regression_posterior(int prior, double d, double s) {
  World world(1, {{24}}, 31);
  simulate_outcome(world, 0, 1.0, 31);
  equation_setup setup = world.setup(0, {0, 2, 3});
  setup.prior = {prior, prior};
  const Fit fit(world.data.cols(setup.x), world.data.col(1));
  const double df = 24.0 + d - 3.0;
  LoneEstimator estimator(300 + static_cast<std::uint32_t>(prior));
  Normal model(&estimator, setup);
  std::vector<std::vector<double>> t(3);
  std::vector<double> chi;
  for (int i = 0; i < 20000; ++i) {
    for (int thin = 0; thin < 8; ++thin) model.draw(world.data);
    for (arma::uword j = 0; j < 3; ++j)
      t[j].push_back((model.betas()(j) - fit.b(j)) / std::sqrt((fit.rss + s) / df * fit.inverse(j, j)));
    chi.push_back((fit.rss + s) / model.sigma2);
  }
  boost::math::students_t const student(df);
  boost::math::chi_squared const chi_squared(df);
  for (const auto& values : t)
    EXPECT_LT(kolmogorov(values, [&](double x) { return boost::math::cdf(student, x); }), 2.5);
  EXPECT_LT(kolmogorov(chi, [&](double x) { return boost::math::cdf(chi_squared, x); }), 2.5);
}

TEST(NormalPosterior, FlatPriorRegressionIsStudentT) {
  expect_regression_posterior(1, 2.0, 1.0);
  expect_regression_posterior(2, -2.0, 0.0);
  expect_regression_posterior(3, 0.0, 0.0);
}

// Missing outcomes carry no information: the posterior is that of the complete rows.
TEST(NormalPosterior, MissingOutcomesAddNothing) {
  World world(1, {{30}}, 32);
  simulate_outcome(world, 0, 1.0, 32);
  equation_setup setup = world.setup(0, {0, 2});
  setup.missing_units = {0, 7, 11, 20, 29};
  arma::Mat<double> complete = world.data;
  for (arma::uword i = setup.missing_units.n_elem; i-- > 0;) complete.shed_row(setup.missing_units(i));
  const Fit fit(complete.cols(setup.x), complete.col(1));
  LoneEstimator estimator(310);
  Normal model(&estimator, setup);
  const double df = 25.0 - 2.0 - 2.0;
  std::vector<double> t, predicted;
  const arma::Col<double> x = {1.0, world.data(7, 2)};
  const double spread = 1.0 + arma::as_scalar(x.t() * fit.inverse * x);
  for (int i = 0; i < 20000; ++i) {
    for (int thin = 0; thin < 12; ++thin) model.draw(world.data);
    t.push_back((model.betas()(1) - fit.b(1)) / std::sqrt(fit.rss / df * fit.inverse(1, 1)));
    predicted.push_back((world.data(7, 1) - arma::dot(x, fit.b)) / std::sqrt(fit.rss / df * spread));
  }
  boost::math::students_t const student(df);
  const auto cdf = [&](double value) { return boost::math::cdf(student, value); };
  EXPECT_LT(kolmogorov(t, cdf), 2.5);
  EXPECT_LT(kolmogorov(predicted, cdf), 2.5);
}

// A balanced one-way layout of C clusters of m rows: with flat priors on both variances (prior 2) the between
// and within mean squares give the posterior of (s2, s2 + m tau) as two inverse gammas, truncated to tau > 0.
TEST(NormalPosterior, BalancedOneWayLayout) {
  const unsigned C = 12, m = 5;
  World world(2, nesting{std::vector<unsigned>(C, m)}, 33);
  simulate_outcome(world, 0, 1.0, 33);
  equation_setup setup = world.setup(0, {0});
  setup.z[0] = {0};
  setup.icept = {1};
  const auto& y = world.data.col(1);
  double within = 0, between = 0;
  const double grand = arma::mean(y);
  for (unsigned c = 0; c < C; ++c) {
    const auto rows = y.rows(c * m, c * m + m - 1);
    const double mean = arma::mean(rows);
    within += arma::accu(arma::square(rows - mean));
    between += m * (mean - grand) * (mean - grand);
  }
  LoneEstimator estimator(320);
  Normal model(&estimator, setup);
  std::vector<double> sampled_ratio, sampled_within;
  for (int i = 0; i < 20000; ++i) {
    for (int thin = 0; thin < 25; ++thin) model.draw(world.data);
    sampled_within.push_back(std::log(model.sigma2));
    sampled_ratio.push_back(std::log(model.sigma2 + m * model.Sigma[0](0, 0)));
  }
  // Independent draws: within / s2 ~ chi2(C(m - 1) - 2), between / (s2 + m tau) ~ chi2(C - 1 - 2), kept if
  // tau > 0.
  Random rng(34, 1U);
  std::vector<double> exact_ratio, exact_within;
  while (exact_within.size() < 20000) {
    const double s2 = within / rng.rgamma((C * (m - 1.0) - 2.0) / 2.0, 2.0);
    const double total = between / rng.rgamma((C - 3.0) / 2.0, 2.0);
    if (total <= s2) continue;
    exact_within.push_back(std::log(s2));
    exact_ratio.push_back(std::log(total));
  }
  const auto distance = [](std::vector<double> a, std::vector<double> b) {
    std::sort(b.begin(), b.end());
    return kolmogorov(a, [&](double x) {
      return static_cast<double>(std::upper_bound(b.begin(), b.end(), x) - b.begin()) /
             static_cast<double>(b.size());
    });
  };
  // The reference is itself a sample of equal size: its error adds a factor sqrt 2.
  EXPECT_LT(distance(sampled_within, exact_within), 2.5 * std::sqrt(2.0));
  EXPECT_LT(distance(sampled_ratio, exact_ratio), 2.5 * std::sqrt(2.0));
}

}  // namespace
}  // namespace tovik::tests::normal_posterior_test
