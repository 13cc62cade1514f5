#pragma once

#include <armadillo>
#include <vector>

namespace tovik::sem::scan {

/// log N(y_i; x_i'b, v) of the units of a regression whose y and X never change, at several draws of (b, v):
/// the residuals of a range of units at all draws are one product of matrices, y 1' - X B.
class normal_block {
 public:
  /// `X`: units x k, which must outlive the object; `y`: units x 1; `left_out`: units that count for nothing,
  /// rising.
  normal_block(const arma::Mat<double>& X, arma::Col<double> y, arma::Col<arma::uword> left_out);

  /// Keeps a draw; `b` has k values.
  void keep(const double* b, double v);
  void clear();
  arma::uword n_draws() const { return variances_.size(); }

  /// Adds the log densities of the units first, ..., first + n - 1 at the draws to `out`, n x draws.
  void add(arma::uword first, arma::uword n, double* out);

 private:
  const arma::Mat<double>& X_;
  arma::Col<double> y_;
  arma::Col<arma::uword> left_out_;
  std::vector<double> coefficients_;           ///< k x draws
  std::vector<double> variances_, constants_;  ///< v; log density of y = Xb
  std::vector<double> residuals_;              ///< work: n x draws
  std::vector<double> kept_;                   ///< work: of units left out
};

}  // namespace tovik::sem::scan
