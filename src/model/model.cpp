// What a model is by its outcomes, and what it holds.

#include "model/model.hpp"

#include <algorithm>

#include "support/error.hpp"
#include "support/text.hpp"

namespace tovik {
namespace {

using model::anyVariable;

model::kind kind_of(const anyVariable& outcome) {
  if (outcome.type == model::type::missing) return model::kind::missing;
  if (outcome.type == model::type::variance) return model::kind::log_variance;
  return model::kind_of(outcome.variable->type);
}

bool holds(const std::vector<model::combinationOfAnyVariable>& list, const anyVariable& term) {
  return std::any_of(list.begin(), list.end(),
                     [&](const model::combinationOfAnyVariable& computed) { return computed.has(term); });
}

}  // namespace

std::vector<std::string> Model::names() const {
  std::vector<std::string> out;
  for (const anyVariable& outcome : outcomes) out.push_back(outcome.name());
  return out;
}

std::string Model::name() const {
  return join(names(), " ");
}

std::vector<model::kind> Model::kinds() const {
  std::vector<model::kind> out;
  for (const anyVariable& outcome : outcomes) out.push_back(kind_of(outcome));
  return out;
}

model::kind Model::kind() const {
  const std::vector<model::kind> all = kinds();
  for (model::kind one : all) {
    if (one == model::kind::missing || one == model::kind::log_variance) return one;
  }
  const bool normal = std::find(all.begin(), all.end(), model::kind::normal) != all.end();
  return normal || all.empty() ? model::kind::normal : all.front();
}

bool Model::has(const anyVariable& term) const {
  for (const auto* list : {&outcomes, &fixed, &random, &phantoms}) {
    if (std::find(list->begin(), list->end(), term) != list->end()) return true;
  }
  return holds(fixed_compute, term) || holds(random_compute, term);
}

std::string Model::var_param_name() const {
  if (outcomes.size() != 1) throw error_debug("Doesn't work for other than 1 outcome.");
  return outcomes.front().fullname_noModifer();
}

}  // namespace tovik
