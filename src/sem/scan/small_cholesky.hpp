#pragma once

#include <algorithm>
#include <armadillo>
#include <cmath>
#include <limits>

#include "support/error.hpp"

/// The factor of small precision matrices that the conditional draws need, in plain loops.
///
/// A precision P = T T' with T upper triangular gives chol(inv(P)) = inv(T), the upper Cholesky factor of the
/// covariance. A normal draw with mean inv(P) h and row noise z chol(inv(P)) is therefore
///   inv(T)' (inv(T) h + z):
/// two triangular solves, and no inverse. Matrices are column-major with leading dimension q; only the upper
/// triangle is read and written, that of lower factors the lower one.
namespace tovik::sem::scan {

/// The share of a diagonal element at which a pivot counts as zero, for sums of products over n rows. A pivot
/// is what the later columns leave of a column; rounding leaves about sqrt(n) epsilon of a dependent one.
inline double singular_share(arma::uword n) {
  const double epsilon = std::numeric_limits<double>::epsilon();
  return std::max(100.0 * epsilon, 10.0 * epsilon * std::sqrt(static_cast<double>(n)));
}

/// Overwrites the upper triangle of P by T. False when P is not positive definite: the pivot of some column j
/// is not above tolerance(j) times its diagonal element.
template <class Tolerance>
bool reverse_cholesky(double* P, arma::uword q, const Tolerance& tolerance) {
  for (arma::uword j = q; j-- > 0;) {
    const double diagonal = P[j + j * q];
    double pivot = diagonal;
    for (arma::uword l = j + 1; l < q; ++l) pivot -= P[j + l * q] * P[j + l * q];
    if (!(pivot > tolerance(j) * diagonal) || !(pivot > 0.0)) return false;
    const double root = std::sqrt(pivot);
    P[j + j * q] = root;
    for (arma::uword i = 0; i < j; ++i) {
      double sum = P[i + j * q];
      for (arma::uword l = j + 1; l < q; ++l) sum -= P[i + l * q] * P[j + l * q];
      P[i + j * q] = sum / root;
    }
  }
  return true;
}

/// The same with one tolerance for all columns.
inline bool reverse_cholesky(double* P, arma::uword q, double tolerance = 0.0) {
  return reverse_cholesky(P, q, [tolerance](arma::uword) { return tolerance; });
}

/// x := inv(T) x.
inline void solve_upper(const double* T, arma::uword q, double* x) {
  for (arma::uword j = q; j-- > 0;) {
    const double value = x[j] / T[j + j * q];
    x[j] = value;
    for (arma::uword i = 0; i < j; ++i) x[i] -= T[i + j * q] * value;
  }
}

/// x := inv(T)' x.
inline void solve_upper_transposed(const double* T, arma::uword q, double* x) {
  for (arma::uword j = 0; j < q; ++j) {
    double sum = x[j];
    for (arma::uword i = 0; i < j; ++i) sum -= T[i + j * q] * x[i];
    x[j] = sum / T[j + j * q];
  }
}

/// Overwrites the lower triangle of S by L with L L' = S. False when a pivot is not above `tolerance` times
/// its diagonal element.
inline bool lower_cholesky(double* S, arma::uword q, double tolerance = 0.0) {
  for (arma::uword j = 0; j < q; ++j) {
    const double diagonal = S[j + j * q];
    double pivot = diagonal;
    for (arma::uword l = 0; l < j; ++l) pivot -= S[j + l * q] * S[j + l * q];
    if (!(pivot > tolerance * diagonal) || !(pivot > 0.0)) return false;
    const double root = std::sqrt(pivot);
    S[j + j * q] = root;
    for (arma::uword i = j + 1; i < q; ++i) {
      double sum = S[i + j * q];
      for (arma::uword l = 0; l < j; ++l) sum -= S[i + l * q] * S[j + l * q];
      S[i + j * q] = sum / root;
    }
  }
  return true;
}

/// x := inv(L) x.
inline void solve_lower(const double* L, arma::uword q, double* x) {
  for (arma::uword j = 0; j < q; ++j) {
    const double value = x[j] / L[j + j * q];
    x[j] = value;
    for (arma::uword i = j + 1; i < q; ++i) x[i] -= L[i + j * q] * value;
  }
}

/// x := inv(L)' x.
inline void solve_lower_transposed(const double* L, arma::uword q, double* x) {
  for (arma::uword j = q; j-- > 0;) {
    double sum = x[j];
    for (arma::uword i = j + 1; i < q; ++i) sum -= L[i + j * q] * x[i];
    x[j] = sum / L[j + j * q];
  }
}

/// log det(T T').
inline double log_determinant(const double* T, arma::uword q) {
  double sum = 0.0;
  for (arma::uword j = 0; j < q; ++j) sum += std::log(T[j + j * q]);
  return 2.0 * sum;
}

/// out := inv(S) for a symmetric positive definite q x q S, written in place and exactly symmetric. `work`
/// has room for q * (q + 1) numbers. `out` may be S. Throws numeric_error "inv(): matrix is singular".
inline void invert_symmetric(const double* S, arma::uword q, double* out, double* work) {
  double* T = work;
  double* e = work + q * q;
  for (arma::uword i = 0; i < q * q; ++i) T[i] = S[i];
  if (!reverse_cholesky(T, q)) throw numeric_error::singular();
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
