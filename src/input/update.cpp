#include <algorithm>
#include <cmath>

#include "data/category.hpp"
#include "data/levels.hpp"
#include "input/input_file.hpp"
#include "input/observed_bits.hpp"
#include "model/model_list.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

using variable_ptr = VariableList::variable_ptr;

bool imputed_kind(const data::variable& v) {
  return v.type == data::type::continuous || v.type == data::type::ordinal || v.type == data::type::nominal;
}

/// Predictors inside computed terms and definitions.
void set_computed_roles(const ModelList& models) {
  const auto set = [](const std::vector<model::anyVariable>& terms) {
    for (const model::anyVariable& term : terms) {
      if (!term.is_intercept()) term.variable->covariate();
    }
  };
  for (const Model& m : models) {
    for (const auto& term : m.fixed_compute) set(term.variables);
    for (const auto& term : m.random_compute) set(term.variables);
  }
  for (const auto& definition : models.definitions) set(definition.second.variables);
}

/// An indicator of missing data is observed in every row.
bool has_missing_outcome(const ModelList& models) {
  return std::any_of(models.begin(), models.end(), [](const Model& m) {
    return std::any_of(m.outcomes.begin(), m.outcomes.end(),
                       [](const model::anyVariable& y) { return y.type == model::type::missing; });
  });
}

}  // namespace

void InputFile::update(arma::Mat<double>& data, VariableList& vars, const ModelList& models) {
  set_computed_roles(models);
  setAuxiliaryRoles(vars);
  dropped_rows.clear();
  std::vector<arma::uword> kept(data.n_rows);
  for (arma::uword i = 0; i < kept.size(); ++i) kept[i] = i;
  if (listwise) dropIncomplete(data, vars, kept);
  if (drop_all_missing && !has_missing_outcome(models)) dropUnobserved(data, vars, kept);
  dropEmptyClusters(data, vars, kept);
  missing_flags = determineMissing(data.cols(0, variableNames.size() - 1));
  checkObserved(data, vars);
  if (undefinedcovariance) checkCovariances(data, vars);
  setCategories(data, vars);
  setFixed(vars);
}

void InputFile::setAuxiliaryRoles(VariableList& vars) const {
  for (const variable_ptr& v : vars.variables) {
    if (!imputed_kind(*v)) continue;
    if (covariatemodel || in(fcs, v->fullName)) v->covariate();
  }
}

void InputFile::dropRows(arma::Mat<double>& data, const std::vector<char>& drop,
                         std::vector<arma::uword>& kept) {
  std::vector<arma::uword> rows;
  std::vector<arma::uword> still;
  for (arma::uword i = 0; i < drop.size(); ++i) {
    if (drop[i]) {
      rows.push_back(i);
      dropped_rows.push_back(kept[i]);
    } else {
      still.push_back(kept[i]);
    }
  }
  if (rows.empty()) return;
  if (still.empty()) throw error("ERROR: No observations are left after dropping missing data.");
  data.shed_rows(arma::uvec(rows));
  std::sort(dropped_rows.begin(), dropped_rows.end());
  kept = std::move(still);
}

void InputFile::dropIncomplete(arma::Mat<double>& data, const VariableList& vars,
                               std::vector<arma::uword>& kept) {
  std::vector<char> drop(data.n_rows, 0);
  for (const variable_ptr& v : vars.modelvars()) {
    const double* cell = data.colptr(v->column);
    for (arma::uword i = 0; i < data.n_rows; ++i) drop[i] |= std::isnan(cell[i]);
  }
  dropRows(data, drop, kept);
  warning::buffer.push("WARNING: Performing listwise deletion (listwise on OPTIONS).\n         " +
                       std::to_string(std::count(drop.begin(), drop.end(), 1)) +
                       " observations have been dropped from data set.");
}

void InputFile::dropUnobserved(arma::Mat<double>& data, const VariableList& vars,
                               std::vector<arma::uword>& kept) {
  const std::vector<variable_ptr> list = vars.modelvars();
  if (list.empty()) return;
  std::vector<char> drop(data.n_rows, 1);
  for (const variable_ptr& v : list) {
    const double* cell = data.colptr(v->column);
    for (arma::uword i = 0; i < data.n_rows; ++i) drop[i] &= std::isnan(cell[i]);
  }
  const auto count = std::count(drop.begin(), drop.end(), 1);
  if (count == 0) return;
  dropRows(data, drop, kept);
  warning::buffer.push("WARNING: " + std::to_string(count) +
                       " observations have all variables in the imputation\n"
                       "         model missing. They have been dropped from data set.");
}

