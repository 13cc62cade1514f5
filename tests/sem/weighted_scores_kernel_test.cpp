// The scores of factors under sampling weights, their parameters known: at their own level they have the
// distribution that they have without weights, of clusters that of rows which tell as often as their weights
// within the cluster say.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "random/densities.hpp"
#include "sample_tests.hpp"
#include "sem/autosolver/solver.hpp"
#include "sem/ensemble/likelihood_lists.hpp"
#include "sem/outcomes/weighted_block.hpp"
#include "sem/wiring/settings.hpp"
#include "weighted_world.hpp"

namespace tovik::tests::weighted_scores_kernel_test {
namespace {

using sem::equation_setup;
using sem::FactorWeighted;
using sem::NormalWeighted;
using sem::estimator::weights;

enum class step { metropolis, slice, solver };

/// A factor with two indicators of the rows, all parameters known: the scores have a normal distribution.
struct Measured {
  World world;
  LoneEstimator estimator{20};
  equation_setup f;
  std::shared_ptr<FactorWeighted> factor;
  std::vector<std::shared_ptr<NormalWeighted>> indicators;
  std::shared_ptr<const weights> of_rows;

  Measured(const nesting& sizes, unsigned level, bool of_clusters) : world(weighted_world(sizes, 6)) {
    world.data.insert_cols(12, 1);
    Random rng(6, 4U);
    for (double& y : world.data.col(12)) y = 0.5 + rng.rnorm();
    f = known(world.setup(level, {0, level == 0 ? 2U : 6U}), score_column, {0.3, -0.4}, 0.7);
    factor = make_factor(estimator, f, weights_of(world, f, of_clusters && level == 0));
    const equation_setup first = known(world.setup(0, {0, score_column}), 1, {0.5, 1.1}, 0.6),
                         second = known(world.setup(0, {0, score_column}), 12, {-0.2, 0.7}, 1.4);
    of_rows = weights_of(world, first, of_clusters);
    indicators = {make_normal(estimator, first, of_rows), make_normal(estimator, second, of_rows)};
    for (arma::uword i = 0; i < world.data.n_rows; ++i)
      world.data(i, score_column) = world.data(world.first_rows[level](world.units[level](i)), score_column);
    sem::level_units units;
    for (const auto& ids : world.units) units.push_back(&ids);
    sem::wire_likelihood_lists({factor, indicators[0], indicators[1]}, units, world.data);
  }
  equation_setup known(equation_setup setup, arma::uword y, const arma::vec& betas, double v) const {
    return known_equation(std::move(setup), world, y, betas, v);
  }
  void solve() {
    auto solver = std::make_shared<sem::autosolver::solver<sem::autosolver::normal>>();
    solver->rng = &estimator.random;
    const arma::uvec units = factor->missing_rows;
    solver->functions.push_back(factor->dist_self(units));
    for (const auto& y : indicators)
      solver->functions.push_back(y->distributionFunc(sem::distribution_type::fixed,
                                                      sem::autosolver::solution::constant(1, score_column),
                                                      static_cast<int>(f.level), units));
    factor->addDist(solver, sem::distribution_type::fixed);
  }
  /// The scores less their means over their standard deviations; each row of the data tells `of_row` times.
  arma::vec standardised(const arma::vec& of_row) const {
    arma::vec q(factor->n_units), d(factor->n_units);
    for (arma::uword c = 0; c < q.n_elem; ++c) {
      const arma::uword row = world.first_rows[f.level](c);
      q(c) = 1.0 / 0.7;
      d(c) = (0.3 - 0.4 * world.data(row, f.x(1))) / 0.7;
    }
    for (arma::uword i = 0; i < world.data.n_rows; ++i) {
      const arma::uword c = world.units[f.level](i);
      q(c) += of_row(i) * (1.1 * 1.1 / 0.6 + 0.7 * 0.7 / 1.4);
      d(c) += of_row(i) * (1.1 * (world.data(i, 1) - 0.5) / 0.6 + 0.7 * (world.data(i, 12) + 0.2) / 1.4);
    }
    arma::vec out(q.n_elem);
    for (arma::uword c = 0; c < q.n_elem; ++c)
      out(c) = (world.data(world.first_rows[f.level](c), score_column) - d(c) / q(c)) * std::sqrt(q(c));
    return out;
  }
};

// Kept apart by 60 scans the draws of a walk that accepts two in five are all but independent: 0.6^60 = 5e-14
// of them have not moved, and the walk forgets a standard deviation in about five.
template <class Factor, class Measures>
void expect_standard(Factor& factor, Measures& w, int apart, const arma::vec& of_row) {
  factor.imp_tune.value = 2.4;
  std::vector<double> z;
  for (int t = 0; t < 400; ++t) {
    for (int k = 0; k < apart; ++k) factor.draw(w.world.data);
    for (double one : w.standardised(of_row)) z.push_back(one);
  }
  EXPECT_LT(kolmogorov(z, [](double x) { return phi(x); }), 2.5);
  const arma::vec squares = arma::square(arma::vec(z));
  EXPECT_NEAR(arma::mean(squares), 1.0, 5.0 * std::sqrt(2.0 / static_cast<double>(squares.n_elem)));
}

void expect_scores(Measured& w, step how, bool by_g) {
  const Setting<bool> sampler(sem::sampler_settings::ess_sampler, how == step::slice);
  if (how == step::solver) w.solve();
  expect_standard(*w.factor, w, how == step::solver ? 1 : 60,
                  by_g ? w.of_rows->within : arma::vec(w.world.data.n_rows, arma::fill::ones));
}

std::string name_of(const testing::TestParamInfo<step>& info) {
  const char* const names[] = {"Metropolis", "Slice", "Solver"};
  return names[static_cast<int>(info.param)];
}

class WeightedFactorScores : public testing::TestWithParam<step> {};
INSTANTIATE_TEST_SUITE_P(EachStep, WeightedFactorScores,
                         testing::Values(step::metropolis, step::slice, step::solver), name_of);

TEST_P(WeightedFactorScores, OfRowsHaveNoWeights) {
  for (const bool of_clusters : {false, true}) {
    Measured w({{4, 1, 6}, {3, 5}, {2, 4}}, 0, of_clusters);
    expect_scores(w, GetParam(), false);
  }
}

// The density of each row to the power g, whatever the weights of the clusters.
TEST_P(WeightedFactorScores, OfClustersMeetTheirRowsByG) {
  for (const bool of_clusters : {false, true}) {
    Measured w({{4, 1, 6}, {3, 5}, {2, 4}, {3, 2, 1, 4}}, 1, of_clusters);
    expect_scores(w, GetParam(), true);
  }
}

/// A factor f and an outcome y of its level whose residuals are correlated, of which y reads f; and an
/// indicator of the rows. All parameters are known.
struct MeasuredInABlock {
  static constexpr double v = 0.6, loading = 0.9, reading = 0.5;
  World world;
  LoneEstimator estimator{22};
  arma::mat Sigma = {{0.8, 0.6}, {0.6, 1.2}};
  std::shared_ptr<sem::MultiFactorWeighted> f;
  std::shared_ptr<sem::MultiNormalWeighted> y;
  std::shared_ptr<NormalWeighted> indicator;
  std::shared_ptr<sem::MultiWeightedUnstruct> block;
  std::shared_ptr<const weights> of_rows;

