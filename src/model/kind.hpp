#pragma once

#include "data/variable.hpp"
#include "model/link.hpp"

namespace tovik::model {

/// What an equation is by its outcome. The numbers are those of data::type; they are printed in dumps and
/// fix nothing else.
enum class kind : int {
  normal = 0,
  ordinal = 1,
  count = 3,
  nominal = 4,
  missing = 6,  ///< a missing data indicator
  latent = 7,
  phantom = 8,        ///< a correlation carried by a phantom variable
  block = 9,          ///< outcomes with a common covariance matrix
  parameter = 10,     ///< "name ~ distribution(a, b)" of PARAMETERS
  computation = 11,   ///< "name = expression" of PARAMETERS
  log_variance = 12,  ///< a variance model
};

/// The kind of an equation whose only outcome is a variable of this type. Throws tovik::error_debug for a
/// type that no outcome has: the constant, identifiers, weights, dummy codes and named random effects.
kind kind_of(data::type outcome);

/// An equation, against the statements of PARAMETERS.
bool is_equation(kind what);

/// Names variables that no other equation names: blocks repeat what their members say, and statements of
/// PARAMETERS hold no variables.
bool speaks_of_variables(kind what);

/// Has a right side of predictors, as phantoms, blocks and statements of PARAMETERS have not.
bool has_predictors(kind what);

/// Has an outcome that is data, or that data tell: predictors, and no factor on the left.
bool is_manifest(kind what);

/// Has a likelihood of its own: an equation that is no variance model, which speaks through its owner's.
bool has_likelihood(kind what);

/// Has a residual that the user can correlate with another.
bool can_be_correlated(kind what);

/// Has a residual that is normal on the scale of the outcome or of the variable that underlies it: such
/// residuals have correlations, stand together in a block, and can have a variance model.
bool has_normal_residual(kind what, link how);

/// Shows the parts of its variance by name ("y.totalvar"). Counts and nominal outcomes have no residual
/// variance in their scale, and a missing data indicator speaks of no variable's variance.
bool shows_variances(kind what, link how);

}  // namespace tovik::model
