#pragma once

#include <gtest/gtest.h>

#include <armadillo>
#include <cmath>
#include <memory>
#include <vector>

#include "scan_world.hpp"
#include "sem/outcomes/weighted.hpp"

namespace tovik::tests {

/// Clusters of one row among them.
const nesting unbalanced_clusters = {{5, 1, 9, 4}, {3, 7}, {2, 2, 6, 4, 3}, {8}, {4, 5, 3}, {6, 2, 7, 5}};
constexpr arma::uword row_weight = 9, cluster_weight = 10, score_column = 11;

/// Weights of rows in column 9, of clusters in column 10, scores in column 11.
inline World weighted_world(const nesting& sizes, std::uint32_t seed, double scale = 1.0,
                            double shift = 0.0) {
  const unsigned levels = sizes.size() == 1 && sizes[0].size() == 1 ? 1 : 2;
  World world(levels, sizes, seed);
  simulate_outcome(world, 0, 1.0, seed);
  world.data.col(1) *= scale;
  world.data.col(2) += shift;
  Random rng(seed, 3U);
  world.data.insert_cols(row_weight, 3);
  for (arma::uword i = 0; i < world.data.n_rows; ++i) {
    world.data(i, row_weight) = 100.0 * std::exp(rng.rnorm());
    const arma::uword first = levels == 1 ? 0 : world.first_rows[1](world.units[1](i));
    world.data(i, cluster_weight) = first < i ? world.data(first, cluster_weight) : std::exp(rng.rnorm());
  }
  world.data.col(score_column) = world.data.col(1);
  return world;
}

inline std::shared_ptr<const sem::estimator::weights> weights_of(const World& world,
                                                                 const sem::equation_setup& setup,
                                                                 bool of_clusters) {
  std::vector<arma::uword> columns = {setup.level == 0 ? row_weight : cluster_weight};
  if (setup.cluster.n_levels() > 0)
    columns.push_back(of_clusters ? cluster_weight : sem::estimator::weights::none);
  return std::make_shared<const sem::estimator::weights>(setup.cluster, world.data, columns);
}

inline std::shared_ptr<sem::FactorWeighted> make_factor(
    const sem::Estimator& estimator, const sem::equation_setup& setup,
    const std::shared_ptr<const sem::estimator::weights>& w) {
  const sem::equation_setup whole = sem::Factor::without_values(setup);
  const sem::Estimator* own = &estimator;
  return std::make_shared<sem::FactorWeighted>(w, sem::Regression::parts_of(own, data::type::latent, whole),
                                               own, whole);
}

inline std::shared_ptr<sem::NormalWeighted> make_normal(
    const sem::Estimator& estimator, const sem::equation_setup& setup,
    const std::shared_ptr<const sem::estimator::weights>& w) {
  const sem::Estimator* own = &estimator;
  return std::make_shared<sem::NormalWeighted>(
      w, sem::Regression::parts_of(own, data::type::continuous, setup), own, setup);
}

/// The equation of column y with known coefficients and variance; scores are in a column that moves.
inline sem::equation_setup known_equation(sem::equation_setup setup, const World& world, arma::uword y,
                                          const arma::vec& betas, double v) {
  setup.y = y;
  setup.fixed = arma::regspace<arma::uvec>(0, betas.n_elem - 1);
  setup.fixed_values = betas;
  setup.estimate_resid = false;
  setup.resid_value = v;
  setup.mutable_columns.assign(world.data.n_cols, false);
  setup.mutable_columns[score_column] = true;
  return setup;
}

/// Rows of which each has the weight 1 or 3, with the mean 2 in each cluster, and the data in which they
/// stand that many times.
struct repeated_rows {
  static constexpr double mean = 2.0;
  World world{2, {{4, 2, 6, 8, 2, 4, 2}}, 5}, repeated{2, {{8, 4, 12, 16, 4, 8, 4}}, 5};

  repeated_rows() {
    simulate_outcome(world, 0, 1.0, 5);
    arma::uword to = 0;
    const arma::uword given = world.data.n_cols;
    world.data.insert_cols(row_weight, 2);
    for (arma::uword i = 0; i < world.data.n_rows; ++i) {
      const arma::uword times = i % 2 == 0 ? 1 : 3;
      world.data(i, row_weight) = static_cast<double>(times);
      for (arma::uword t = 0; t < times; ++t) repeated.data.row(to++) = world.data.row(i).head(given);
    }
    EXPECT_EQ(to, repeated.data.n_rows);
  }
  static sem::equation_setup equation(const World& of, double variance) {
    sem::equation_setup setup = of.setup(0, {0, 2, 3});
    setup.z[0] = {0, 2, 4};
    setup.icept = {1};
    setup.prior = {1, 1};
    setup.estimate_resid = false;
    setup.resid_value = variance;
    return setup;
  }
};

}  // namespace tovik::tests
