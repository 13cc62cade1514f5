#pragma once

#include "model/kind.hpp"

namespace tovik::model {

/// What the rows of a model are about.
enum class row_frame {
  equation,           ///< random effects, residual variance, coefficients
  covariance_matrix,  ///< of the members of a block
  correlation,        ///< one number
  value,              ///< of a parameter or a computed parameter
};

/// What stands where an equation has its residual variance.
enum class residual_rows {
  none,
  one,         ///< the residual variance
  unit,        ///< the residual variance, which is 1 because nothing else gives the latent scale a unit
  dispersion,  ///< of a negative binomial count
  spread,      ///< variances by cluster or by row, told by their spread, quartiles and mean
};

/// What the standardized rows are.
enum class standardized_rows {
  none,
  coefficients,   ///< slopes in standard deviations; an intercept has none
  odds_ratios,    ///< exponentials of all coefficients, as are the next
  exponentiated,  ///< rate ratios of a count
  correlations,   ///< standard deviations and correlations of several outcomes
};

/// Which rows a model has. The order of the sections is always the same (model/row.hpp).
struct row_layout {
  row_frame frame = row_frame::equation;
  residual_rows residual = residual_rows::none;
  standardized_rows standardized = standardized_rows::none;
  bool random_effects = true;
  bool thresholds = false;
  bool lambda = false;    ///< of a Yeo-Johnson transformation
  bool shares = false;    ///< of explained variance
  bool per_code = false;  ///< all rows once for each dummy code
};

/// The rows of an equation with one outcome, and of what stands beside equations.
row_layout rows_of(kind what, link how);

/// The rows of an equation with several outcomes: the parameters once for each, then their correlations.
row_layout rows_of_several(link how);

}  // namespace tovik::model
