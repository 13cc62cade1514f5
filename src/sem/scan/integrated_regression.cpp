#include "sem/scan/integrated_regression.hpp"

#include <algorithm>
#include <cmath>

#include "sem/scan/blas.hpp"
#include "sem/scan/covariance.hpp"
#include "sem/scan/small_cholesky.hpp"

namespace tovik::sem::scan {

bool integrated_regression::factor() {
  arma::uword const n = X_.n_rows, k = X_.n_cols;
  root_.set_size(k, k);
  b_.set_size(k);
  for (arma::uword j = 0; j < k; ++j)
    for (arma::uword i = 0; i <= j; ++i) root_(i, j) = root_(j, i) = dot(n, X_.colptr(i), X_.colptr(j));
  return k == 0 || reverse_cholesky(root_.memptr(), k, singular_share(n));
}

// The residual is formed, and not the difference of two sums: an error of b then enters by its square.
double integrated_regression::squares(const arma::Col<double>& e) {
  arma::uword const n = X_.n_rows, k = X_.n_cols;
  if (k == 0) return dot(n, e.memptr(), e.memptr());
  r_.set_size(n);
  multiply_transposed(1.0, X_, e.memptr(), 0.0, b_.memptr());
  solve_upper(root_.memptr(), k, b_.memptr());
  solve_upper_transposed(root_.memptr(), k, b_.memptr());
  std::copy_n(e.memptr(), n, r_.memptr());
  multiply(-1.0, X_, b_.memptr(), 1.0, r_.memptr());
  return dot(n, r_.memptr(), r_.memptr());
}

bool integrated_regression::is_proper(int prior) const {
  return rows_left() + prior_degrees(prior, 1) > 0.0;
}

double integrated_regression::log_density(double squares, int prior, double unit) const {
  const double pseudo = prior == 1 ? unit : 0.0;
  return -0.5 * (rows_left() + prior_degrees(prior, 1)) * std::log(squares + pseudo);
}

}  // namespace tovik::sem::scan
