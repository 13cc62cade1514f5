#pragma once

#include <armadillo>

#include "sem/scan/design.hpp"
#include "sem/scan/row_scale.hpp"

namespace tovik::sem::scan {

/// A design whose columns of large mean are taken about a constant near it, for the draw of the coefficients
/// alone.
///
/// A column with mean m and standard deviation s leaves X'X about (m / s)^2 times worse conditioned: at 10^7
/// no digit of the slope is left. With b0 the intercept, X b = b0' + sum (x_j - c_j) b_j where b0' = b0 + sum
/// c_j b_j, a map with determinant 1: under a flat prior the coefficients of the shifted design have the
/// posterior of the plain ones.
class shifted_design {
 public:
  /// Decides by the columns as they stand, once. Only where coefficient 0 is drawn and belongs to the
  /// constant.
  void choose(const columns& x, const arma::Col<arma::uword>& free);
  /// False for a design that needs no shift.
  bool active() const { return !shift_.is_empty(); }

  /// Takes the columns of a scan, and forms their products.
  void refresh(const columns& x, const row_scale& scale);
  /// The products of the shifted columns, weighted by the precisions unless there is one variance.
  const arma::Mat<double>& gram() const { return G_; }
  /// How often gram() was formed.
  unsigned version() const { return version_; }
  const arma::Mat<double>& values() const { return X_; }

  /// Coefficients of the shifted design, to those of the plain one, in place.
  void to_plain(double* b) const;
  /// The other way.
  void from_plain(double* b) const;

 private:
  arma::Col<double> shift_;
  arma::Mat<double> X_, weighted_, G_;
  unsigned version_ = 0;
};

}  // namespace tovik::sem::scan
