#pragma once

#include <armadillo>
#include <vector>

#include "random/random.hpp"
#include "sem/scan/negative_binomial.hpp"

namespace tovik::sem::scan {

/// The terms v of the linear predictors eta = A v + rest of some counts, all proposed at once from the normal
/// approximation to their density given the counts, weights of an augmentation integrated out:
///
///   v' ~ N(v + H^-1 g, H^-1),   g the gradient of the log density at v, H minus its second derivatives,
///
/// accepted by Metropolis-Hastings with g and H at v' for the way back (Gamerman, 1997, Statistics and
/// Computing 7, 57-68). The density is log-concave.
///
/// Beside a draw given weights: these tell of a count above the size r as if it were known up to 1 / y, while
/// its mean is known up to 1 / r only, so that draws given weights move by a small part of the posterior.
class newton_move {
 public:
  /// What moves: q terms, their covariates, their prior N(mean, inv(precision)).
  struct terms {
    std::vector<const double*> columns;  ///< covariates of each term, at all counts
    std::vector<double> precision;       ///< q x q, symmetric
    std::vector<double> mean, value;     ///< q each
  };

  /// Moves `what.value`, and eta of the `n` counts from the one with the number `first`, which hold the
  /// terms. Consumes q normals and a uniform, nothing where there is no normal approximation. True if they
  /// were moved.
  bool move(const negative_binomial& law, const arma::Col<double>& y, arma::uword first, arma::uword n,
            terms& what, arma::Col<double>& eta, Random& rng);

 private:
  /// The log density at some values of the terms, and its normal approximation.
  struct expansion {
    std::vector<double> T, h;  ///< H = T T'; inv(T) g
    double value = 0.0, log_det = 0.0;
    /// False where there is none. `eta`: of the n counts.
    bool at(const negative_binomial& law, const double* y, const double* eta, arma::uword first,
            arma::uword n, const terms& what, const double* v);
  };

  expansion here_, there_;
  std::vector<double> z_, step_, values_, eta_;
};

}  // namespace tovik::sem::scan
