// Named random effects meet the equations that estimate them.

#include <algorithm>

#include "data/named_effect.hpp"
#include "input/preparation.hpp"
#include "support/error.hpp"

namespace tovik::preparation {

namespace {

/// The equation of a variable in its own meaning.
const Model* find_model(const ModelList& models, const variable_ptr& v) {
  for (const Model& m : models) {
    if (m.link == model::link::log_variance) continue;
    for (const model::anyVariable& y : m.outcomes) {
      if (y.variable == v && y.type == model::type::variable) return &m;
    }
  }
  return nullptr;
}

/// True if the model has this random effect among those of the cluster's level.
bool estimates(const Model& m, const data::random& effect) {
  return std::any_of(m.random.begin(), m.random.end(), [&](const model::anyVariable& term) {
    if (!m.isRE(term, effect.cluster()->level)) return false;
    if (!effect.term()) return term.is_intercept();
    return term.type == model::type::variable && !term.is_intercept() &&
           (term.variable == effect.term() || term.variable == data_variable(effect.term()));
  });
}

}  // namespace

void connect_random_effects(const run& r) {
  for (const variable_ptr& v : r.vars.subset(data::type::random_effect)) {
    auto* effect = dynamic_cast<data::random*>(v.get());
    if (!effect) throw error_debug("Not a random effect!");
    const Model* m = find_model(r.models, effect->applies_to());
    if (!m) {
      throw error("ERROR: Unable to find outcome model for variable '" + effect->applies_to()->name +
                  "'.\n       This is required in order to estimate a random effect for it.");
    }
    if (!estimates(*m, *effect)) {
      throw error("ERROR: The named random effect '" + effect->name +
                  "' was not\n       estimated in any model. \n");
    }
    effect->outcome(effect->applies_to());
  }
}

}  // namespace tovik::preparation
