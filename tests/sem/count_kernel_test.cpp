// Count outcomes against posteriors on grids: near Poisson counts, counts of which most are 0, counts in
// other units.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "count_world.hpp"
#include "sample_tests.hpp"
#include "sem/scan/dispersion_step.hpp"
#include "sem/scan/newton_move.hpp"

namespace tovik::tests::count_kernel_test {
namespace {

using sem::NBinomial;
using sem::estimator::tune_obj;
using sem::scan::dispersion_step;
using sem::scan::negative_binomial;
using sem::scan::newton_move;

constexpr double prior_variance = 5.0;

/// As a textbook writes it.
double log_probability(double y, double mean, double r) {
  return std::lgamma(y + r) - std::lgamma(r) - std::lgamma(y + 1.0) + r * std::log(r / (r + mean)) +
         y * std::log(mean / (r + mean));
}

/// The posterior on a grid of two quantities.
class grid_posterior {
 public:
  template <class Density>
  grid_posterior(double from_a, double to_a, double from_b, double to_b, Density log_density)
      : a_(arma::linspace(from_a, to_a, m)), b_(arma::linspace(from_b, to_b, m)) {
    arma::Mat<double> density(m, m);
    for (arma::uword j = 0; j < m; ++j)
      for (arma::uword i = 0; i < m; ++i) density(i, j) = log_density(a_(i), b_(j));
    density = arma::exp(density - density.max());
    density /= arma::accu(density);
    of_a_ = arma::sum(density, 1);
    of_b_ = arma::sum(density, 0).t();
  }
  double below_a(double a) const { return below(a_, of_a_, a); }
  double below_b(double b) const { return below(b_, of_b_, b); }
  /// The share at the edges: a grid that holds the posterior has next to none there.
  double at_edges_of_a() const { return of_a_(0) + of_a_(m - 1); }
  double at_edges_of_b() const { return of_b_(0) + of_b_(m - 1); }

 private:
  static constexpr arma::uword m = 301;
  static double below(const arma::Col<double>& nodes, const arma::Col<double>& w, double x) {
    const double place = (x - nodes(0)) / (nodes(1) - nodes(0)) + 0.5;
    if (place <= 0.0) return 0.0;
    const auto whole = static_cast<arma::uword>(place);
    if (whole >= m) return 1.0;
    const double sum = whole == 0 ? 0.0 : arma::accu(w.head(whole));
    return std::min(1.0, sum + (place - static_cast<double>(whole)) * w(whole));
  }

