#pragma once

#include <armadillo>

#include "random/random.hpp"

namespace tovik::sem::scan {

/// What the prior of a q x q covariance matrix adds to the degrees of freedom: q + 1, -(q + 1), 0 for priors
/// 1, 2, 3. Throws error_debug for any other.
int prior_degrees(int prior, int q);

/// The covariance matrix of the random effects of one level, given the effects: inverse Wishart with scale
/// u'u (+ I for prior 1) and degrees of freedom n + q + 1, n - q - 1, n for priors 1, 2, 3; the precision is
/// drawn by the Wishart. One effect: an inverse gamma draw.
class covariance_step {
 public:
  /// `u`: clusters x q. Writes Sigma and iSigma (q x q) in place. Throws numeric_error when there are
  /// too few clusters for the degrees of freedom or u'u is singular.
  void draw(int prior, const arma::Mat<double>& u, Random& rng, arma::Mat<double>& iSigma,
            arma::Mat<double>& Sigma, const arma::Col<double>* units = nullptr);

 private:
  arma::Mat<double> S_, S_inverse_;
  arma::Col<double> work_;
  WishartScratch wishart_;
};

}  // namespace tovik::sem::scan
