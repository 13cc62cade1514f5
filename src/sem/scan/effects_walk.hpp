#pragma once

#include <armadillo>

#include "random/random.hpp"

namespace tovik::sem::scan {

/// Random-walk proposals for the random effects of one level that take their shape from the conditional
/// covariance: for each cluster u_c + s z chol(V_c), inv(V_c) = w A_c + iSigma. Symmetric as long as A does
/// not depend on u.
class effects_walk {
 public:
  /// `A`: clusters x q(q + 1)/2, upper triangles of Z_c'Z_c packed by columns, or null for 0; `scale`: s. `u`
  /// (clusters x q) is replaced by the proposals. Consumes q normals per cluster, cluster by cluster. Throws
  /// numeric_error "chol(): decomposition failed" when a precision is not positive definite.
  void propose(const arma::Mat<double>* A, double w, const arma::Mat<double>& iSigma, double scale,
               Random& rng, arma::Mat<double>& u);

 private:
  arma::Col<double> P_, z_;
};

}  // namespace tovik::sem::scan