void InputFile::dropEmptyClusters(arma::Mat<double>& data, const VariableList& vars,
                                  std::vector<arma::uword>& kept) {
  for (const variable_ptr& v : vars.modelvars()) {
    if (v->type != data::type::count || v->level == 0) continue;
    // clusters runs from the finest identifier to the coarsest; the one directly above has one level less.
    const auto id = std::find_if(vars.clusters.begin(), vars.clusters.end(),
                                 [&](const variable_ptr& c) { return c->level + 1 == v->level; });
    if (id == vars.clusters.end()) continue;
    std::vector<double> observed;
    for (arma::uword i = 0; i < data.n_rows; ++i) {
      if (!std::isnan(data(i, v->column))) observed.push_back(data(i, (*id)->column));
    }
    std::sort(observed.begin(), observed.end());
    std::vector<char> drop(data.n_rows, 0);
    for (arma::uword i = 0; i < data.n_rows; ++i) {
      drop[i] = !std::binary_search(observed.begin(), observed.end(), data(i, (*id)->column));
    }
    if (std::count(drop.begin(), drop.end(), 1) == 0) continue;
    dropRows(data, drop, kept);
    warning::buffer.push("WARNING: Count Variable '" + v->name +
                         "' has clusters with all observations\n"
                         "         missing. They have been dropped from data set.");
  }
}

void InputFile::checkObserved(const arma::Mat<double>& data, const VariableList& vars) const {
  for (const variable_ptr& v : vars.modelvars()) {
    if (missing_flags[v->column] && observed_bits(data.col(v->column)).none()) {
      throw error("ERROR: Variable '" + v->name + "' has no observed values.");
    }
  }
}

void InputFile::checkCovariances(const arma::Mat<double>& data, const VariableList& vars) const {
  const std::vector<variable_ptr> list = vars.modelvars();
  std::vector<observed_bits> bits;
  for (const variable_ptr& v : list) {
    // A complete variable meets every other one; its bits are never looked at.
    bits.push_back(missing_flags[v->column] ? observed_bits(data.col(v->column)) : observed_bits());
  }
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (!missing_flags[list[i]->column]) continue;
    for (std::size_t j = i + 1; j < list.size(); ++j) {
      if (list[i]->level != list[j]->level || !missing_flags[list[j]->column]) continue;
      if (bits[i].meets(bits[j])) continue;
      throw error("ERROR: The covariance between '" + list[i]->name + "' and '" + list[j]->name +
                  "' is undefined\n"
                  "       due to the missing data patterns.\n"
                  "       Remove one of the variables and rerun.");
    }
  }
}

void InputFile::setCategories(const arma::Mat<double>& data, VariableList& vars) const {
  for (const variable_ptr& v : vars.variables) {
    if (v->type != data::type::ordinal && v->type != data::type::nominal) continue;
    const std::vector<double> values = dummyvalues(data.col(v->column), missing_flags[v->column] != 0);
    if (values.size() < 2) {
      throw error("ERROR: Variable " + v->name +
                  " has only one observed category.\n"
                  "       Ordinal and nominal variables need\n"
                  "       a minimum of two observed categories.\n");
    }
    if (v->type == data::type::ordinal) {
      v->values = values;
      continue;
    }
    // The dummy codes of a nominal variable stand already; each must keep an observation.
    for (double value : v->values) {
      if (has_value(values, value) || v->usage() == data::usage::unset) continue;
      throw error("ERROR: Nominal variable '" + v->name + "' has no observations left in category " +
                  data::dummy::label("", value).substr(1) + "\n       after dropping missing data.");
    }
  }
}

void InputFile::setFixed(VariableList& vars) const {
  if (fixed_specified) return;
  for (const variable_ptr& v : vars.variables) {
    const bool data_column = imputed_kind(*v) || v->type == data::type::count;
    if (!data_column || missing_flags[v->column] || v->usage() == data::usage::outcome) continue;
    const bool named = in(centerGrand, v->fullName) || in(centerGroup, v->fullName) || in(fcs, v->fullName);
    if (!named) v->fixed(true);
  }
}

}  // namespace tovik
