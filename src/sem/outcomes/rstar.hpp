#pragma once

#include "sem/outcomes/ordinal.hpp"

namespace tovik::sem {

/// Probit regression of a missing data indicator (1: the variable is missing in the unit, 0: observed): an
/// ordinal outcome of two categories that is never missing itself. Its propensity is the tendency to be
/// missing, so that equations in which the variable predicts its own indicator are selection models (Heckman,
/// 1979, Econometrica 47, 153-161; Diggle & Kenward, 1994, Applied Statistics 43, 49-93).
class Rstar : public Ordinal {
 public:
  /// Prior variance of the coefficients.
  static inline double& priBeta = categorical_priors::rstar;

  /// `is_missing`: per unit 0 or 1; `n_reported`: 1 where the threshold has a row. Throws error_debug for a
  /// setup with missing units.
  Rstar(const Estimator* estimator, const equation_setup& setup, const arma::Col<arma::uword>& is_missing,
        arma::uword n_reported = 0);
};

}  // namespace tovik::sem
