#pragma once

#include "model/distribution_type.hpp"

namespace tovik::sem {

/// What a list of likelihood contributions belongs to.
enum class likelihood_type : int {
  imputed = 0,        ///< the values of an imputed variable
  random_effect = 1,  ///< the random effects of an equation, as a variable of other equations
  latent = 2,         ///< the latent scores of an outcome, as a variable of other equations
};

/// Which latent values a model publishes as columns of the working matrix.
enum class indicator_type : int {
  latent_residual = 0,  ///< the latent score of an outcome
  random_effect = 1,
};

/// The quantity of a model that a constraint drives or reads.
enum class parameter_type : int {
  coefficient = 0,
  random_covariance = 1,
  residual_variance = 2,
  phantom_correlation = 4,
  residual_variance_read = 5,  ///< read only
  coef_var = 6,                ///< read only, as are the next three
  total_var = 7,
  slope_total = 8,
  icept_total = 9,
  lambda = 10,  ///< of a Yeo-Johnson transformation
  value = 11,   ///< the value of a free parameter
};

}  // namespace tovik::sem
