// Whole runs of the logistic outcome against posteriors by quadrature and enumeration.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "logistic_world.hpp"
#include "sample_tests.hpp"
#include "sem/ensemble/likelihood_lists.hpp"
#include "small_run.hpp"

namespace tovik::tests::logistic_kernel_test {
namespace {

using sem::equation_setup;
using sem::Logistic;

constexpr double prior_variance = 5.0;

double log_likelihood(const arma::Col<double>& y, const arma::Col<double>& eta) {
  double sum = 0.0;
  for (arma::uword i = 0; i < y.n_elem; ++i)
    sum += y(i) == 1.0 ? -std::log1p(std::exp(-eta(i))) : -std::log1p(std::exp(eta(i)));
  return sum;
}

/// The posterior of intercept and slope on a grid of m x m points over +-reach around a center.
class grid_posterior {
 public:
  grid_posterior(const arma::Col<double>& x, const arma::Col<double>& y, const arma::Col<double>& center,
                 const arma::Col<double>& reach)
      : nodes_(m), density_(m, m) {
    for (arma::uword j = 0; j < m; ++j) {
      nodes_(j) = center(1) + at(j) * reach(1);
      for (arma::uword i = 0; i < m; ++i) {
        const double a = center(0) + at(i) * reach(0), b = nodes_(j);
        density_(i, j) = log_likelihood(y, a + b * x) - (a * a + b * b) / (2.0 * prior_variance);
      }
    }
    peak_ = density_.max();
    density_ = arma::exp(density_ - peak_);
    cell_ = 4.0 * reach(0) * reach(1) / ((m - 1.0) * (m - 1.0));
  }
  /// Of likelihood times prior over the grid.
  double log_mass() const {
    return peak_ + std::log(arma::accu(density_) * cell_ / (2.0 * M_PI * prior_variance));
  }
  /// The share at the edges: a grid that holds the posterior has next to none there.
  double at_edges() const {
    return (arma::accu(density_.row(0)) + arma::accu(density_.row(m - 1)) + arma::accu(density_.col(0)) +
            arma::accu(density_.col(m - 1))) /
           arma::accu(density_);
  }
  /// Distribution function of the slope.
  double slope_below(double b) const {
    const arma::Row<double> w = arma::sum(density_, 0) / arma::accu(density_);
    const double step = nodes_(1) - nodes_(0), place = (b - nodes_(0)) / step + 0.5;
    if (place <= 0.0) return 0.0;
    const auto whole = static_cast<arma::uword>(place);
    if (whole >= m) return 1.0;
    const double below = whole == 0 ? 0.0 : arma::accu(w.head(whole));
    return std::min(1.0, below + (place - static_cast<double>(whole)) * w(whole));
  }
  double slope_mean() const { return arma::dot(arma::sum(density_, 0).t(), nodes_) / arma::accu(density_); }

 private:
  static constexpr arma::uword m = 401;
  static double at(arma::uword i) { return 2.0 * static_cast<double>(i) / (m - 1.0) - 1.0; }

  arma::Col<double> nodes_;
  arma::Mat<double> density_;
  double peak_ = 0.0, cell_ = 0.0;
};

/// Mode and standard deviations by Newton's method: where to put a grid.
struct Mode {
  arma::Col<double> b{0.0, 0.0}, sd;

  Mode(const arma::Col<double>& x, const arma::Col<double>& y) {
    const arma::Mat<double> X = arma::join_rows(arma::ones(x.n_elem), x);
    for (int step = 0; step < 60; ++step) {
      const arma::Col<double> p = 1.0 / (1.0 + arma::exp(-(X * b)));
      const arma::Mat<double> H = X.t() * arma::diagmat(p % (1.0 - p)) * X + arma::eye(2, 2) / prior_variance;
      b += 0.5 * arma::solve(H, X.t() * (y - p) - b / prior_variance);
      sd = arma::sqrt(arma::diagvec(arma::inv_sympd(H)));
    }
  }
};

// In three units of the predictor the prior N(0, 5) of its coefficient is three different priors.
TEST(LogisticPosterior, IsThatOfTheGridInAnyUnitOfThePredictor) {
  for (double unit : {0.05, 1.0, 1000.0}) {
    World world(1, {{25}}, 91);
    simulate_binary(world, 0, 0.9, 0.2, 91);
    world.data.col(2) = unit * (arma::linspace(-1.0, 1.0, 25) + 0.3 * world.data.col(3) - 0.3);
    const arma::Col<double> x = world.data.col(2), y = world.data.col(1);
    const Mode mode(x, y);
    const grid_posterior exact(x, y, mode.b, 8.0 * mode.sd);
    ASSERT_LT(exact.at_edges(), 1e-5);
    LoneEstimator estimator(40);
    Logistic model(&estimator, logistic(world.setup(0, {0, 2})));
    std::vector<double> slopes;
    for (int i = 0; i < 8000; ++i) {
      for (int thin = 0; thin < 15; ++thin) model.draw(world.data);
      slopes.push_back(model.betas()(1));
    }
    EXPECT_LT(kolmogorov(slopes, [&](double b) { return exact.slope_below(b); }), 2.5) << unit;
  }
}

/// x = (1, 0, ?, 1, 0, ?) with an equation of an intercept alone, y given x; and y itself missing once.
struct Toy {
  const arma::Col<double> x{1, 0, 0, 1, 0, 0}, y{1, 0, 1, 1, 0, 0};
  const arma::Col<arma::uword> missing_x{2, 5}, missing_y{3};

