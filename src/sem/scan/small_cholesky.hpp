#pragma once

#include <armadillo>
#include <cmath>
#include <limits>
#include <stdexcept>

/// The factor of small precision matrices that the conditional draws need, in plain loops.
///
/// A precision P = T T' with T upper triangular gives chol(inv(P)) = inv(T), the upper Cholesky factor of the
/// covariance. A normal draw with mean inv(P) h and row noise z chol(inv(P)) is therefore
///   inv(T)' (inv(T) h + z):
/// two triangular solves, and no inverse. Matrices are column-major with leading dimension q; only the upper
/// triangle is read and written.
namespace tovik::sem::scan {

/// Overwrites the upper triangle of P by T. False when P is not positive definite: some pivot is not above
/// `tolerance` times its diagonal element.
inline bool reverse_cholesky(double* P, arma::uword q, double tolerance = 0.0) {
  for (arma::uword j = q; j-- > 0;) {
    double const diagonal = P[j + j * q];
    double pivot = diagonal;
    for (arma::uword l = j + 1; l < q; ++l) pivot -= P[j + l * q] * P[j + l * q];
    if (!(pivot > tolerance * diagonal) || !(pivot > 0.0)) return false;
    double const root = std::sqrt(pivot);
    P[j + j * q] = root;
    for (arma::uword i = 0; i < j; ++i) {
      double sum = P[i + j * q];
      for (arma::uword l = j + 1; l < q; ++l) sum -= P[i + l * q] * P[j + l * q];
      P[i + j * q] = sum / root;
    }
  }
  return true;
}

/// x := inv(T) x.
inline void solve_upper(double const* T, arma::uword q, double* x) {
  for (arma::uword j = q; j-- > 0;) {
    double const value = x[j] / T[j + j * q];
    x[j] = value;
    for (arma::uword i = 0; i < j; ++i) x[i] -= T[i + j * q] * value;
  }
}

/// x := inv(T)' x.
inline void solve_upper_transposed(double const* T, arma::uword q, double* x) {
  for (arma::uword j = 0; j < q; ++j) {
    double sum = x[j];
    for (arma::uword i = 0; i < j; ++i) sum -= T[i + j * q] * x[i];
    x[j] = sum / T[j + j * q];
  }
}

/// log det(T T').
inline double log_determinant(double const* T, arma::uword q) {
  double sum = 0.0;
  for (arma::uword j = 0; j < q; ++j) sum += std::log(T[j + j * q]);
  return 2.0 * sum;
}

/// out := inv(S) for a symmetric positive definite q x q S, written in place and exactly symmetric. `work`
/// has room for q * (q + 1) numbers. `out` may be S. Throws std::runtime_error "inv(): matrix is singular".
inline void invert_symmetric(double const* S, arma::uword q, double* out, double* work) {
  double* T = work;
  double* e = work + q * q;
  for (arma::uword i = 0; i < q * q; ++i) T[i] = S[i];
  if (!reverse_cholesky(T, q)) throw std::runtime_error("inv(): matrix is singular");
  for (arma::uword j = 0; j < q; ++j) {
    for (arma::uword i = 0; i < q; ++i) e[i] = i == j ? 1.0 : 0.0;
    solve_upper(T, q, e);
    solve_upper_transposed(T, q, e);
    for (arma::uword i = 0; i <= j; ++i) out[i + j * q] = e[i];
  }
  for (arma::uword j = 0; j < q; ++j)
    for (arma::uword i = 0; i < j; ++i) out[j + i * q] = out[i + j * q];
}

}  // namespace tovik::sem::scan
