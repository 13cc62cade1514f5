// Named random effects.

#include "data/named_effect.hpp"
#include "input/catalogue_adder.hpp"
#include "input/name_checks.hpp"
#include "model/random_effect.hpp"
#include "support/error.hpp"
#include "support/source.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

using variable_ptr = VariableList::variable_ptr;

/// What can be the outcome of an equation with random effects, or a predictor with a random slope.
bool can_vary(const data::variable& v) {
  return v.type != data::type::id && v.type != data::type::weight && v.type != data::type::constant &&
         v.type != data::type::random_effect && v.type != data::type::phantom;
}

variable_ptr find_variable(const std::string& name, const VariableList& vars) {
  const variable_ptr v = vars.find(name);
  if (v && can_vary(*v)) return v;
  throw error("ERROR: Unable to find variable '" + name + "' in VARIABLE command.");
}

}  // namespace

void catalogue_adder::random_effects() {
  for (const std::string& statement : input_.randomEffects) {
    source::enter(statement);
    add_random_effect(statement);
    source::leave();
  }
}

void catalogue_adder::add_random_effect(const std::string& statement) {
  vars_.index();
  const data::random_effect effect = model::parse_random_effect(statement, vars_);
  const variable_ptr cluster = vars_.find(effect.cluster);
  if (!cluster || cluster->type != data::type::id) {
    throw error("ERROR: Could not find identifier '" + effect.cluster +
                "'\n       Problem command: " + effect.fullline);
  }
  const variable_ptr outcome = find_variable(effect.outcome, vars_);
  const variable_ptr term = iequals(effect.term, "Intercept") ? nullptr : find_variable(effect.term, vars_);
  if (term && term->dummies.size() > 1) {
    throw error(
        "ERROR: The named random effect '" + effect.name +
        "' refers to\n       more than one column (i.e., nominal variable).\n       Problem command: " +
        effect.fullline);
  }
  name_checks::check_intercept(effect.name);
  name_checks::check_ending(effect.name);
  name_checks::check_reserved(effect.name);
  name_checks::check_referable(effect.name);
  if (vars_.find(effect.name)) {
    throw error("ERROR: Variable name '" + effect.name + "' is used more than once.");
  }
  vars_.variables.push_back(std::make_shared<data::random>(effect, outcome, cluster, term));
}

}  // namespace tovik
