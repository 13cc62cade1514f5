// The scores of ordinal outcomes under sampling weights, their coefficients known: at their own level they
// have the distribution that they have without weights, of clusters that of rows which tell as often as their
// weights within the cluster say. Thresholds, the scores integrated out, are parameters.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "sem/autosolver/solver.hpp"
#include "sem/ensemble/likelihood_lists.hpp"
#include "weighted_world.hpp"

namespace tovik::tests::weighted_ordinal_kernel_test {
namespace {

using sem::equation_setup;
using sem::NormalWeighted;
using sem::OrdinalWeighted;
using sem::estimator::weights;
using sem::scan::coefficient_prior;

/// A binary outcome of which some units are missing, and an outcome of the rows that reads its propensity:
/// all parameters are known.
struct ReadPropensity {
  static constexpr double v = 0.7, b = 0.8, a = 0.2;
  World world;
  LoneEstimator estimator{24};
  unsigned level;
  std::shared_ptr<OrdinalWeighted> model;
  std::shared_ptr<NormalWeighted> reader;
  std::shared_ptr<const weights> of_rows;
  arma::uvec categories;

  ReadPropensity(const nesting& sizes, unsigned at_level)
      : world(weighted_world(sizes, 11)), level(at_level) {
    world.data.insert_cols(12, 1);
    Random rng(11, 4U);
    for (double& cell : world.data.col(12)) cell = a + rng.rnorm();
    equation_setup of_o =
        known_equation(world.setup(level, {0, level == 0 ? 2U : 6U}), world, 1, {0.3, -0.4}, 1.0);
    of_o.response_moves = true;
    of_o.coefficients = coefficient_prior::ridge(5.0);
    of_o.missing_units = {1, 4};
    const equation_setup of_z = known_equation(world.setup(0, {0, score_column}), world, 12, {a, b}, v);
    categories.set_size(world.first_rows[level].n_elem);
    for (arma::uword c = 0; c < categories.n_elem; ++c) categories(c) = rng.runif() < 0.6 ? 1 : 0;
    const sem::Estimator* own = &estimator;
    model = std::make_shared<OrdinalWeighted>(weights_of(world, of_o, level == 0),
                                              sem::Regression::parts_of(own, data::type::ordinal, of_o), own,
                                              of_o, sem::ordered_values{{0.0, 1.0}, categories, 0});
    model->addIndicator({score_column}, sem::indicator_type::latent_residual);
    of_rows = weights_of(world, of_z, true);
    reader = make_normal(estimator, of_z, of_rows);
    sem::level_units units;
    for (const auto& ids : world.units) units.push_back(&ids);
    sem::wire_likelihood_lists({model, reader}, units, world.data);
    model->addStarts(model->params());
    model->publish(world.data);
  }
  void solve() {
    auto solver = std::make_shared<sem::autosolver::solver<sem::autosolver::normal>>();
    solver->rng = &estimator.random;
    const arma::uvec units = arma::regspace<arma::uvec>(0, categories.n_elem - 1);
    solver->functions = {model->dist_self(units),
                         reader->distributionFunc(sem::distribution_type::fixed,
                                                  sem::autosolver::solution::constant(1, score_column),
                                                  static_cast<int>(level), units)};
    model->addDist(solver, sem::distribution_type::fixed);
  }
  /// Each score by its distribution function, the normal one within its category.
  arma::vec places(const arma::vec& of_row) const {
    arma::vec q(categories.n_elem, arma::fill::ones), d(q.n_elem), out(q.n_elem);
    for (arma::uword c = 0; c < q.n_elem; ++c)
      d(c) = 0.3 - 0.4 * world.data(world.first_rows[level](c), level == 0 ? 2 : 6);
    for (arma::uword i = 0; i < world.data.n_rows; ++i) {
      q(world.units[level](i)) += of_row(i) * b * b / v;
      d(world.units[level](i)) += of_row(i) * b * (world.data(i, 12) - a) / v;
    }
    for (arma::uword c = 0; c < q.n_elem; ++c) {
      const double root = std::sqrt(q(c)), mean = d(c) / q(c),
                   F = phi((model->propensity.values(c) - mean) * root), at_0 = phi(-mean * root);
      const bool free = arma::any(model->missing_rows == c);
      out(c) = free ? F : categories(c) == 0 ? F / at_0 : (F - at_0) / (1.0 - at_0);
    }
    return out;
  }
};

TEST(WeightedPropensities, ThatAnotherEquationReadsHaveThePlainDistribution) {
  for (const bool solved : {false, true}) {
    ReadPropensity rows({{4, 1, 6}, {3, 5}, {2, 4}}, 0),
        clusters({{4, 1, 6}, {3, 5}, {2, 4}, {3, 2, 1, 4}}, 1);
    for (ReadPropensity* w : {&rows, &clusters}) {
      if (solved) w->solve();
      const arma::vec of_row =
          w == &clusters ? w->of_rows->within : arma::vec(w->world.data.n_rows, arma::fill::ones);
      std::vector<double> places;
      for (int t = 0; t < 400; ++t) {
        for (int k = 0; k < 60; ++k) w->model->draw(w->world.data);
        for (double one : w->places(of_row)) places.push_back(one);
      }
      EXPECT_LT(kolmogorov(places, [](double x) { return x; }), 2.5) << solved << w->level;
    }
  }
}

/// An ordinal outcome with three categories and known coefficients, with weights.
struct Thresholds {
  static constexpr double high = 4.0;
  static constexpr int cells = 4000;
  World world;
  LoneEstimator estimator{21};
  equation_setup setup;
  sem::ordered_values observed;
  std::shared_ptr<const weights> w;
  std::shared_ptr<OrdinalWeighted> model;
  arma::vec mu;

