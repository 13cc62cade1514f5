#pragma once

#include <armadillo>
#include <cmath>

namespace tovik::tests {

/// log N(y; mean, V) of the finite elements of y, by the Cholesky factor of the covariance matrix of all of
/// them.
inline double dense_log_normal(const arma::Col<double>& y, const arma::Col<double>& mean,
                               const arma::Mat<double>& V) {
  const arma::Col<arma::uword> seen = arma::find_finite(y);
  const arma::Mat<double> root = arma::chol(V(seen, seen), "lower");
  const arma::Col<double> z = arma::solve(arma::trimatl(root), y(seen) - mean(seen));
  return -0.5 * arma::dot(z, z) - arma::accu(arma::log(root.diag())) -
         0.5 * static_cast<double>(seen.n_elem) * std::log(2 * arma::datum::pi);
}

inline double log_normal_density(double x, double mean, double v) {
  return -0.5 * std::log(2 * arma::datum::pi * v) - 0.5 * (x - mean) * (x - mean) / v;
}

/// 1 where two rows share an identifier.
inline arma::Mat<double> same_cluster(const arma::Col<double>& id) {
  arma::Mat<double> out(id.n_elem, id.n_elem);
  for (arma::uword i = 0; i < id.n_elem; ++i) {
    for (arma::uword j = 0; j < id.n_elem; ++j) out(i, j) = id(i) == id(j);
  }
  return out;
}

}  // namespace tovik::tests
