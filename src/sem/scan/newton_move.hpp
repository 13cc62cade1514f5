#pragma once

#include <armadillo>
#include <vector>

#include "random/random.hpp"
#include "sem/scan/negative_binomial.hpp"

namespace tovik::sem::scan {

/// The terms v of the linear predictors eta = A v + rest of some counts, of one equation or several, all
/// proposed at once from the normal approximation to their density given the counts, weights of an
/// augmentation integrated out:
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
  /// What moves: q terms, their prior N(mean, inv(precision)), restricted to the bounds.
  struct terms {
    std::vector<double> precision;     ///< q x q, symmetric
    std::vector<double> mean, value;   ///< q each
    std::vector<double> lower, upper;  ///< the same; empty: no bounds
  };
  /// The counts of an equation, or of a cluster of it, that hold the terms.
  struct part {
    const negative_binomial* law = nullptr;
    const double* y = nullptr;
    double* eta = nullptr;
    arma::uword n = 0;
    std::vector<const double*> columns;  ///< covariates of each term at the counts; null: it is not there
  };

  /// Moves `what.value` and eta of all parts. Consumes q normals and a uniform, nothing where there is no
  /// normal approximation. A proposal beyond a bound, where the density is 0, is rejected. True if they were
  /// moved.
  bool move(const std::vector<part>& parts, terms& what, Random& rng);

 private:
  /// The log density at some values of the terms, and its normal approximation.
  struct expansion {
    std::vector<double> T, h;  ///< H = T T'; inv(T) g
    double value = 0.0, log_det = 0.0;
    /// False where there is none. `eta`: of the counts of all parts, one part behind the other.
    bool at(const std::vector<part>& parts, const double* eta, const terms& what, const double* v);

   private:
    void add(const part& counts, const double* eta, std::size_t q);

    std::vector<std::size_t> held_;  ///< terms that a part holds
  };

  bool is_within_bounds(const terms& what) const;

  expansion here_, there_;
  std::vector<double> z_, step_, values_, eta_;
};

}  // namespace tovik::sem::scan