  arma::Col<double> a_, b_, of_a_, of_b_;
};

/// Whole scans of a model with an intercept alone against the posterior of intercept and log r.
void expect_posterior(const arma::Col<double>& y, double spread, std::uint32_t seed) {
  World world(1, {{static_cast<unsigned>(y.n_elem)}}, seed);
  world.data.col(1) = y;
  const double center = std::log(arma::mean(y));
  const grid_posterior exact(center - spread, center + spread, std::log(1e-4), std::log(1e4),
                             [&](double a, double log_r) {
                               const double r = std::exp(log_r);
                               double sum = 0.01 * log_r - 0.01 * r - a * a / (2.0 * prior_variance);
                               for (double value : y) sum += log_probability(value, std::exp(a), r);
                               return sum;
                             });
  ASSERT_LT(exact.at_edges_of_a(), 1e-4);
  const ShortSeries series(20);
  LoneEstimator estimator(seed);
  NBinomial model(&estimator, counted(world.setup(0, {0}), prior_variance));
  model.addStarts({1.0, center});
  for (int burn = 0; burn < 40; ++burn) {
    for (int t = 0; t < 50; ++t) model.draw(world.data);
    model.tune();
  }
  std::vector<double> intercepts, sizes;
  for (int i = 0; i < 2500; ++i) {
    for (int thin = 0; thin < 20; ++thin) model.draw(world.data);
    intercepts.push_back(model.betas()(0));
    sizes.push_back(std::log(model.dispersion()));
  }
  EXPECT_LT(kolmogorov(intercepts, [&](double a) { return exact.below_a(a); }), 2.5);
  EXPECT_LT(kolmogorov(sizes, [&](double b) { return exact.below_b(b); }), 2.5);
}

arma::Col<double> counts(arma::uword n, double mean, double r, std::uint32_t seed) {
  Random rng(seed, 4U);
  return simulate_counts(arma::Col<double>(n, arma::fill::value(std::log(mean))), r, rng);
}

TEST(CountPosterior, IsThatOfTheGrid) {
  expect_posterior(counts(25, 2.0, 0.8, 191), 3.5, 191);
}

// The likelihood hardly ends above: the prior of r does.
TEST(CountPosterior, OfCountsNearPoisson) {
  expect_posterior(counts(25, 4.0, 1e4, 192), 2.5, 192);
}

TEST(CountPosterior, OfCountsOfWhichOneIsNotZero) {
  arma::Col<double> y(20, arma::fill::zeros);
  y(3) = 1.0;
  expect_posterior(y, 9.0, 193);
}

// Given their weights counts of this size tell much more of the mean than they do without.
TEST(CountPosterior, OfCountsInOtherUnits) {
  expect_posterior(counts(25, 1e4, 3.0, 194), 2.5, 194);
}

TEST(DispersionStep, DrawsFromThePosteriorGivenTheMeans) {
  Random rng(195, 1U);
  const arma::Col<double> eta = rng.randn(30, 1) + 1.0;
  const arma::Col<double> y = simulate_counts(eta, 1.5, rng);
  const grid_posterior exact(0.0, 1.0, std::log(1e-4), std::log(1e4), [&](double, double log_r) {
    const double r = std::exp(log_r);
    double sum = 0.01 * log_r - 0.01 * r;
    for (arma::uword i = 0; i < y.n_elem; ++i) sum += log_probability(y(i), std::exp(eta(i)), r);
    return sum;
  });
  negative_binomial law(1.0);
  dispersion_step step;
  tune_obj tune(0.9, tune_obj::kind_type::parameter);
  std::vector<double> sizes;
  for (int i = 0; i < 4000; ++i) {
    for (int thin = 0; thin < 25; ++thin) step.move(y, eta, rng, tune, law);
    sizes.push_back(std::log(law.size()));
  }
  EXPECT_LT(kolmogorov(sizes, [&](double b) { return exact.below_b(b); }), 2.5);
  EXPECT_EQ(tune.total, 100000U);
}

// One term of 20,000 times the unit of the other, a prior with a mean, counts in the middle of others.
TEST(NewtonMove, DrawsFromThePosteriorInAnyUnits) {
  for (const double unit : {1.0, 20000.0}) {
    Random rng(196, 1U);
    const arma::Col<double> one(40, arma::fill::ones), x = unit * rng.randn(40, 1);
    const arma::Col<double> rest = 0.3 * rng.randn(40, 1) + 2.0;
    const arma::Col<double> y = simulate_counts(rest + 0.4 * one + 0.5 / unit * x, 0.6, rng);
    constexpr arma::uword first = 9, n = 18;
    newton_move::terms what;
    what.precision = {2.0, 0.5 * unit, 0.5 * unit, unit * unit};
    what.mean = {0.3, 0.1 / unit};
    what.value = {0.0, 0.0};
    const grid_posterior exact(-3.0, 3.0, -3.0, 3.0, [&](double a, double b) {
      const double da = a - 0.3, db = b - 0.1;
      double sum = -0.5 * (2.0 * da * da + 2.0 * 0.5 * da * db + db * db);
      for (arma::uword i = first; i < first + n; ++i)
        sum += log_probability(y(i), std::exp(rest(i) + a + b * x(i) / unit), 0.6);
      return sum;
    });
    ASSERT_LT(exact.at_edges_of_a() + exact.at_edges_of_b(), 1e-5);
    const negative_binomial law(0.6);
    newton_move step;
    arma::Col<double> eta = rest;
    const std::vector<newton_move::part> parts = {
        {&law, y.memptr() + first, eta.memptr() + first, n, {one.memptr() + first, x.memptr() + first}}};
    std::vector<double> a, b;
    int moved = 0;
    for (int i = 0; i < 5000; ++i) {
      for (int thin = 0; thin < 3; ++thin) moved += step.move(parts, what, rng) ? 1 : 0;
      a.push_back(what.value[0]);
      b.push_back(unit * what.value[1]);
    }
    EXPECT_LT(kolmogorov(a, [&](double at) { return exact.below_a(at); }), 2.5);
    EXPECT_LT(kolmogorov(b, [&](double at) { return exact.below_b(at); }), 2.5);
    EXPECT_GT(moved, 9000);
    for (arma::uword i = 0; i < 40; ++i) {
      const double added = what.value[0] + what.value[1] * x(i);
      EXPECT_NEAR(eta(i) - rest(i), i >= first && i < first + n ? added : 0.0, 1e-8);
    }
  }
}

// A term of two equations of different dispersion, one of the first alone, and one of the second alone that
// has bounds, into which a good part of the proposals would not go.
TEST(NewtonMove, DrawsTermsOfSeveralEquationsWithinBounds) {
  Random rng(197, 1U);
  const arma::Col<double> one(16, arma::fill::ones), x = rng.randn(16, 1);
  arma::Col<double> eta_1(16, arma::fill::value(3.0)), eta_2(16, arma::fill::value(6.0));
  const arma::Col<double> rest_1 = eta_1, rest_2 = eta_2;
  const arma::Col<double> y_1 = simulate_counts(rest_1 + 0.4 * x, 0.6, rng);
  const arma::Col<double> y_2 = simulate_counts(rest_2 + 0.4 * x, 4.0, rng);
  constexpr double lower = -0.1, upper = 0.25;
  const negative_binomial law_1(0.6), law_2(4.0);
  newton_move::terms what;
  what.precision = {1.0, 0.0, 0.0, 1.0};
  what.mean = {0.0, 0.1};
  what.value = {0.0, 0.0};
  what.lower = {-INFINITY, lower};
  what.upper = {INFINITY, upper};
  const std::vector<newton_move::part> parts = {
      {&law_1, y_1.memptr(), eta_1.memptr(), 16, {x.memptr(), nullptr}},
      {&law_2, y_2.memptr(), eta_2.memptr(), 16, {x.memptr(), one.memptr()}}};
  const grid_posterior exact(-1.5, 1.5, lower, upper, [&](double a, double b) {
    double sum = -0.5 * (a * a + (b - 0.1) * (b - 0.1));
    for (arma::uword i = 0; i < 16; ++i)
      sum += log_probability(y_1(i), std::exp(rest_1(i) + a * x(i)), 0.6) +
             log_probability(y_2(i), std::exp(rest_2(i) + a * x(i) + b), 4.0);
    return sum;
  });
  ASSERT_LT(exact.at_edges_of_a(), 1e-5);
  ASSERT_GT(exact.at_edges_of_b(), 1e-3);
  newton_move step;
  std::vector<double> a, b;
  int moved = 0;
  for (int i = 0; i < 5000; ++i) {
    for (int thin = 0; thin < 4; ++thin) moved += step.move(parts, what, rng) ? 1 : 0;
    a.push_back(what.value[0]);
    b.push_back(what.value[1]);
  }
  EXPECT_LT(kolmogorov(a, [&](double at) { return exact.below_a(at); }), 2.5);
  EXPECT_LT(kolmogorov(b, [&](double at) { return exact.below_b(at); }), 2.5);
  EXPECT_GT(moved, 3000);
  EXPECT_LT(moved, 12000);
  EXPECT_NEAR(eta_1(3) - rest_1(3), what.value[0] * x(3), 1e-8);
  EXPECT_NEAR(eta_2(3) - rest_2(3), what.value[0] * x(3) + what.value[1], 1e-8);
}

}  // namespace
}  // namespace tovik::tests::count_kernel_test
