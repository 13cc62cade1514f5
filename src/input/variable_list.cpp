#include "data/variable_list.hpp"

#include <algorithm>
#include <cmath>

#include "data/category.hpp"
#include "data/levels.hpp"
#include "input/catalogue_adder.hpp"
#include "input/input_file.hpp"
#include "input/name_index.hpp"
#include "support/error.hpp"
#include "support/warning.hpp"

namespace tovik {

namespace {

using variable_ptr = VariableList::variable_ptr;

/// What the commands say of the columns, for quick look-up.
struct roles {
  name_index ids, ordinals, counts, weights, nominals, fixed;

  explicit roles(const InputFile& in)
      : ids(in.clusterIds), ordinals(in.ordinals), counts(in.counts), weights(in.weights), fixed(in.fixed) {
    for (const nominal_name& n : in.nominals) nominals.add(n.name, 0);
  }

  data::type of(const std::string& name) const {
    if (ids.has(name)) return data::type::id;
    const bool ordinal = ordinals.has(name);
    const bool nominal = nominals.has(name);
    if (ordinal && nominal) throw error("ERROR: Variable '" + name + "' is listed as ORDINAL and NOMINAL.");
    if (ordinal) return data::type::ordinal;
    if (counts.has(name)) return data::type::count;
    if (weights.has(name)) return data::type::weight;
    return nominal ? data::type::nominal : data::type::continuous;
  }
};

std::vector<unsigned> identifier_columns(const std::vector<std::string>& ids,
                                         const std::vector<std::string>& names) {
  const name_index columns(names);
  std::vector<unsigned> out;
  for (const std::string& id : ids) {
    const std::size_t column = columns.find(id);
    if (column == name_index::none) {
      throw error("ERROR: Identifier variable: \"" + id + "\" not in the data.");
    }
    out.push_back(static_cast<unsigned>(column));
  }
  return out;
}

void validate_levels(const std::vector<unsigned>& levels, const std::vector<std::string>& names) {
  std::string found;
  for (std::size_t k = 0; k < levels.size(); ++k) {
    if (levels[k] == inconsistent_level) found += "           " + names[k] + "\n";
  }
  if (found.empty()) return;
  throw error(
      "ERROR: Tovik has detected the following level-2 or level-3\n"
      "       variables that are not constant within a cluster.\n"
      "       Some rows have missing values, and others do not.\n" +
      found);
}

/// They have a likelihood as whole numbers have; what is imputed for a missing one is whole.
void warn_of_fractions(const std::string& name, const arma::Col<double>& counts) {
  const bool any = std::any_of(counts.begin(), counts.end(),
                               [](double x) { return std::isfinite(x) && x != std::floor(x); });
  if (!any) return;
  warning::buffer.push("WARNING: The COUNT variable '" + name +
                       "' has values that are not whole numbers.\n"
                       "         What is imputed are whole numbers.");
}

/// At most one sampling weight at each level.
void validate_weights(const std::vector<variable_ptr>& weights) {
  for (std::size_t j = 0; j < weights.size(); ++j) {
    for (std::size_t i = 0; i < j; ++i) {
      if (weights[i]->level != weights[j]->level) continue;
      throw error(
          "ERROR: Multiple sampling weights are give for the same level.\n"
          "       Only one weight per level is supported.\n"
          "       Problem variables: '" +
          weights[i]->name + "' and '" + weights[j]->name + "'");
    }
  }
}

/// Appends the columns that the catalogue adds to the data: ones for the constant, indicators for the dummy
/// codes, nothing yet (NaN) for latent variables and phantoms. The matrix grows once.
void fill_added_columns(arma::Mat<double>& data, const VariableList& vars, const std::vector<char>& missing) {
  const arma::uword before = data.n_cols;
  arma::uword count = 0;
  for (const variable_ptr& v : vars.variables) {
    if (v->column != data::variable::no_column && v->column >= before) ++count;
  }
  data.resize(data.n_rows, before + count);
  for (const variable_ptr& v : vars.variables) {
    if (v->type == data::type::constant) data.col(v->column).ones();
    if (data::isLatent(v->type)) data.col(v->column).fill(arma::datum::nan);
    if (v->dummies.empty()) continue;
    const arma::Col<double> column(data.colptr(v->column), data.n_rows, false, true);
    data.cols(v->dummies.front()->column, v->dummies.back()->column) =
        dummycode(column, v->values, missing[v->column] != 0);
  }
}

}  // namespace

VariableList InputFile::variableList(arma::Mat<double>& data) {
  const std::vector<unsigned> ids = identifier_columns(clusterIds, variableNames);
  check_nesting(data, ids, variableNames);
  const std::vector<unsigned> levels = determineNLevels(data, ids);
  validate_levels(levels, variableNames);
  missing_flags = determineMissing(data);
  VariableList vars;
  appendVariables(data, levels, vars);
  vars.order_clusters();
  validate_weights(vars.weights());
  catalogue_adder add(*this, vars, static_cast<unsigned>(data.n_cols));
  add.constant();
  add.dummies(data);
  add.latents();
  added_columns = add.columns();
  fill_added_columns(data, vars, missing_flags);
  add.random_effects();
  vars.index();
  return vars;
}

void InputFile::appendVariables(const arma::Mat<double>& data, const std::vector<unsigned>& levels,
                                VariableList& vars) const {
  const roles given(*this);
  for (unsigned k = 0; k < variableNames.size(); ++k) {
    const std::string& name = variableNames[k];
    auto v = std::make_shared<data::variable>(name, given.of(name), k, levels[k]);
    const bool missing = missing_flags[k] != 0;
    if (given.fixed.has(name)) {
      if (missing && !listwise) {
        throw error("ERROR: Variable '" + name +
                    "' cannot be fixed because it has missing values.\n"
                    "       If you would like listwise deletion add 'listwise' to OPTIONS command.");
      }
      v->fixed(true);
    }
    if (v->type == data::type::count && arma::any(data.col(k) < 0)) {
      throw error("ERROR: The COUNT variable '" + name + "' has negative values.");
    }
    if (v->type == data::type::count) warn_of_fractions(name, data.col(k));
    if (v->type == data::type::weight && missing) {
      throw error("ERROR: Sampling weights must be completely observed.\n       Problem variable: " + name);
    }
    if (v->type == data::type::ordinal) v->values = dummyvalues(data.col(k), missing);
    vars.variables.push_back(v);
  }
}

}  // namespace tovik
