// Where a latent variable enters a model: among its coefficients, or as a phantom at one of its random
// effects.

#include <algorithm>

#include "model/correlation.hpp"
#include "model/model.hpp"
#include "support/error.hpp"

namespace tovik {
namespace {

using model::anyVariable;
using factor_ptr = std::shared_ptr<data::variable>;

std::string correlation_text(const anyVariable& phantom) {
  return phantom.ends ? phantom.ends->first.name + " <-> " + phantom.ends->second.name
                      : Model::correlationParse(phantom.variable->fullName);
}

/// The random term of this model that the phantom correlates: the constant, where nothing else is said.
bool is_effect(const anyVariable& term, const anyVariable& phantom, const Model& model) {
  if (!phantom.ends) return term.is_intercept();
  for (const model::correlation_side* side : {&phantom.ends->first, &phantom.ends->second}) {
    const bool ours =
        !model.outcomes.empty() && side->effect && side->outcome.variable == model.outcomes.front().variable;
    if (ours) return side->effect == term.variable;
  }
  return false;
}

const anyVariable* find_phantom(const Model& model, const factor_ptr& factor) {
  const auto found = std::find_if(model.phantoms.begin(), model.phantoms.end(),
                                  [&](const anyVariable& term) { return term.variable == factor; });
  return found == model.phantoms.end() ? nullptr : &*found;
}

}  // namespace

unsigned Model::lambdaInd(const std::shared_ptr<data::variable>& factor) const {
  if (is_multi()) throw error("ERROR: Does not support multivairate models.");
  if (const anyVariable* phantom = find_phantom(*this, factor)) {
    if (static_cast<std::int64_t>(factor->level) >= levels) return 0;
    if (std::none_of(clusters.begin(), clusters.end(),
                     [&](const factor_ptr& id) { return id->level == factor->level; }))
      throw error_debug("Couldn't find correct identifier.");
    unsigned position = 0;
    for (const anyVariable& term : random) {
      const std::size_t n = design(term, factor->level).size();
      if (n > 0 && is_effect(term, *phantom, *this)) return position;
      position += static_cast<unsigned>(n);
    }
    throw error(
        "ERROR: Cannot specify correlation. The random effect does not exist\n         correlation:  " +
        correlation_text(*phantom));
  }
  unsigned position = 0;
  for (const anyVariable& term : fixed) {
    if (term.variable == factor) return position;
    position += static_cast<unsigned>(design(term).size());
  }
  for (const auto& term : fixed_compute) {
    if (term.has(*factor)) return position;
    position += static_cast<unsigned>(term.names().size());
  }
  throw error_debug("The model of '" + name() + "' does not hold '" + factor->fullName + "'.");
}

}  // namespace tovik
