#pragma once

#include "sem/outcomes/multi.hpp"
#include "sem/scan/covariance.hpp"

namespace tovik::sem {

/// A block whose covariance matrix is free: Sigma given the residuals is an inverse Wishart (see
/// scan::covariance_step).
class MultiUnstruct : public Multi {
 public:
  /// Throws error_debug for a setup in which something is known.
  MultiUnstruct(const Estimator* estimator, const block_setup& setup);

  arma::uword n_estimated() const override { return n_params(); }

 protected:
  void draw_matrix(const arma::Mat<double>& data) override;

 private:
  scan::covariance_step step_;
};

}  // namespace tovik::sem
