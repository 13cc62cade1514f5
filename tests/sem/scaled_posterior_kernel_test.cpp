// Posteriors of equations with a variance model: closed forms and integrals over grids.

#include <gtest/gtest.h>

#include <boost/math/distributions/chi_squared.hpp>
#include <boost/math/distributions/students_t.hpp>
#include <cmath>
#include <memory>

#include "chain_posterior.hpp"
#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "scan_world.hpp"
#include "sem/outcomes/scaled.hpp"
#include "threshold_posterior.hpp"

namespace tovik::tests::scaled_posterior_kernel_test {
namespace {

using sem::LogScale;
using sem::NormalScale;
using sem::OrdinalScale;

/// An equation on column 2 whose variance has the predictors `v`.
struct Equation {
  LoneEstimator estimator;
  LogScale scale;
  NormalScale model;

  Equation(const World& world, arma::Col<arma::uword> v, std::uint32_t seed, arma::uword x = 2)
      : estimator(seed),
        scale(&estimator, world.setup(0, std::move(v))),
        model(&estimator, data::type::continuous, world.setup(0, {0, x})) {
    model.addLogScale(&scale);
  }
};

// With g flat the variance has the prior 1 / s2.
TEST(ScaledPosterior, AnInterceptAloneIsOneVariance) {
  World world(1, {{24}}, 31);
  simulate_outcome(world, 0, 1.0, 31);
  Equation equation(world, {0}, 730);
  const arma::Mat<double> X = world.data.cols(arma::Col<arma::uword>{0, 2});
  const arma::Col<double> y = world.data.col(1), b = arma::solve(X, y);
  const arma::Mat<double> inverse = arma::inv_sympd(X.t() * X);
  const double rss = arma::accu(arma::square(y - X * b)), df = 22.0;
  std::vector<double> t, chi;
  for (int i = 0; i < 15000; ++i) {
    for (int thin = 0; thin < 8; ++thin) equation.model.draw(world.data);
    t.push_back((equation.model.betas()(1) - b(1)) / std::sqrt(rss / df * inverse(1, 1)));
    chi.push_back(rss / std::exp(equation.scale.betas()(0)));
  }
  boost::math::students_t const student(df);
  boost::math::chi_squared const chi_squared(df);
  EXPECT_LT(kolmogorov(t, [&](double x) { return boost::math::cdf(student, x); }), 2.5);
  EXPECT_LT(kolmogorov(chi, [&](double x) { return boost::math::cdf(chi_squared, x); }), 2.5);
}

/// log p(g | y), the flat coefficients of X integrated out.
double log_posterior(const arma::Mat<double>& X, const arma::Mat<double>& V, const arma::Col<double>& y,
                     const arma::Col<double>& g) {
  const arma::Col<double> l = V * g, w = arma::exp(-l);
  const arma::Mat<double> weighted = X.each_col() % w, A = X.t() * weighted;
  const arma::Col<double> b = arma::solve(A, weighted.t() * y), e = y - X * b;
  return -0.5 * (arma::accu(l) + std::log(arma::det(A)) + arma::accu(w % e % e));
}

/// Missing outcomes tell nothing.
TEST(ScaledPosterior, OfAPredictorIsThatOfAGrid) {
  World world(1, {{30}}, 32);
  simulate_outcome(world, 0, 1.0, 32);
  world.data.col(1) %= arma::exp(0.4 * world.data.col(3));
  LoneEstimator estimator(731);
  LogScale scale(&estimator, world.setup(0, {0, 3}));
  sem::equation_setup setup = world.setup(0, {0, 2});
  setup.missing_units = {3, 8, 20};
  NormalScale model(&estimator, data::type::continuous, setup);
  model.addLogScale(&scale);
  arma::Mat<double> known = world.data;
  known.shed_rows(setup.missing_units);
  const arma::Mat<double> X = known.cols(arma::Col<arma::uword>{0, 2}),
                          V = known.cols(arma::Col<arma::uword>{0, 3});
  const arma::Col<double> y = known.col(1);
  const int n = 160;
  const double first = -4.0, step = 10.0 / n, lowest = -3.0, height = 6.0 / n;
  arma::Mat<double> log_density(n, n);
  for (arma::uword i = 0; i < n; ++i)
    for (arma::uword j = 0; j < n; ++j)
      log_density(i, j) = log_posterior(
          X, V, y,
          {first + (static_cast<double>(i) + 0.5) * step, lowest + (static_cast<double>(j) + 0.5) * height});
  const arma::Mat<double> density = arma::exp(log_density - log_density.max());
  const GridCdf of_intercept(first, step, arma::sum(density, 1)),
      of_slope(lowest, height, arma::sum(density, 0).t());
  std::vector<double> intercept, slope;
  for (int i = 0; i < 15000; ++i) {
    for (int thin = 0; thin < 8; ++thin) model.draw(world.data);
    intercept.push_back(scale.betas()(0));
    slope.push_back(scale.betas()(1));
  }
  EXPECT_LT(kolmogorov(intercept, of_intercept), 2.5);
  EXPECT_LT(kolmogorov(slope, of_slope), 2.5);
}

double autocorrelation(const arma::Col<double>& series) {
  const arma::Col<double> d = series - arma::mean(series);
  const arma::uword n = d.n_elem;
  return arma::dot(d.head(n - 1), d.tail(n - 1)) / arma::dot(d, d);
}

/// Of the slope of the variance model on column 9.
double autocorrelation_of_slope(const World& world, std::uint32_t seed) {
  Equation equation(world, {0, 9}, seed);
  arma::Mat<double> data = world.data;
  arma::Col<double> series(4000);
  equation.scale.betas_(0) = std::log(arma::var(data.col(1)));
  for (int i = 0; i < 300; ++i) equation.model.draw(data);
  for (double& value : series) {
    equation.model.draw(data);
    value = equation.scale.betas()(1);
  }
  return autocorrelation(series);
}

// A random walk of one coefficient at a time moves little beside a column with a mean of ten standard
// deviations.
TEST(ScaledPosterior, MixesWhateverTheUnitsOfTheData) {
  World world(1, {{200}}, 33);
  simulate_outcome(world, 0, 1.0, 33);
  world.data.insert_cols(9, world.data.col(3) - arma::mean(world.data.col(3)));
  EXPECT_LT(autocorrelation_of_slope(world, 732), 0.3);
  world.data.col(1) *= 1000.0;
  world.data.col(9) = 1000.0 + 100.0 * world.data.col(9);
  EXPECT_LT(autocorrelation_of_slope(world, 733), 0.3);
  const Setting<bool> walks(sem::sampler_settings::leap_variances, false);
  EXPECT_GT(autocorrelation_of_slope(world, 734), 0.9);
}

/// Categories 0 to 2 of 30 units, their predictor and that of the variance.
struct Categories {
  arma::Col<arma::uword> of_unit;
  arma::Col<double> x, z;

