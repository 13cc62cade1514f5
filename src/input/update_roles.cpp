// Which variables the equations use, and as what.

#include <unordered_set>

#include "data/dummy.hpp"
#include "input/name_index.hpp"
#include "input/preparation.hpp"

namespace tovik::preparation {

namespace {

using variable_set = std::unordered_set<const data::variable*>;

/// A count has no auxiliary predictor model.
bool can_be_auxiliary(const data::variable& v) {
  return is_data_column(v) && v.type != data::type::count;
}

void add_terms(const ModelList& models, model::type type, variable_set& to) {
  for (const model::anyVariable& term : models.variables(type, true)) {
    to.insert(data_variable(term.variable).get());
  }
}

}  // namespace

variable_ptr data_variable(const variable_ptr& v) {
  const auto* code = dynamic_cast<const data::dummy*>(v.get());
  return code ? code->parent() : v;
}

bool is_data_column(const data::variable& v) {
  return v.type == data::type::continuous || v.type == data::type::ordinal || v.type == data::type::count ||
         v.type == data::type::nominal;
}

std::string name_lines(const std::vector<variable_ptr>& list) {
  std::string out;
  for (const variable_ptr& v : list) out += "           " + v->name + "\n";
  return out;
}

void set_roles(const run& r) {
  for (const variable_ptr& v : r.models.variables()) {
    if (v->type != data::type::constant) v->covariate();
  }
  const name_index fcs(r.input.fcs);
  for (const variable_ptr& v : r.vars.variables) {
    if (can_be_auxiliary(*v) && (r.input.covariatemodel || fcs.has(v->fullName))) v->covariate();
  }
}

std::vector<variable_ptr> counted_columns(const run& r) {
  variable_set indicators;
  add_terms(r.models, model::type::missing, indicators);
  variable_set values;
  if (!indicators.empty()) {
    for (const auto type :
         {model::type::variable, model::type::mean, model::type::latent, model::type::variance}) {
      add_terms(r.models, type, values);
    }
  }
  const name_index fcs(r.input.fcs);
  std::vector<variable_ptr> out;
  for (const variable_ptr& v : r.vars.modelvars()) {
    const bool auxiliary = can_be_auxiliary(*v) && (r.input.covariatemodel || fcs.has(v->fullName));
    const bool only_indicator = indicators.count(v.get()) > 0 && values.count(v.get()) == 0;
    if (auxiliary || !only_indicator) out.push_back(v);
  }
  return out;
}

}  // namespace tovik::preparation
