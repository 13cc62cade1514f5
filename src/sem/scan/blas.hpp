#pragma once

#include <armadillo>

/// Vector and matrix-vector products into storage that the caller keeps: expressions of the matrix library
/// allocate their results.
namespace tovik::sem::scan {

/// x'y.
inline double dot(arma::uword n, double const* x, double const* y) {
  if (n >= 24) return arma::blas::dot(n, x, y);
  double sum = 0.0;
  for (arma::uword i = 0; i < n; ++i) sum += x[i] * y[i];
  return sum;
}

/// y += a x.
inline void add_scaled(arma::uword n, double a, double const* x, double* y) {
  for (arma::uword i = 0; i < n; ++i) y[i] += a * x[i];
}

/// y := alpha A x + beta y for a rows x cols matrix A.
inline void multiply(double alpha, arma::Mat<double> const& A, double const* x, double beta, double* y) {
  if (A.n_rows == 0) return;
  if (A.n_cols == 0) {
    for (arma::uword i = 0; i < A.n_rows; ++i) y[i] *= beta;
    return;
  }
  char const trans = 'N';
  auto const m = static_cast<arma::blas_int>(A.n_rows), n = static_cast<arma::blas_int>(A.n_cols);
  arma::blas_int const one = 1;
  arma::blas::gemv<double>(&trans, &m, &n, &alpha, A.memptr(), &m, x, &one, &beta, y, &one);
}

/// y := alpha A'x + beta y.
inline void multiply_transposed(double alpha, arma::Mat<double> const& A, double const* x, double beta,
                                double* y) {
  if (A.n_cols == 0) return;
  char const trans = 'T';
  auto const m = static_cast<arma::blas_int>(A.n_rows), n = static_cast<arma::blas_int>(A.n_cols);
  arma::blas_int const one = 1;
  arma::blas::gemv<double>(&trans, &m, &n, &alpha, A.memptr(), &m, x, &one, &beta, y, &one);
}

}  // namespace tovik::sem::scan
