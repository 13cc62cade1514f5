#pragma once

#include <armadillo>

#include "sem/scan/coefficient_prior.hpp"

namespace tovik::sem::scan {

/// Coefficients g of the log variances l = max(V g, bound) of units that go along with a parameter t of the
/// scale on which their response is modelled. A step d of t multiplies the spread of unit i by about
/// exp(d x_i); the coefficients that are drawn, F, follow with 2 d a,
///
///   a = inv(V_F'V_F) V_F'x,
///
/// the regression of x on their columns, which is the mean of x for the constant alone. For V and x that do
/// not depend on t and g, (t, g) -> (t + d, g + 2 d a) is a shear: it preserves volume, and -d undoes it (Liu
/// & Sabatti, 2000, Biometrika 87, 353-369, on moves along a group).
class log_variance_shear {
 public:
  /// `which`: F; `x`: of each unit. Where the columns of F depend on each other, or F is empty, g stays.
  void begin(const arma::Mat<double>& V, const arma::Mat<double>& g, const arma::Col<arma::uword>& which,
             const coefficient_prior& prior, double bound, const double* x);

  /// With t moved by d: log prior of g less half the sum of l, up to a constant.
  double at(double d);
  /// exp(-l / 2) of each unit at the last d.
  const arma::Col<double>& roots() const { return roots_; }
  /// Moves g along.
  void move(double d, arma::Mat<double>& g) const;

 private:
  bool regress(const arma::Mat<double>& V, const arma::Col<arma::uword>& which, const double* x);

  const coefficient_prior* prior_ = nullptr;
  double bound_ = 0.0;
  arma::Col<double> g_, a_;              ///< of all coefficients
  arma::Col<double> l_, along_, roots_;  ///< V g, 2 V a
  arma::Mat<double> T_;
  arma::Col<double> work_;
};

}  // namespace tovik::sem::scan
