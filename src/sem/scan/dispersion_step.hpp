#pragma once

#include <armadillo>
#include <vector>

#include "random/random.hpp"
#include "sem/scan/negative_binomial.hpp"
#include "sem/wiring/tune.hpp"

namespace tovik::sem::scan {

/// The size r of negative binomial counts given their linear predictors: a random walk of log r under
///
///   r ~ Gamma(shape 0.01, rate 0.01) between 1e-4 and 1e4.
///
/// As r grows the likelihood tends to that of Poisson counts and not to 0, so that a prior that is flat in r
/// or in log r would leave no posterior distribution.
class dispersion_step {
 public:
  static constexpr double shape = 0.01, rate = 0.01;
  static constexpr double least = 1e-4, most = 1e4;

  /// log density of log r under the prior, up to a constant.
  static double log_prior(double r) { return shape * std::log(r) - rate * r; }

  /// `y`, `eta`: of each count. Consumes a normal and a uniform. True if r was moved. Throws
  /// negative_binomial_failure() when the likelihood does not exist where r stands.
  bool move(const arma::Col<double>& y, const arma::Col<double>& eta, Random& rng, estimator::tune_obj& tune,
            negative_binomial& law);

 private:
  double log_likelihood(const negative_binomial& law, const arma::Col<double>& y,
                        const arma::Col<double>& eta) const;

  std::vector<double> sorted_;
};

}  // namespace tovik::sem::scan
