#include "sem/scan/integrated_regression.hpp"

#include <algorithm>
#include <cmath>

#include "sem/scan/blas.hpp"
#include "sem/scan/covariance.hpp"
#include "sem/scan/small_cholesky.hpp"

namespace tovik::sem::scan {

bool integrated_regression::factor() {
  by_rows_ = false;
  return factor_rows();
}

bool integrated_regression::factor(const arma::Col<double>& w) {
  by_rows_ = true;
  weighed_.set_size(X_.n_rows, X_.n_cols);
  for (arma::uword j = 0; j < X_.n_cols; ++j)
    for (arma::uword i = 0; i < X_.n_rows; ++i) weighed_(i, j) = w(i) * X_(i, j);
  return factor_rows();
}

bool integrated_regression::factor_rows() {
  const arma::Mat<double>& X = rows();
  arma::uword const n = X.n_rows, k = X.n_cols;
  root_.set_size(k, k);
  b_.set_size(k);
  for (arma::uword j = 0; j < k; ++j)
    for (arma::uword i = 0; i <= j; ++i) root_(i, j) = root_(j, i) = dot(n, X.colptr(i), X.colptr(j));
  return k == 0 || reverse_cholesky(root_.memptr(), k, singular_share(n));
}

double integrated_regression::log_determinant() const {
  return scan::log_determinant(root_.memptr(), root_.n_cols);
}

// The residual is formed, and not the difference of two sums: an error of b then enters by its square.
double integrated_regression::squares(const arma::Col<double>& e) {
  const arma::Mat<double>& X = rows();
  arma::uword const n = X.n_rows, k = X.n_cols;
  if (k == 0) return dot(n, e.memptr(), e.memptr());
  r_.set_size(n);
  multiply_transposed(1.0, X, e.memptr(), 0.0, b_.memptr());
  solve_upper(root_.memptr(), k, b_.memptr());
  solve_upper_transposed(root_.memptr(), k, b_.memptr());
  std::copy_n(e.memptr(), n, r_.memptr());
  multiply(-1.0, X, b_.memptr(), 1.0, r_.memptr());
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
