#pragma once

#include <armadillo>

#include "random/random.hpp"
#include "sem/scan/effect_factor.hpp"

namespace tovik::tests {

/// One level of random effects with everything else known: y_i = z_i'u_c(i) + e_i, e_i ~ N(0, 1 / w_i).
struct factor_world {
  arma::Mat<double> Z;
  arma::Col<arma::uword> cluster_of;
  arma::Col<double> y, weight;  ///< residual precision of each row
  arma::Mat<double> A, t;       ///< sums within clusters as the steps take them, with w = 1

  /// Clusters of 1 to 7 rows. Covariates: the constant, then normal ones about `mean` with the standard
  /// deviation `spread`. Rows weigh alike (4) or differ.
  factor_world(arma::uword clusters, arma::uword q, bool weighted, double mean = 0.0, double spread = 1.0);

  /// Z'Z of every cluster: once; Z'y of every cluster: when y has changed.
  void sum_designs();
  void sum_outcomes();

  /// T lower triangular with TT' = Z'WZ: the columns of Z inv(T)' are orthonormal in the weights.
  arma::Mat<double> orthonormal() const;

  arma::Mat<double> draw_u(const arma::Mat<double>& Sigma, Random& rng) const;
  void draw_y(const arma::Mat<double>& u, Random& rng);
  /// -sum of w (y - Zu)^2 / 2.
  double log_likelihood(const arma::Mat<double>& u) const;
};

/// The step by its definition: the density of L is evaluated as it is stated, over all rows, and the moments
/// of rows of L are differences of it. Consumes the random numbers that effect_factor_step does.
void draw_factor_naively(const factor_world& world, const sem::scan::covariance_prior& prior, Random& rng,
                         arma::Mat<double>& u, arma::Mat<double>& Sigma);

}  // namespace tovik::tests
