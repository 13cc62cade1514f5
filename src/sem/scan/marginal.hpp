#pragma once

#include <armadillo>
#include <vector>

#include "sem/wiring/cluster.hpp"

namespace tovik::sem::scan {

/// Log density of the residuals `r` = y - Xb of each cluster of the highest level, with the random effects of
/// all levels integrated out: one value per cluster.
///
/// Per cluster of the nearest level, with H = inv(Sigma) + Z'Z/v, the inverse of Z Sigma Z' + v I is
/// (I - Z inv(H) Z'/v)/v and its determinant v^n |Sigma| |H| (Woodbury; the matrix determinant lemma), so
/// that nothing of the size of a cluster is factored. A second level applies the same identities to the sums
/// over its clusters.
///
/// `z`: per level, units x q (q may be 0); `Sigma`: per level, q x q. One or two levels. Throws
/// numeric_error "chol(): decomposition failed" when a Sigma is not positive definite.
arma::Col<double> marginal_log_likelihood(const arma::Col<double>& r, const std::vector<arma::Mat<double>>& z,
                                          const std::vector<arma::Mat<double>>& Sigma, double v,
                                          const estimator::cluster& structure);

}  // namespace tovik::sem::scan
