#pragma once

#include <armadillo>

namespace tovik::sem::scan {

/// The prior of the coefficients of an equation, independent of each other and of the residual variance:
///
///   b_j ~ N(m_j, 1 / p_j),   flat where the precision p_j is 0.
class coefficient_prior {
 public:
  /// Flat for every coefficient.
  coefficient_prior() = default;
  /// N(0, variance) for every coefficient, flat for an infinite variance. Throws error_debug unless the
  /// variance is positive.
  static coefficient_prior ridge(double variance);
  /// A precision and a mean for each coefficient of the equation, drawn or not. Throws error_debug when they
  /// differ in number, when a precision is negative, and when one of them is not finite.
  static coefficient_prior of_each(arma::Col<double> precision, arma::Col<double> mean);

  /// True if every coefficient has a flat prior.
  bool is_flat() const { return flat_; }
  /// True if no mean differs from 0.
  bool is_centred() const { return centred_; }
  /// True if it tells the prior of each of n coefficients.
  bool fits(arma::uword n) const { return each_.is_empty() || each_.n_elem == n; }

  double precision(arma::uword j) const { return each_.is_empty() ? common_ : each_[j]; }
  double mean(arma::uword j) const { return centred_ ? 0.0 : mean_[j]; }

 private:
  bool flat_ = true;
  bool centred_ = true;
  double common_ = 0.0;            ///< the precision, if it is one for all
  arma::Col<double> each_, mean_;  ///< empty if it is one for all
};

}  // namespace tovik::sem::scan
