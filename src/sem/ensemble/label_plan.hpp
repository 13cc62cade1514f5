#pragma once

#include <string>
#include <vector>

#include "model/constraint_info.hpp"

namespace tovik {
class ModelList;
}

namespace tovik::sem {

/// How a label gets its value.
enum class label_role : int {
  handle,       ///< its model draws it; who reads it looks there
  drawn,        ///< drawn singly, over all its places
  derived,      ///< computed from other parameters
  correlation,  ///< of a phantom or a block: drawn there
};

/// One parameter that has a name.
struct planned_label {
  std::string name;  ///< as first written
  std::string key;   ///< lower case: its name in the table of parameters
  label_role role = label_role::handle;
  unsigned appearances = 0;                    ///< see ModelList::appearances
  std::vector<model::constraint_info> places;  ///< in the equations, in model order
  int prior = -1;                              ///< index of the model "name ~ distribution", or -1
  int computation = -1;                        ///< index of the model "name = expression", or -1
  /// Of a drawn label: indices of the computed parameters to be computed again when it moves, in the order of
  /// their statements: those that stand in equations and depend on it, and those between.
  std::vector<unsigned> followers;
};

/// A correlation that does not just move with its covariance matrix: it has a prior, stands in other places,
/// or moves what does.
bool is_driven_correlation(const planned_label& label);

/// The labels of the equations in natural order, then the parameters that have a prior and stand in no
/// equation, in the order of their statements.
///
/// A label that stands in one place, has no prior, is not read inside a term, and moves no other parameter is
/// an ordinary parameter of its model. All others are drawn singly, because several terms of the likelihood
/// or of the prior depend on them.
///
/// Throws tovik::error for a computed parameter that labels what cannot follow others (a random effect
/// variance, a correlation, the variance of an outcome in a block) or that reads what its own label moves,
/// and for any label of a residual variance that a block draws.
std::vector<planned_label> plan_labels(const ModelList& list);

}  // namespace tovik::sem
