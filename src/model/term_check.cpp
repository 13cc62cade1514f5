#include "model/term_check.hpp"

#include <algorithm>

#include "data/dummy.hpp"
#include "support/error.hpp"

namespace tovik::model {

unsigned catalogue_level(const anyVariable& term) {
  return term.type == type::mean && term.level ? term.level->level : term.top_level();
}

unsigned catalogue_level(const combinationOfAnyVariable& term) {
  unsigned level = 0;
  for (const anyVariable& variable : term.all_variables()) level = std::max(level, catalogue_level(variable));
  return level;
}

void check_phantom_request(const anyVariable& term) {
  if (term.is_numbered && term.type != type::phantom)
    throw error("ERROR: Variable \"" + term.variable->fullName +
                "\" is not a phantom variable, but is being requested as one.");
}

void check_no_outcome(const anyVariable& term, const std::vector<anyVariable>& outcomes) {
  const auto* code = dynamic_cast<const data::dummy*>(term.variable.get());
  for (const anyVariable& outcome : outcomes) {
    const bool own = term.variable == outcome.variable || (code && code->parent() == outcome.variable);
    // An ordinal outcome is modelled through its propensity.
    const bool same =
        term.type == outcome.type || (term.type == type::latent && outcome.type == type::variable);
    if (own && same) throw error("ERROR: Cannot include outcome as a predictor.");
  }
}

void check_no_outcome(const combinationOfAnyVariable& term, const std::vector<anyVariable>& outcomes) {
  for (const anyVariable& variable : term.all_variables()) check_no_outcome(variable, outcomes);
}

}  // namespace tovik::model
