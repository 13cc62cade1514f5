#pragma once

#include <armadillo>
#include <cstdint>
#include <limits>
#include <vector>

#include "random/random.hpp"

namespace tovik::sem::scan {

/// What the prior of the intercept b says when all cuts of a score and its mean move together.
struct free_location {
  double intercept = 0.0;  ///< b, in and out
  double precision = 0.0;  ///< of its normal prior; 0: flat
  double mean = 0.0;       ///< of its prior
};

/// Thresholds 0 = tau_0 < ... < tau_{K-1} proposed all at once from the normal approximation to their density
/// given the categories and the means of the scores, the scores integrated out:
///
///   t ~ N(tau + H^-1 g, H^-1),   g the gradient of the log likelihood at tau, H minus its matrix of second
///
/// derivatives, accepted by Metropolis-Hastings with g and H at t for the way back (Gamerman, 1997,
/// Statistics and Computing 7, 57-68). The likelihood is log-concave in the thresholds (Burridge, 1981, JRSS
/// B 43, 41-45), and a unit in category k holds tau_{k-1} and tau_k only: H is positive definite and has
/// three diagonals.
///
/// With a location the first threshold moves too, and then all are shifted back to tau_0 = 0 with the
/// intercept: cuts and intercept are drawn as one, given what else the means hold.
class threshold_newton {
 public:
  /// `members`, `mean`, `sd`: as in thresholds::move. Moves `tau`, and the intercept of `location` unless it
  /// is null; true if it did: the means then hold the old intercept still. `weights`: how often the log mass
  /// of each unit counts; null for once.
  bool move(arma::Col<double>& tau, const std::vector<arma::Col<arma::uword>>& members, const double* mean,
            const double* sd, Random& rng, free_location* location = nullptr,
            const double* weights = nullptr);

  std::uint64_t accepted = 0, total = 0;
  /// Of the units above the first category, where the last move has left the thresholds; NaN if it does not
  /// know.
  double log_likelihood = std::numeric_limits<double>::quiet_NaN();

 private:
  struct side_sums;
  /// The log density of cuts with the first two derivatives.
  struct expansion {
    arma::Col<double> cuts, g, diagonal, beside;  ///< H has `beside` under its diagonal
    arma::Col<double> root, under;                ///< of the factor of H
    double value = 0.0, log_likelihood = 0.0;

    /// Fills everything but `cuts`; false where the density or its normal approximation does not exist.
    bool at(const std::vector<arma::Col<arma::uword>>& members, const double* mean, const double* sd,
            const free_location* location, const double* weights);
    void add(const side_sums& of, arma::uword k);
    bool factor(arma::uword first);
    /// step := H^-1 g.
    void newton_step(arma::uword first, arma::Col<double>& step) const;
    /// log N(cuts + step + d; cuts + step, H^-1) up to a constant.
    double log_proposal(arma::uword first, const arma::Col<double>& d) const;
  };

  expansion here_, there_;
  arma::Col<double> step_, d_;
};

}  // namespace tovik::sem::scan
