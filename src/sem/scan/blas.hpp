#pragma once

#include <armadillo>

/// Vector and matrix-vector products into storage that the caller keeps: expressions of the matrix library
/// allocate their results.
namespace tovik::sem::scan {

/// x'y.
inline double dot(arma::uword n, const double* x, const double* y) {
  if (n >= 24) return arma::blas::dot(n, x, y);
  double sum = 0.0;
  for (arma::uword i = 0; i < n; ++i) sum += x[i] * y[i];
  return sum;
}

/// Sum of x. Four chains of additions overlap.
inline double total(arma::uword n, const double* x) {
  double a = 0.0, b = 0.0, c = 0.0, d = 0.0;
  arma::uword i = 0;
  for (; i + 3 < n; i += 4) {
    a += x[i];
    b += x[i + 1];
    c += x[i + 2];
    d += x[i + 3];
  }
  for (; i < n; ++i) a += x[i];
  return (a + b) + (c + d);
}

/// y += a x; they do not overlap. Four at a time, which the compiler can put side by side.
inline void add_scaled(arma::uword n, double a, const double* __restrict x, double* __restrict y) {
  arma::uword i = 0;
  for (; i + 3 < n; i += 4) {
    y[i] += a * x[i];
    y[i + 1] += a * x[i + 1];
    y[i + 2] += a * x[i + 2];
    y[i + 3] += a * x[i + 3];
  }
  for (; i < n; ++i) y[i] += a * x[i];
}

/// y := alpha A x + beta y for a rows x cols matrix A.
inline void multiply(double alpha, const arma::Mat<double>& A, const double* x, double beta, double* y) {
  if (A.n_rows == 0) return;
  if (A.n_cols == 0) {
    for (arma::uword i = 0; i < A.n_rows; ++i) y[i] *= beta;
    return;
  }
  const char trans = 'N';
  const auto m = static_cast<arma::blas_int>(A.n_rows), n = static_cast<arma::blas_int>(A.n_cols);
  arma::blas_int const one = 1;
  arma::blas::gemv<double>(&trans, &m, &n, &alpha, A.memptr(), &m, x, &one, &beta, y, &one);
}

/// Y := Y - A X for `rows` rows of A from the row `first`, Y rows x n, X A.n_cols x n, columns one after the
/// other.
inline void subtract_product(const arma::Mat<double>& A, arma::uword first, arma::uword rows, const double* X,
                             arma::uword n, double* Y) {
  if (rows == 0 || n == 0 || A.n_cols == 0) return;
  const char trans = 'N';
  const auto m = static_cast<arma::blas_int>(rows), columns = static_cast<arma::blas_int>(n),
             k = static_cast<arma::blas_int>(A.n_cols), height = static_cast<arma::blas_int>(A.n_rows);
  const double minus = -1.0, one = 1.0;
  arma::blas::gemm<double>(&trans, &trans, &m, &columns, &k, &minus, A.memptr() + first, &height, X, &k, &one,
                           Y, &m);
}

/// y := alpha A'x + beta y.
inline void multiply_transposed(double alpha, const arma::Mat<double>& A, const double* x, double beta,
                                double* y) {
  if (A.n_cols == 0) return;
  const char trans = 'T';
  const auto m = static_cast<arma::blas_int>(A.n_rows), n = static_cast<arma::blas_int>(A.n_cols);
  arma::blas_int const one = 1;
  arma::blas::gemv<double>(&trans, &m, &n, &alpha, A.memptr(), &m, x, &one, &beta, y, &one);
}

}  // namespace tovik::sem::scan
