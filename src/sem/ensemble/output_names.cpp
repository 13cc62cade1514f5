#include "sem/ensemble/output_names.hpp"

#include "data/dummy.hpp"
#include "model/model.hpp"
#include "model/row_layout.hpp"
#include "support/text.hpp"

namespace tovik::sem {

namespace {

/// Saved data carry the names of the data file; those of the report may be cut.
std::string full_name(const Model& model) {
  std::vector<std::string> names;
  for (const model::anyVariable& outcome : model.outcomes) names.push_back(outcome.fullname_noModifer());
  return tovik::join(names, " ");
}

/// The full name behind the shown name of an effect; effects of computed terms keep theirs.
std::string full_effect(const Model& model, const std::string& effect) {
  for (const model::anyVariable& term : model.random) {
    if (term.is_intercept()) continue;
    std::vector<const data::variable*> shown{term.variable.get()};
    for (const auto& code : term.variable->dummies) shown.push_back(code.get());
    for (const data::variable* v : shown) {
      if (effect.rfind(v->name, 0) != 0) continue;
      const std::string ending = effect.substr(v->name.size());
      if (ending.empty() || ending == ".mean" || ending == ".latent" || ending == ".missing") {
        return v->fullName + ending;
      }
    }
  }
  return effect;
}

/// What an equation speaks of: its outcome, or each dummy code of a nominal one.
std::vector<std::string> full_codes(const Model& model) {
  if (!model.layout().per_code) return {full_name(model)};
  std::vector<std::string> out;
  for (const auto& code : model.outcomes.front().variable->dummies) out.push_back(code->fullName);
  return out;
}

/// Of each category of a probit or nominal model.
std::vector<std::string> probability_names(const Model& model) {
  std::vector<std::string> out;
  if (!model.layout().thresholds && !model.layout().per_code) return out;
  const bool indicator = model.kind() == model::kind::missing;
  const std::vector<double> values =
      indicator ? std::vector<double>{0.0, 1.0} : model.outcomes.front().variable->values;
  for (double value : values) out.push_back(data::dummy::label(full_name(model), value) + ".probability");
  return out;
}

/// The random effects behind one name, levels from the nearest up.
void append_effects(const Model& model, const std::string& name, std::vector<std::string>& out) {
  for (int level = model.levels - 1; level >= 0; --level) {
    std::string id;
    for (const auto& cluster : model.clusters) {
      if (model.levels > 1 && cluster->level == static_cast<unsigned>(level)) id = "$" + cluster->fullName;
    }
    for (const std::string& effect : model.reName(level))
      out.push_back(name + "$" + full_effect(model, effect) + id);
  }
}

}  // namespace

std::vector<std::string> latent_names(const Model& model) {
  std::vector<std::string> out;
  if (model.layout().thresholds || model.kind() == model::kind::latent || model::has_lambda(model.link))
    out.push_back(full_name(model) + ".latent");
  for (const std::string& code : full_codes(model)) append_effects(model, code, out);
  return out;
}

std::vector<std::string> residual_names(const Model& model) {
  std::vector<std::string> out;
  for (const std::string& code : full_codes(model)) out.push_back(code + ".residual");
  return out;
}

std::vector<std::string> predicted_names(const Model& model) {
  if (model.kind() == model::kind::ordinal && model.link == model::link::logit)
    return {data::dummy::label(full_name(model), 1.0) + ".probability"};
  std::vector<std::string> out = probability_names(model);
  if (model.layout().per_code) return out;
  out.push_back(full_name(model) + ".predicted");
  return out;
}

}  // namespace tovik::sem
