#pragma once

#include <armadillo>

namespace tovik::sem {

/// P(X <= bound) for X ~ N(0, sigma), by separation of variables (Genz, 1992, Journal of Computational and
/// Graphical Statistics 1, 141-149): with C the lower Cholesky factor of sigma and w uniform on the unit
/// cube,
///
///   y_i = iPhi(e_i w_i),   e_i = Phi((bound_i - sum_{j < i} c_ij y_j) / c_ii),
///
/// the probability is the expectation of the product of the e_i.
class normal_rectangle {
 public:
  /// Factors sigma. Throws numeric_error "chol(): decomposition failed".
  explicit normal_rectangle(const arma::Mat<double>& sigma);

  /// The probability as the mean over 256 points that are always the same, |2 frac(p sqrt(prime_i)) - 1|: a
  /// smooth function of bound and sigma without noise, as ratios of densities need it; exact for one
  /// dimension. `bound` has as many elements as sigma has rows.
  double operator()(const double* bound);
  double operator()(const arma::Col<double>& bound) { return (*this)(bound.memptr()); }

  arma::uword dim() const { return C_.n_rows; }

 private:
  /// The product of the e_i at one point w, of dim() - 1 elements.
  double at(const double* bound, const double* w);

  arma::Mat<double> C_;       ///< C', so that the elements of a row of C stand side by side
  arma::Mat<double> points_;  ///< one column each
  arma::Col<double> y_;
};

}  // namespace tovik::sem