  /// The posterior probability of each of the eight ways to complete the data, x(2) + 2 x(5) + 4 y(3), and
  /// of the slope's mean in each.
  void enumerate(arma::Col<double>& p, arma::Col<double>& slope) const {
    p.set_size(8);
    slope.set_size(8);
    for (unsigned way = 0; way < 8; ++way) {
      arma::Col<double> xs = x, ys = y;
      xs(2) = way & 1U ? 1.0 : 0.0;
      xs(5) = way & 2U ? 1.0 : 0.0;
      ys(3) = way & 4U ? 1.0 : 0.0;
      const grid_posterior of_y(xs, ys, {0.0, 0.0}, {16.0, 16.0});
      // An equation of one coefficient is one of two, the second for a predictor that is 0.
      const grid_posterior of_x(arma::zeros(6), xs, {0.0, 0.0}, {16.0, 16.0});
      p(way) = of_y.log_mass() + of_x.log_mass();
      slope(way) = of_y.slope_mean();
    }
    p = arma::exp(p - p.max());
    p /= arma::accu(p);
  }
};

// Tolerances: five standard errors of correlated draws, each from the means of 50 batches.
TEST(LogisticPosterior, MissingPredictorsAndOutcomesAreThoseOfTheEnumeration) {
  const Toy toy;
  arma::Col<double> exact, exact_slope;
  toy.enumerate(exact, exact_slope);
  World world(1, {{6}}, 92);
  world.data.insert_cols(9, 1);
  world.data.col(1) = toy.y;
  world.data.col(9) = toy.x;
  equation_setup of_x = logistic(world.setup(0, {0})), of_y = logistic(world.setup(0, {0, 9}));
  of_x.y = 9;
  of_x.missing_units = toy.missing_x;
  of_y.missing_units = toy.missing_y;
  for (equation_setup* setup : {&of_x, &of_y}) {
    setup->mutable_columns.assign(10, false);
    setup->mutable_columns[1] = setup->mutable_columns[9] = true;
  }
  LoneEstimator estimator(41);
  const std::vector<std::shared_ptr<sem::estimator::Outcome>> models = {
      std::make_shared<Logistic>(&estimator, of_x), std::make_shared<Logistic>(&estimator, of_y)};
  sem::wire_likelihood_lists(models, {world.units.data()}, world.data);
  constexpr arma::uword n = 400000;
  arma::Mat<double> ways(9, n, arma::fill::zeros);
  for (arma::uword t = 0; t < n; ++t) {
    for (const auto& model : models) model->draw(world.data);
    const double way = world.data(2, 9) + 2.0 * world.data(5, 9) + 4.0 * world.data(3, 1);
    ways(static_cast<arma::uword>(way), t) = 1.0;
    ways(8, t) = models[1]->betas()(1);
  }
  for (arma::uword way = 0; way < 8; ++way) {
    const arma::rowvec series = ways.row(way);
    EXPECT_NEAR(arma::mean(series), exact(way), 5.0 * mean_error(series)) << way;
    EXPECT_LT(mean_error(series), 0.01);
  }
  const arma::rowvec slopes = ways.row(8);
  EXPECT_NEAR(arma::mean(slopes), arma::dot(exact, exact_slope), 5.0 * mean_error(slopes));
}

}  // namespace
}  // namespace tovik::tests::logistic_kernel_test
