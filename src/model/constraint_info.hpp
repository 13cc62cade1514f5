#pragma once

#include <string>
#include <vector>

namespace tovik::model {

/// One use of a label.
struct constraint_info {
  /// In which list of the model the label stands.
  enum class place : int {
    fixed = 0,        ///< a plain coefficient; `position` counts design columns
    random = 1,       ///< the variance of a random effect: read, never constrained; `position` in the level
    correlation = 2,  ///< of a block; `position` is j + i p in the p x p matrix by columns
    variance = 3,     ///< the residual variance
    phantom = 4,      ///< the correlation of a phantom's own model
    computed = 5,     ///< a factor inside a computed fixed term; `position` counts computed design columns
    computed_random = 6,  ///< a factor inside a computed random term
    lambda = 7,           ///< the Yeo-Johnson parameter
    parameter = 8,        ///< a PARAMETERS model with a prior of this name
    computation = 9,      ///< a computed parameter of this name, or one that reads the label directly
  };
  unsigned model = 0;  ///< index into the ModelList
  unsigned position = 0;
  place kind = place::fixed;
  int level = -1;  ///< catalogue level of a random effect, -1 for none
};

/// What the list says about one label.
struct label_uses {
  std::vector<constraint_info> places;  ///< in model order
  unsigned appearances = 0;             ///< see ModelList::appearances
};

/// Throws tovik::error for a label whose places cannot share one value: two correlations of blocks, or the
/// variance of a random effect and anything else in an equation. Parameters of PARAMETERS may read and name
/// it.
void check_label(const std::vector<constraint_info>& places, const std::string& label);

}  // namespace tovik::model
