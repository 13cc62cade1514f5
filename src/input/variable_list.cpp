#include "data/variable_list.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "data/category.hpp"
#include "data/dummy.hpp"
#include "data/levels.hpp"
#include "input/input_file.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"
#include "support/output.hpp"
#include "support/text.hpp"

namespace tovik {

namespace {

using variable_ptr = VariableList::variable_ptr;

bool listed(const std::vector<nominal_name>& list, const std::string& name) {
  return std::any_of(list.begin(), list.end(), [&](const nominal_name& n) { return iequals(n.name, name); });
}

std::vector<unsigned> identifier_columns(const std::vector<std::string>& ids,
                                         const std::vector<std::string>& names) {
  std::vector<unsigned> columns;
  for (const std::string& id : ids) {
    const auto at =
        std::find_if(names.begin(), names.end(), [&](const std::string& n) { return iequals(n, id); });
    if (at == names.end()) throw error("ERROR: Identifier variable: \"" + id + "\" not in the data.");
    columns.push_back(static_cast<unsigned>(at - names.begin()));
  }
  return columns;
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

/// The level of a latent variable: that of the identifier it was listed under, else the lowest.
unsigned latent_level(const std::string& key, const VariableList& vars, const char* command) {
  if (key.empty()) return static_cast<unsigned>(vars.clusters.size());
  const variable_ptr id = vars.find(key);
  if (!id || id->type != data::type::id) {
    throw error("ERROR: Unable to find clustering variable '" + key + "'\n       requested in " + command +
                " command. Make sure the variable\n       is listed on the CLUSTERID command.");
  }
  return id->level;
}

/// A category as users write it: whole values as integers.
std::string number_text(double value) {
  return data::dummy::label("", value).substr(1);
}

void print_references(const std::string& lines) {
  if (lines.empty()) return;
  std::fprintf(Output::fp, "%s%s%s",
               "  NOTE: The following nominal variables have automatically\n"
               "        been assigned a reference group.\n",
               lines.c_str(),
               "\n\n        To change reference group use the following command:\n"
               "          NOMINAL: variable_name(reference_value);\n");
  std::fflush(Output::fp);
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
  appendConstant(data, vars);
  appendDummies(data, vars);
  appendLatents(data, vars);
  if (!randomEffects.empty()) not_available::refuse("The RANDOMEFFECT command");
  return vars;
}

data::type InputFile::typeOf(const std::string& name) const {
  if (in(clusterIds, name)) return data::type::id;
  const bool ordinal = in(ordinals, name);
  const bool nominal = listed(nominals, name);
  if (ordinal && nominal) throw error("ERROR: Variable '" + name + "' is listed as ORDINAL and NOMINAL.");
  if (ordinal) return data::type::ordinal;
  if (in(counts, name)) return data::type::count;
  if (in(weights, name)) return data::type::weight;
  return nominal ? data::type::nominal : data::type::continuous;
}

void InputFile::appendVariables(const arma::Mat<double>& data, const std::vector<unsigned>& levels,
                                VariableList& vars) const {
  for (unsigned k = 0; k < variableNames.size(); ++k) {
    const std::string& name = variableNames[k];
    auto v = std::make_shared<data::variable>(name, typeOf(name), k, levels[k]);
    const bool missing = missing_flags[k] != 0;
    if (in(fixed, name)) {
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
    if (v->type == data::type::weight && missing) {
      throw error("ERROR: Sampling weights must be completely observed.\n       Problem variable: " + name);
    }
    if (v->type == data::type::ordinal) v->values = dummyvalues(data.col(k), missing);
    vars.variables.push_back(v);
  }
}

void InputFile::appendConstant(arma::Mat<double>& data, VariableList& vars) {
  const auto column = static_cast<unsigned>(data.n_cols);
  data.insert_cols(column, arma::Col<double>(data.n_rows, arma::fill::ones));
  vars.variables.push_back(std::make_shared<data::variable>("1", data::type::constant, column, 0u));
  ++added_columns;
}

void InputFile::appendDummies(arma::Mat<double>& data, VariableList& vars) {
  std::string note;
  for (const variable_ptr& v : vars.subset(data::type::nominal)) {
    const bool missing = missing_flags[v->column] != 0;
    const arma::Col<double> column = data.col(v->column);
    v->values = dummyvalues(column, missing);
    if (v->values.empty()) throw error_debug("No nominal values!");
    const auto asked = std::find_if(nominals.begin(), nominals.end(),
                                    [&](const nominal_name& n) { return iequals(n.name, v->name); });
    if (asked == nominals.end() || std::isnan(asked->reference)) {
      note += "\n          '" + v->name + "' with reference value '" + number_text(v->values.front()) + "'";
    } else {
      if (!has_value(v->values, asked->reference)) {
        throw error("ERROR: Could not find specified reference group '" + number_text(asked->reference) +
                    "'\n       for nominal variable " + v->name);
      }
      v->values = dummyvalues(column, missing, asked->reference);
    }
    const arma::Mat<double> codes = dummycode(column, v->values, missing);
    for (std::size_t k = 1; k < v->values.size(); ++k) {
      const auto at = static_cast<unsigned>(data.n_cols + k - 1);
      auto code = std::make_shared<data::dummy>(v, v->values[k], at);
      if (vars.find(code->name)) {
        throw error("ERROR: Cannot create dummy variable '" + code->name +
                    "'\n       The name is already in use.");
      }
      v->setDummy(code);
      vars.variables.push_back(code);
    }
    if (codes.n_cols > 0) data.insert_cols(data.n_cols, codes);
    added_columns += static_cast<std::uint32_t>(codes.n_cols);
  }
  print_references(note);
}

void InputFile::appendLatents(arma::Mat<double>& data, VariableList& vars) {
  const auto append = [&](const keyed_list<std::vector<std::string>>& lists, data::type kind,
                          const char* command) {
    for (const auto& [key, names] : lists) {
      const unsigned level = latent_level(key, vars, command);
      for (const std::string& name : names) {
        const auto column = static_cast<unsigned>(data.n_cols);
        data.insert_cols(column, arma::Col<double>(data.n_rows).fill(arma::datum::nan));
        vars.variables.push_back(std::make_shared<data::variable>(name, kind, column, level));
        ++added_columns;
      }
    }
  };
  append(latents, data::type::latent, "FACTOR");
  append(phantoms, data::type::phantom, "PHANTOM");
}

}  // namespace tovik
