#pragma once

#include <algorithm>
#include <armadillo>
#include <cmath>
#include <string>
#include <vector>

#include "../tests/sem/predictor_run.hpp"
#include "chain_timing.hpp"
#include "chain_workloads.hpp"

namespace tovik::bench {

/// A chain with models of incomplete predictors, and the random numbers of a scan.
struct predictor_workload {
  tests::predictor_run run;
  numbers_of_scan numbers;
};

/// Makes this share of the cells of a column missing, at random; returns how many.
inline std::size_t blank(arma::mat& data, arma::uword column, double share, Random& rng) {
  std::size_t out = 0;
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    if (rng.runif() >= share) continue;
    data(i, column) = arma::datum::nan;
    ++out;
  }
  return out;
}

/// The data of random_slope() with 20% missing in the predictor that has the slope and in one more. With
/// `means` these two vary among clusters too, so that they have latent means.
inline predictor_workload incomplete_random_slope(bool means) {
  constexpr arma::uword clusters = 1000, size = 20;
  const chain_workload complete = random_slope();
  arma::mat data = complete.run.data.head_cols(6);
  Random rng(21, 0);
  for (arma::uword c = 0; means && c < clusters; ++c) {
    for (arma::uword j : {2, 3}) {
      const double mean = 0.5 * rng.rnorm();
      for (arma::uword i = c * size; i < (c + 1) * size; ++i) {
        data(i, j) += mean;
        data(i, 1) += 0.2 * mean;
      }
    }
  }
  std::size_t missing = 0;
  for (arma::uword j : {2, 3}) missing += blank(data, j, 0.2, rng);
  tests::predictor_run::plan plan;
  plan.ids = {"id"};
  plan.fixed = {"x3", "x4"};
  const std::size_t latent = means ? 2 * clusters : 0;
  return {tests::predictor_run({"id", "y", "x1", "x2", "x3", "x4"}, data, {"y ~ x1 x2 x3 x4 | x1"}, plan),
          {complete.normals + missing + latent + 8, missing, complete.gammas + 2}};
}

/// x, 20% of which is missing, in 100 clusters with a random intercept; no equation reads its means. `icc`:
/// the share of its variance that is between clusters. With `categorical` x has three unordered categories.
inline predictor_workload unread_means(arma::uword size, double icc, bool categorical = false) {
  constexpr arma::uword clusters = 100;
  Random rng(24, 0);
  arma::mat data(clusters * size, 3);
  for (arma::uword c = 0; c < clusters; ++c) {
    const double a = 0.6 * rng.rnorm(), mean = std::sqrt(icc) * rng.rnorm();
    for (arma::uword i = c * size; i < (c + 1) * size; ++i) {
      double x = mean + std::sqrt(1.0 - icc) * rng.rnorm();
      if (categorical) x = x > 0.5 ? 3.0 : (rng.rnorm() > x ? 2.0 : 1.0);
      data.row(i) = arma::rowvec{static_cast<double>(c + 1), 1.0 + a + 0.3 * x + rng.rnorm(), x};
    }
  }
  const std::size_t missing = blank(data, 2, 0.2, rng);
  tests::predictor_run::plan plan;
  plan.ids = {"id"};
  if (categorical) plan.nominal = {"x"};
  return {tests::predictor_run({"id", "y", "x"}, data, {"y ~ x"}, plan),
          {2 * clusters + missing + 5, missing, 4}};
}

/// Twenty continuous variables of 5,000 rows, 30% missing in each.
inline predictor_workload continuous_fcs() {
  constexpr arma::uword n = 5000, p = 20;
  Random rng(22, 0);
  arma::mat data(n, p);
  for (arma::uword i = 0; i < n; ++i) {
    const double common = rng.rnorm();
    for (arma::uword j = 0; j < p; ++j) data(i, j) = 0.6 * common + 0.8 * rng.rnorm();
  }
  tests::predictor_run::plan plan;
  std::size_t missing = 0;
  for (arma::uword j = 0; j < p; ++j) {
    plan.auxiliary.push_back("x" + std::to_string(j + 1));
    missing += blank(data, j, 0.3, rng);
  }
  return {tests::predictor_run(plan.auxiliary, data, {}, plan), {missing + p * p, 0, static_cast<int>(p)}};
}

/// Ten variables of 5,000 rows in 200 clusters, 30% missing in each: four continuous, three of four ordered
/// and three of three unordered categories.
inline predictor_workload mixed_fcs() {
  constexpr arma::uword clusters = 200, size = 25, n = clusters * size, p = 10;
  constexpr arma::uword ordinal = 4, nominal = 7;  // where these begin
  Random rng(23, 0);
  arma::mat data(n, p + 1);
  arma::rowvec mean(p);
  for (arma::uword i = 0; i < n; ++i) {
    if (i % size == 0)
      for (double& m : mean) m = 0.5 * rng.rnorm();
    data(i, 0) = static_cast<double>(i / size + 1);
    const double common = 0.6 * rng.rnorm();
    for (arma::uword j = 0; j < p; ++j) {
      const double score = mean[j] + common + 0.8 * rng.rnorm();
      double& x = data(i, j + 1) = score;
      if (j >= ordinal) x = 1.0 + (score > -0.8) + (score > 0.1) + (score > 0.9);
      if (j >= nominal) x = score > 0.5 ? 3.0 : (rng.rnorm() > score ? 2.0 : 1.0);
    }
  }
  tests::predictor_run::plan plan;
  plan.ids = {"id"};
  std::vector<std::string> names = {"id"};
  for (arma::uword j = 0; j < p; ++j) {
    const std::string name = "x" + std::to_string(j + 1);
    names.push_back(name);
    plan.auxiliary.push_back(name);
    if (j >= nominal)
      plan.nominal.push_back(name);
    else if (j >= ordinal)
      plan.ordinal.push_back(name);
    blank(data, j + 1, 0.3, rng);
  }
  // Scores: 4 + 3 + 2 * 3 columns, 30% of them free; coefficients among 13 columns at two levels. The scores
  // of ordinal categories are drawn when thresholds move, about two scans in five.
  constexpr std::size_t scores = 13, observed = n * 7 / 10;
  return {tests::predictor_run(names, data, {}, plan),
          {scores * (n - observed + clusters + 1 + 2 * scores), 3, 11, observed * (6 + 3 * 2 / 5)}};
}

}  // namespace tovik::bench
