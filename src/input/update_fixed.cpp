// Variables that are conditioned on: which become fixed by themselves, and which cannot stay so.

#include <unordered_set>

#include "input/name_index.hpp"
#include "input/preparation.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik::preparation {

namespace {

/// The name without an ending that asks for something derived from the variable.
std::string base_name(const std::string& name) {
  for (const std::string suffix : {".mean", ".latent"}) {
    if (iends_with(name, suffix)) return name.substr(0, name.size() - suffix.size());
  }
  return name;
}

/// Names of CENTER, FCS and SIMPLE: they want a model of their variable, or its latent means.
name_index named_variables(const InputFile& input) {
  name_index out;
  for (const auto* list : {&input.centerGrand, &input.centerGroup, &input.fcs}) {
    for (const std::string& name : *list) out.add(base_name(name), 0);
  }
  for (const std::string& text : input.simples) {
    for (const std::string& word : split(text, " ,|@=", true)) out.add(base_name(word), 0);
  }
  return out;
}

/// Variables with an equation of their own, for their values or for anything that derives from them.
std::unordered_set<const data::variable*> outcomes(const ModelList& models) {
  std::unordered_set<const data::variable*> out;
  for (const Model& m : models) {
    for (const model::anyVariable& y : m.outcomes) out.insert(data_variable(y.variable).get());
  }
  return out;
}

/// Clears the flag of the variables behind the terms that have it, and returns these variables.
std::vector<variable_ptr> release(const std::vector<model::anyVariable>& terms) {
  std::vector<variable_ptr> out;
  for (const model::anyVariable& term : terms) {
    const variable_ptr v = data_variable(term.variable);
    if (!v->fixed()) continue;
    v->fixed(false);
    out.push_back(v);
  }
  return out;
}

/// The equation of a variable in its own meaning or as a propensity.
const Model* find_equation(const ModelList& models, const variable_ptr& v) {
  for (const Model& m : models) {
    if (m.link == model::link::log_variance) continue;
    for (const model::anyVariable& y : m.outcomes) {
      if (y.variable == v && (y.type == model::type::variable || y.type == model::type::latent)) return &m;
    }
  }
  return nullptr;
}

}  // namespace

void fix_complete(const run& r) {
  // Without equations every variable is to be imputed from all others, level by level.
  if (r.input.fixed_specified || r.models.empty()) return;
  const name_index named = named_variables(r.input);
  std::unordered_set<const data::variable*> modelled = outcomes(r.models);
  for (const auto type : {model::type::mean, model::type::latent}) {
    for (const model::anyVariable& term : r.models.variables(type, true)) {
      modelled.insert(data_variable(term.variable).get());
    }
  }
  for (const variable_ptr& v : r.vars.variables) {
    if (!is_data_column(*v) || r.input.missing_flags[v->column] != 0) continue;
    if (modelled.count(v.get()) > 0 || named.has(v->fullName) || named.has(v->name)) continue;
    v->fixed(true);
  }
}

void release_for_means(const run& r) {
  const std::vector<variable_ptr> list = release(r.models.variables(model::type::mean, true));
  if (list.empty()) return;
  warning::buffer.push(
      "WARNING: Removing the following variables from FIXED \n"
      "         in order to estimate their latent means.\n" +
      name_lines(list));
}

/// Also beside a variance model.
bool is_probit(const Model& m) {
  return m.link == model::link::probit || (m.kind() == model::kind::ordinal && m.link == model::link::scale);
}

void check_propensities(const run& r) {
  const std::vector<model::anyVariable> terms = r.models.variables(model::type::latent, false);
  for (const model::anyVariable& term : terms) {
    const variable_ptr v = data_variable(term.variable);
    const Model* m = find_equation(r.models, v);
    if (!m) {
      throw error("ERROR: Cannot use the latent propensity for variable '" + v->name +
                  "'\n       because the variable does not have an outcome model specified.");
    }
    if (!is_probit(*m)) {
      throw error("ERROR: A probit link is required to use the latent propensity\n       for variable '" +
                  v->name + "'");
    }
  }
  const std::vector<variable_ptr> list = release(terms);
  if (list.empty()) return;
  warning::buffer.push(
      "WARNING: Removing the following variables from FIXED\n"
      "         in order to estimate their latent scores.\n\n" +
      name_lines(list));
}

}  // namespace tovik::preparation
