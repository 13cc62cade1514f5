#pragma once

#include <armadillo>
#include <cmath>

#include "../tests/sem/small_run.hpp"

namespace tovik::bench {

/// A random intercept; x varies within clusters, w between them. `icc`: the share of the variance that
/// effects and residuals have which is between clusters.
inline tests::small_run random_intercept(arma::uword clusters, arma::uword size, double icc) {
  Random rng(21, 0);
  arma::mat data(clusters * size, 4);
  for (arma::uword c = 0; c < clusters; ++c) {
    const double a = std::sqrt(icc) * rng.rnorm(), w = rng.rnorm();
    for (arma::uword i = c * size; i < (c + 1) * size; ++i) {
      const double x = rng.rnorm();
      data.row(i) = arma::rowvec{static_cast<double>(c + 1),
                                 1.0 + a + 0.5 * x + 0.3 * w + std::sqrt(1.0 - icc) * rng.rnorm(), x, w};
    }
  }
  return {{"id", "y", "x", "w"}, data, {"id"}, {clusters < 10 ? "y ~ x" : "y ~ x w"}};
}

/// 100 clusters of 20; the predictor of the random slope has the mean 10.
inline tests::small_run distant_slope() {
  constexpr arma::uword clusters = 100, size = 20;
  Random rng(22, 0);
  arma::mat data(clusters * size, 3);
  for (arma::uword c = 0; c < clusters; ++c) {
    const double a = 0.7 * rng.rnorm(), b = 0.3 * rng.rnorm();
    for (arma::uword i = c * size; i < (c + 1) * size; ++i) {
      const double x = rng.rnorm();
      data.row(i) = arma::rowvec{static_cast<double>(c + 1), 1.0 + a + (0.5 + b) * x + rng.rnorm(), 10.0 + x};
    }
  }
  return {{"id", "y", "x"}, data, {"id"}, {"y ~ x | x"}};
}

/// 50 clusters of 6 clusters of 15, a random intercept and a random slope at both levels.
inline tests::small_run slopes_at_two_levels() {
  constexpr arma::uword top = 50, middle = 6, size = 15;
  Random rng(23, 0);
  arma::mat data(top * middle * size, 4);
  arma::uword i = 0;
  for (arma::uword t = 0; t < top; ++t) {
    const double a = 0.6 * rng.rnorm(), b = 0.3 * rng.rnorm();
    for (arma::uword m = 0; m < middle; ++m) {
      const double c = 0.5 * rng.rnorm(), d = 0.3 * rng.rnorm();
      for (arma::uword k = 0; k < size; ++k, ++i) {
        const double x = rng.rnorm();
        data.row(i) = arma::rowvec{static_cast<double>(t + 1), static_cast<double>(t * middle + m + 1),
                                   1.0 + a + c + (0.5 + b + d) * x + rng.rnorm(), x};
      }
    }
  }
  return {{"school", "class", "y", "x"}, data, {"school", "class"}, {"y ~ x | x"}};
}

}  // namespace tovik::bench