  MeasuredInABlock(const nesting& sizes, unsigned level) : world(weighted_world(sizes, 9)) {
    simulate_outcome(world, level, 0.5, 9);
    world.data.insert_cols(12, 1);
    Random rng(9, 4U);
    for (double& cell : world.data.col(12)) cell = 0.5 + rng.rnorm();
    const sem::Estimator* own = &estimator;
    const equation_setup of_f = sem::Factor::without_values(
                             known(world.setup(level, {0}), score_column, {0.3}, 1.0)),
                         of_y = known(world.setup(level, {0, score_column}), 1, {-0.2, reading}, 1.0),
                         of_row = known(world.setup(0, {0, score_column}), 12, {0.4, loading}, v);
    const auto w = weights_of(world, of_f, level == 0);
    of_rows = weights_of(world, of_row, true);
    f = std::make_shared<sem::MultiFactorWeighted>(
        w, sem::Regression::parts_of(own, data::type::latent, of_f), own, data::type::latent, of_f);
    y = std::make_shared<sem::MultiNormalWeighted>(
        w, sem::Regression::parts_of(own, data::type::continuous, of_y), own, data::type::continuous, of_y);
    indicator = make_normal(estimator, of_row, of_rows);
    for (arma::uword i = 0; i < world.data.n_rows; ++i)
      world.data(i, score_column) = world.data(world.first_rows[level](world.units[level](i)), score_column);
    sem::block_setup together;
    together.members = {f.get(), y.get()};
    together.correlations.eye(2, 2);
    together.elements.zeros(2, 2);
    together.known_variances.zeros(2);
    block = std::make_shared<sem::MultiWeightedUnstruct>(own, together);
    block->register_ptrs();
    block->addStarts({Sigma(0, 0), Sigma(1, 0), Sigma(1, 1)});
    sem::level_units units;
    for (const auto& ids : world.units) units.push_back(&ids);
    sem::wire_likelihood_lists({f, y, indicator}, units, world.data);
  }
  equation_setup known(equation_setup setup, arma::uword column, const arma::vec& betas,
                       double variance) const {
    return known_equation(std::move(setup), world, column, betas, variance);
  }
  void solve() {
    using sem::autosolver::solution;
    auto solver = std::make_shared<sem::autosolver::solver<sem::autosolver::normal>>();
    solver->rng = &estimator.random;
    const arma::uvec units = f->missing_rows;
    const auto level = static_cast<int>(f->level);
    solver->functions = {block->distributionFunc(
                             {{f.get(), {}}, {y.get(), solution::constant(1, score_column)}}, level, units),
                         indicator->distributionFunc(sem::distribution_type::fixed,
                                                     solution::constant(1, score_column), level, units)};
    f->addDist(solver, sem::distribution_type::fixed);
  }
  arma::vec standardised(const arma::vec& of_row) const {
    const arma::mat Omega = arma::inv_sympd(Sigma);
    const arma::vec a = {-1.0, reading};  // of f in the residuals, which are b - a f
    arma::vec q(f->n_units, arma::fill::value(arma::as_scalar(a.t() * Omega * a))), d(f->n_units),
        out(f->n_units);
    for (arma::uword c = 0; c < q.n_elem; ++c) {
      const arma::vec b = {-0.3, world.data(world.first_rows[f->level](c), 1) + 0.2};
      d(c) = arma::as_scalar(a.t() * Omega * b);
    }
    for (arma::uword i = 0; i < world.data.n_rows; ++i) {
      const arma::uword c = world.units[f->level](i);
      q(c) += of_row(i) * loading * loading / v;
      d(c) += of_row(i) * loading * (world.data(i, 12) - 0.4) / v;
    }
    for (arma::uword c = 0; c < q.n_elem; ++c)
      out(c) = (world.data(world.first_rows[f->level](c), score_column) - d(c) / q(c)) * std::sqrt(q(c));
    return out;
  }
};

TEST(WeightedScores, OfAFactorInABlockHaveThePlainDistribution) {
  for (const bool solved : {false, true}) {
    MeasuredInABlock rows({{4, 1, 6}, {3, 5}, {2, 4}}, 0),
        clusters({{4, 1, 6}, {3, 5}, {2, 4}, {3, 2, 1, 4}}, 1);
    for (MeasuredInABlock* w : {&rows, &clusters}) {
      if (solved) w->solve();
      expect_standard(
          *w->f, *w, solved ? 1 : 60,
          w == &clusters ? w->of_rows->within : arma::vec(w->world.data.n_rows, arma::fill::ones));
    }
  }
}

}  // namespace
}  // namespace tovik::tests::weighted_scores_kernel_test
