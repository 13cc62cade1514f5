#include "sem/scan/coefficient_prior.hpp"

#include <utility>

#include "support/error.hpp"

namespace tovik::sem::scan {

coefficient_prior coefficient_prior::ridge(double variance) {
  if (!(variance > 0.0)) throw error_debug("The prior variance of a coefficient must be positive.");
  coefficient_prior out;
  out.common_ = 1.0 / variance;
  out.flat_ = out.common_ == 0.0;
  return out;
}

coefficient_prior coefficient_prior::of_each(arma::Col<double> precision, arma::Col<double> mean) {
  if (precision.n_elem != mean.n_elem || !precision.is_finite() || !mean.is_finite() ||
      arma::any(precision < 0.0))
    throw error_debug("The prior of the coefficients is not one of normal distributions.");
  coefficient_prior out;
  out.flat_ = !arma::any(precision > 0.0);
  out.centred_ = !arma::any(mean != 0.0);
  out.each_ = std::move(precision);
  out.mean_ = std::move(mean);
  return out;
}

}  // namespace tovik::sem::scan
