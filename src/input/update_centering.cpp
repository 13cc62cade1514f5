// The CENTER command: what it names, and the centring of fixed variables.
//
// A variable that is fixed has no model and thus no latent mean, so it is centred once, at observed means. A
// grand mean is the mean over the units of the variable's own level, a cluster mean that over the units
// within the cluster directly above.

#include <algorithm>
#include <cmath>
#include <unordered_map>

#include "input/preparation.hpp"
#include "support/error.hpp"
#include "support/text.hpp"
#include "support/warning.hpp"

namespace tovik::preparation {

namespace {

const std::string mean_suffix = ".mean";

/// A name of the CENTER command: a variable, or its latent mean.
struct centered_name {
  variable_ptr variable;
  bool mean = false;
};

centered_name find_name(const std::string& name, const VariableList& vars) {
  centered_name out;
  out.mean = iends_with(name, mean_suffix);
  out.variable = vars.find(out.mean ? name.substr(0, name.size() - mean_suffix.size()) : name);
  const auto is = [&](data::type type) { return out.variable && out.variable->type == type; };
  if (is(data::type::dummy)) {
    throw error("ERROR: To center dummy code '" + name + "' make reference to full variable.");
  }
  if (is(data::type::weight)) throw error("ERROR: Cannot center sampling weights. See '" + name + "'");
  if (!out.variable || !is_data_column(*out.variable)) {
    throw error("ERROR: Variable '" + name + "' in CENTERING command is not a variable in the data.");
  }
  return out;
}

[[noreturn]] void no_group_mean(const std::string& name) {
  throw error("ERROR: Cannot group mean center the variable \"" + name +
              "\".\n       The variable has no higher-level variability.\n");
}

void center_mean(data::variable& v, data::center kind) {
  if (v.level == 0) {
    throw error("ERROR: Variable \"" + v.name +
                "\" does not have a latent mean       because it is single level.");
  }
  // The means of level 1 are centred within the means of level 3, so there must be two levels above.
  if (kind == data::center::cluster && v.level < 2) no_group_mean(v.name + mean_suffix);
  v.setCenteredMeans(kind);
}

void center_variable(data::variable& v, data::center kind) {
  if (kind == data::center::grand) {
    v.setCentered(kind);
  } else if (v.level == 0) {
    no_group_mean(v.name);
  } else {
    v.setCentered(v.level - 1, kind);
  }
}

/// The identifier of this catalogue level, null for the level of the rows.
variable_ptr identifier_at(const VariableList& vars, unsigned level) {
  for (const variable_ptr& id : vars.clusters) {
    if (id->level == level) return id;
  }
  return nullptr;
}

/// Consecutive numbers for the values of an identifier column, in order of appearance.
class unit_numbers {
 public:
  /// The number of the unit, and whether it is seen for the first time.
  std::pair<std::size_t, bool> of(double id) {
    const auto [at, fresh] = numbers_.emplace(id, numbers_.size());
    return {at->second, fresh};
  }

 private:
  std::unordered_map<double, std::size_t> numbers_;
};

/// The mean for each row: over all units, or over those within the row's cluster. `unit` and `cluster` are
/// identifier columns; null for the rows themselves and for all rows together.
std::vector<double> unit_means(const double* cell, arma::uword n, const double* unit, const double* cluster) {
  unit_numbers units;
  unit_numbers clusters;
  std::vector<std::size_t> group(n, 0);
  std::vector<double> sum(1, 0.0);
  std::vector<double> count(1, 0.0);
  for (arma::uword i = 0; i < n; ++i) {
    if (cluster) group[i] = clusters.of(cluster[i]).first;
    if (group[i] >= sum.size()) {
      sum.push_back(0);
      count.push_back(0);
    }
    const bool counts = !unit || units.of(unit[i]).second;
    if (!counts || std::isnan(cell[i])) continue;
    sum[group[i]] += cell[i];
    count[group[i]] += 1;
  }
  std::vector<double> means(n);
  for (arma::uword i = 0; i < n; ++i) means[i] = sum[group[i]] / count[group[i]];
  return means;
}

void subtract_means(const run& r, const data::variable& owner, data::variable& column) {
  const variable_ptr unit = identifier_at(r.vars, owner.level);
  const variable_ptr cluster =
      owner.centered() == data::center::cluster ? identifier_at(r.vars, owner.level - 1) : nullptr;
  double* cell = r.data.colptr(column.column);
  const std::vector<double> means =
      unit_means(cell, r.data.n_rows, unit ? r.data.colptr(unit->column) : nullptr,
                 cluster ? r.data.colptr(cluster->column) : nullptr);
  column.uncentered.assign(cell, cell + r.data.n_rows);
  for (arma::uword i = 0; i < r.data.n_rows; ++i) cell[i] -= means[i];
}

}  // namespace

namespace {

/// Centring moves a predictor. A variable that predicts nothing, and whose means predict nothing, stays as it
/// is.
void warn_no_predictors(const run& r, const std::vector<variable_ptr>& named) {
  std::vector<variable_ptr> idle;
  for (const variable_ptr& v : named) {
    const auto predicts = [&](model::type type) {
      const auto terms = r.models.variables(type, false);
      return std::any_of(terms.begin(), terms.end(),
                         [&](const model::anyVariable& term) { return data_variable(term.variable) == v; });
    };
    const bool used =
        predicts(model::type::variable) || predicts(model::type::mean) || predicts(model::type::latent);
    if (!used && std::find(idle.begin(), idle.end(), v) == idle.end()) idle.push_back(v);
  }
  if (idle.empty()) return;
  warning::buffer.push(
      "WARNING: Centering has no effect on the following variables.\n"
      "         They do not predict any outcome.\n\n" +
      name_lines(idle));
}

}  // namespace

void set_centering(const run& r) {
  std::vector<variable_ptr> named;
  const auto set = [&](const std::vector<std::string>& names, data::center kind) {
    for (const std::string& name : names) {
      const centered_name found = find_name(name, r.vars);
      named.push_back(found.variable);
      if (found.mean) {
        center_mean(*found.variable, kind);
      } else {
        center_variable(*found.variable, kind);
      }
    }
  };
  set(r.input.centerGrand, data::center::grand);
  set(r.input.centerGroup, data::center::cluster);
  if (!r.input.models.empty()) warn_no_predictors(r, named);
}

void center_fixed(const run& r) {
  std::vector<variable_ptr> list;
  for (const variable_ptr& v : r.vars.variables) {
    if (!is_data_column(*v) || !v->fixed() || v->centered() == data::center::none) continue;
    list.push_back(v);
    for (const variable_ptr& code : v->dummies) subtract_means(r, *v, *code);
    if (v->dummies.empty()) subtract_means(r, *v, *v);
  }
  if (list.empty()) return;
  warning::buffer.push(
      "WARNING: The following variables are fixed and centered.\n"
      "         The variables will be centered with observed means.\n\n" +
      name_lines(list));
}

}  // namespace tovik::preparation