  Thresholds(const nesting& sizes, bool of_clusters) : world(weighted_world(sizes, 8)) {
    setup = world.setup(0, {0, 2});
    setup.fixed = {0, 1};
    setup.fixed_values = {0.4, 0.3};
    setup.response_moves = true;
    setup.coefficients = coefficient_prior::ridge(5.0);
    mu = 0.4 + 0.3 * world.data.col(2);
    w = weights_of(world, setup, of_clusters);
    observed = {{0.0, 1.0, 2.0}, arma::uvec(mu.n_elem), 1};
    Random rng(8, 4U);
    // Where the weights are large the upper category is rare.
    for (arma::uword i = 0; i < mu.n_elem; ++i) {
      const double score = mu(i) + rng.rnorm(), cut = w->rows(i) > 0.6 ? 1.8 : 0.5;
      observed.of_unit(i) = score <= 0.0 ? 0 : score <= cut ? 1 : 2;
    }
    const sem::Estimator* own = &estimator;
    model = std::make_shared<OrdinalWeighted>(w, sem::Regression::parts_of(own, data::type::ordinal, setup),
                                              own, setup, observed);
  }
  /// At cells + 1 equal steps to `high`: that of prod_i P(category_i)^W_i, the threshold having a flat prior.
  std::vector<double> distribution(const arma::vec& by) const {
    std::vector<double> log_density, out = {0.0};
    for (int k = 0; k < cells; ++k) {
      const double t = high * (k + 0.5) / cells;
      double sum = 0.0;
      for (arma::uword i = 0; i < mu.n_elem; ++i) {
        if (observed.of_unit(i) == 1) sum += by(i) * std::log(phi(t - mu(i)) - phi(-mu(i)));
        if (observed.of_unit(i) == 2) sum += by(i) * std::log(phi(mu(i) - t));
      }
      log_density.push_back(sum);
    }
    const double top = *std::max_element(log_density.begin(), log_density.end());
    for (double one : log_density) out.push_back(out.back() + std::exp(one - top));
    for (double& one : out) one /= out.back();
    return out;
  }
  /// Of the score of a unit within its category, uniform.
  double place_in_category(arma::uword i) const {
    const double t = model->tau()(1), lower[] = {0.0, phi(-mu(i)), phi(t - mu(i))},
                 upper[] = {lower[1], lower[2], 1.0};
    const arma::uword k = observed.of_unit(i);
    return (phi(model->propensity.values(i) - mu(i)) - lower[k]) / (upper[k] - lower[k]);
  }
};

TEST(WeightedPropensities, ThresholdsHaveThePseudoPosteriorAndScoresGivenThemThePlainDistribution) {
  for (const bool of_clusters : {false, true}) {
    Thresholds w(of_clusters ? unbalanced_clusters : nesting{{80}}, of_clusters);
    const std::vector<double> F = w.distribution(w.w->rows),
                              plain = w.distribution(arma::vec(w.mu.n_elem, arma::fill::ones));
    const auto at = [](const std::vector<double>& of, double t) {
      const double x = std::min(t / Thresholds::high, 1.0) * Thresholds::cells;
      const auto k = std::min(static_cast<std::size_t>(x), of.size() - 2);
      return of[k] + (x - static_cast<double>(k)) * (of[k + 1] - of[k]);
    };
    std::vector<double> tau, place;
    for (int t = 0; t < 3000; ++t) {
      for (int k = 0; k < 20; ++k) w.model->draw(w.world.data);
      tau.push_back(w.model->tau()(1));
      for (arma::uword i = static_cast<arma::uword>(t % 7); i < w.mu.n_elem; i += 7)
        place.push_back(w.place_in_category(i));
    }
    EXPECT_LT(kolmogorov(tau, [&](double t) { return at(F, t); }), 2.5);
    EXPECT_GT(kolmogorov(tau, [&](double t) { return at(plain, t); }), 10.0);
    EXPECT_LT(kolmogorov(place, [](double x) { return x; }), 2.5);
  }
}

}  // namespace
}  // namespace tovik::tests::weighted_ordinal_kernel_test
