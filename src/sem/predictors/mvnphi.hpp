#pragma once

#include <armadillo>

#include "random/random.hpp"

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
  /// Factors sigma. Throws std::runtime_error "chol(): decomposition failed".
  explicit normal_rectangle(arma::Mat<double> const& sigma);

  /// The probability as the mean over 256 points that are always the same, |2 frac(p sqrt(prime_i)) - 1|: a
  /// smooth function of bound and sigma without noise, as ratios of densities need it; exact for one
  /// dimension. `bound` has as many elements as sigma has rows.
  double operator()(double const* bound);
  double operator()(arma::Col<double> const& bound) { return (*this)(bound.memptr()); }

  arma::uword dim() const { return C_.n_rows; }
  /// The product of the e_i at one point w, of dim() - 1 elements.
  double at(double const* bound, double const* w);

 private:
  arma::Mat<double> C_;       ///< C', so that the elements of a row of C stand side by side
  arma::Mat<double> points_;  ///< one column each
  arma::Col<double> y_;
};

/// The same probability by random points. `error`: the standard error to reach, on return that of the result
/// (0 for one dimension); `count`: the most points to take, on return those taken. Throws error_debug when
/// the sizes do not agree or no point is allowed.
double mvnphi(arma::Col<double> const& bound, arma::Mat<double> const& sigma, double* error, int* count,
              Random& rng);

}  // namespace tovik::sem