  Categories() : of_unit(60), x(60), z(60) {
    Random rng(735, 1U);
    for (arma::uword i = 0; i < 60; ++i) {
      x(i) = rng.rnorm();
      z(i) = static_cast<double>(i % 2) - 0.5;
      const double score = 0.4 + 0.9 * x(i) + std::exp(0.5 * z(i)) * rng.rnorm();
      of_unit(i) = score > 1.2 ? 2 : score > 0.0 ? 1 : 0;
    }
  }
  double log_likelihood(double b0, double b, double g, double tau) const {
    double sum = 0.0;
    for (arma::uword i = 0; i < x.n_elem; ++i) {
      const double mu = b0 + b * x(i), sd = std::exp(0.5 * g * z(i));
      const double lower = of_unit(i) == 0 ? 0.0 : phi(((of_unit(i) == 1 ? 0.0 : tau) - mu) / sd);
      const double upper = of_unit(i) == 2 ? 1.0 : phi(((of_unit(i) == 0 ? 0.0 : tau) - mu) / sd);
      sum += std::log(upper - lower);
    }
    return sum;
  }
};

TEST(ScaledPosterior, OfThreeCategoriesIsThatOfAGrid) {
  const Categories known;
  World world(1, {{60}}, 34);
  world.data.col(1) = arma::conv_to<arma::Col<double>>::from(known.of_unit);
  world.data.col(2) = known.x;
  world.data.col(3) = known.z;
  LoneEstimator estimator(736);
  sem::equation_setup of_scale = world.setup(0, {0, 3}), setup = world.setup(0, {0, 2});
  of_scale.fixed = {0};
  of_scale.fixed_values = {0.0};
  setup.response_moves = true;
  setup.coefficients = sem::scan::coefficient_prior::ridge(5.0);
  LogScale scale(&estimator, of_scale);
  sem::ordered_values observed;
  observed.values = {0.0, 1.0, 2.0};
  observed.of_unit = known.of_unit;
  observed.n_reported = 1;
  OrdinalScale model(&estimator, data::type::ordinal, setup, observed);
  model.addLogScale(&scale);
  model.propensity.values = arma::conv_to<arma::Col<double>>::from(known.of_unit) - 0.5;

  const int n = 22;
  const auto at = [](int k, double lower, double upper) { return lower + (k + 0.5) * (upper - lower) / n; };
  arma::Row<double> sum(4, arma::fill::zeros), squares = sum;
  double total = 0.0, top = known.log_likelihood(0.4, 0.9, 1.0, 1.2);
  for (int a = 0; a < n; ++a)
    for (int b = 0; b < n; ++b)
      for (int c = 0; c < n; ++c)
        for (int d = 0; d < n; ++d) {
          const arma::Row<double> p = {at(a, -0.6, 1.6), at(b, 0.0, 2.9), at(c, -1.8, 4.2), at(d, 0.3, 3.3)};
          const double w = std::exp(known.log_likelihood(p(0), p(1), p(2), p(3)) - top -
                                    0.1 * (p(0) * p(0) + p(1) * p(1)));
          total += w;
          sum += w * p;
          squares += w * p % p;
        }
  const arma::Row<double> mean = sum / total, sd = arma::sqrt(squares / total - mean % mean);
  const ChainPosterior chain(
      [&] {
        model.draw(world.data);
        return arma::Row<double>{model.betas()(0), model.betas()(1), scale.betas()(1), model.tau()(1)};
      },
      50, 1500);
  for (arma::uword j = 0; j < 4; ++j) {
    EXPECT_NEAR(chain.mean(j), mean(j), 4.5 * chain.error(j) + 0.02 * sd(j)) << "parameter " << j;
    EXPECT_NEAR(chain.sd(j), sd(j), 4.5 * chain.sd_error(j) + 0.02 * sd(j)) << "parameter " << j;
    EXPECT_LT(4.5 * chain.error(j), 0.2 * sd(j)) << "parameter " << j;
  }
}

}  // namespace
}  // namespace tovik::tests::scaled_posterior_kernel_test
