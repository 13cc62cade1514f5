#pragma once

#include <armadillo>
#include <vector>

namespace tovik::sem::scan {

/// The reverse factors of the precisions of all clusters, w A_c + K = T_c T_c' (see small_cholesky.hpp),
/// element by element, so that loops run along clusters.
class cluster_factor {
 public:
  /// `A`: clusters x q(q + 1)/2, upper triangles packed by columns. Throws numeric_error
  /// "chol(): decomposition failed" when a precision is not positive definite.
  void factor(const arma::Mat<double>& A, double w, const arma::Mat<double>& K);
  /// R := inv(T) R for every column: one matrix per effect, clusters x columns.
  void solve(std::vector<arma::Mat<double>>& R) const;

 private:
  arma::Mat<double> T_;  ///< as A
};

}  // namespace tovik::sem::scan
