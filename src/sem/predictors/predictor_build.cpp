// Who is among the predictor models of a chain, and who predicts whom.

#include <algorithm>
#include <cmath>
#include <utility>

#include "data/levels.hpp"
#include "data/variable_list.hpp"
#include "sem/predictors/predictor_set.hpp"
#include "sem/predictors/predictor_starts.hpp"
#include "sem/predictors/unit_chain.hpp"
#include "sem/predictors/varies.hpp"
#include "sem/wiring/weights.hpp"
#include "sem/wiring/working_data.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

using variable_ptr = VariableList::variable_ptr;

/// A variable of the predictor models: what it is, and where in them it stands.
struct member {
  variable_ptr variable;
  unsigned level = 0;
  bool modelled = false;
  bool means_only = false;
  std::vector<bool> deviates;
  std::unique_ptr<unit_chain> chain;
  arma::Col<arma::uword> columns;         ///< of values; of a nominal variable its dummy codes
  std::vector<manifest_scores> manifest;  ///< per column, of a variable that is not categorical and modelled
  std::vector<std::vector<bool>> predicts;  ///< per place of the chain and column
};

bool is_categorical(const data::variable& v) {
  return v.type == data::type::ordinal || v.type == data::type::nominal;
}

std::vector<const data::variable*> value_variables(const data::variable& v) {
  std::vector<const data::variable*> out;
  for (const auto& code : v.dummies) out.push_back(code.get());
  if (out.empty()) out.push_back(&v);
  return out;
}

arma::Col<arma::uword> as_columns(const std::vector<unsigned>& columns) {
  arma::Col<arma::uword> out(columns.size());
  std::copy(columns.begin(), columns.end(), out.begin());
  return out;
}

/// Puts columns that were centred in the data back into their raw metric for as long as it lives.
class raw_metric {
 public:
  raw_metric(working_data& working, const data::variable& v) : working_(working) {
    for (const data::variable* code : value_variables(v)) {
      if (code->uncentered.empty()) continue;
      kept_.emplace_back(code->column, working.data.col(code->column));
      for (arma::uword i = 0; i < working.data.n_rows; ++i)
        working.data(i, code->column) = code->uncentered[working.file_rows()[i]];
    }
  }
  raw_metric(const raw_metric&) = delete;
  raw_metric& operator=(const raw_metric&) = delete;
  ~raw_metric() {
    for (const auto& [column, values] : kept_) working_.data.col(column) = values;
  }

 private:
  working_data& working_;
  std::vector<std::pair<arma::uword, arma::Col<double>>> kept_;
};

member make_member(const variable_ptr& v, working_data& working, double icc_cutoff) {
  member out;
  out.variable = v;
  out.level = sampler_level(working.n_levels() - 1, v->level);
  out.means_only = v->usage() == data::usage::outcome;
  out.modelled = out.means_only || !v->fixed();
  const auto values = value_variables(*v);
  out.columns.set_size(values.size());
  for (std::size_t k = 0; k < values.size(); ++k) out.columns[k] = values[k]->column;
  const raw_metric raw(working, *v);
  out.deviates = varies(working, working.data, *v, out.level, icc_cutoff);
  out.chain = std::make_unique<unit_chain>(working, out.level, out.deviates);
  const bool all_predict = out.modelled && is_categorical(*v);  // by latent scores, which always vary
  for (arma::uword column : out.columns) {
    if (all_predict) break;
    const arma::Col<double> cells = working.data.col(column);
    out.manifest.emplace_back(*out.chain, arma::Col<double>(cells.elem(working.first_rows(out.level))));
  }
  for (unsigned q = 0; q <= out.chain->n_above(); ++q) {
    out.predicts.emplace_back(out.columns.n_elem, true);
    for (std::size_t k = 0; k < out.manifest.size(); ++k)
      out.predicts[q][k] = !out.manifest[k].is_constant(q);
  }
  return out;
}

[[noreturn]] void no_group_mean(const std::string& name) {
  throw error("ERROR: Cannot group mean center the variable \"" + name +
              "\".\n       The variable has no higher-level variability.\n");
}

/// The means that centring and equations ask for have to be among those that are estimated.
void check_means(const member& m) {
  const data::variable& v = *m.variable;
  const unsigned above = m.chain->n_above();
  const bool is_read = !m.means_only || !v.centered_columns.empty();
  if (is_read && v.centered() == data::center::cluster && above == 0) no_group_mean(v.name);
  if (!v.means.empty() && above == 0)
    throw error("ERROR: Variable '" + v.name + "' cannot estimate a cluster mean.");
  if (!v.means.empty() && v.centeredMeans() == data::center::cluster && above < 2)
    no_group_mean(v.name + ".mean");
}

std::vector<member> members(const VariableList& variables, working_data& working, double icc_cutoff) {
  std::vector<variable_ptr> list;
  bool any_model = false;
  for (const variable_ptr& v : variables.covarAndOutMeans()) {
    const bool outcome = v->usage() == data::usage::outcome;
    list.push_back(v);
    any_model = any_model || outcome || !v->fixed();
  }
  if (!any_model) return {};  // all predictors are conditioned on, and predict nothing
  estimator::refuse_predictor_models(variables);
  std::vector<member> out;
  for (const variable_ptr& v : list) {
    out.push_back(make_member(v, working, icc_cutoff));
    if (out.back().modelled) check_means(out.back());
  }
  return out;
}

/// The columns that predict at a level of the data, rising by member; without those of `but`.
std::vector<arma::uword> predictors_at(const std::vector<member>& all, unsigned level, const member* but) {
  std::vector<arma::uword> out;
  for (const member& m : all) {
    if (&m == but || m.means_only || level < m.level || !m.deviates[level - m.level]) continue;
    const std::vector<bool>& predicts = m.predicts[m.chain->place(level - m.level)];
    for (arma::uword k = 0; k < m.columns.n_elem; ++k) {
      if (predicts[k]) out.push_back(m.columns[k]);
    }
  }
  return out;
}

/// What takes part in regressions of a level, as a predictor or as an outcome.
arma::Col<arma::uword> used_at(const std::vector<member>& all, unsigned level) {
  std::vector<arma::uword> out = predictors_at(all, level, nullptr);
  for (const member& m : all) {
    if (!m.modelled || level < m.level || !m.deviates[level - m.level]) continue;
    out.insert(out.end(), m.columns.begin(), m.columns.end());
  }
  std::sort(out.begin(), out.end());
  out.erase(std::unique(out.begin(), out.end()), out.end());
  return arma::Col<arma::uword>(out);
}

void add_excluded(const member& m, unsigned n_levels, std::vector<excluded_level>& out) {
  if (m.means_only) return;
  const auto names = value_variables(*m.variable);
  for (unsigned level = m.level; level < n_levels; ++level) {
    if (!m.deviates[level - m.level]) {
      out.push_back({m.variable->name, level + 1});
      continue;
    }
    const std::vector<bool>& predicts = m.predicts[m.chain->place(level - m.level)];
    for (std::size_t k = 0; k < names.size(); ++k) {
      if (!predicts[k]) out.push_back({names[k]->name, level + 1});
    }
  }
}

std::vector<std::string> names_of_columns(const VariableList& variables, arma::uword n) {
  std::vector<std::string> out(n);
  for (const variable_ptr& v : variables.variables) {
    if (v->column < n) out[v->column] = v->name;
  }
  return out;
}

/// Of the values that are known; 1 where they do not vary.
double observed_variance(const arma::Col<double>& values) {
  const arma::Col<double> known = values.elem(arma::find_finite(values));
  const double variance = known.n_elem > 1 ? arma::var(known) : 0.0;
  return variance > 0.0 ? variance : 1.0;
}

std::unique_ptr<Variable> make_model(const member& m, const std::vector<member>& all, working_data& working,
                                     const std::shared_ptr<Random>& rng,
                                     const predictor_set::options& settings,
                                     const predictor_set::maker& make) {
  predictor_setup setup;
  setup.rng = rng;
  setup.working = &working;
  setup.variable = m.variable.get();
  setup.level = m.level;
  setup.deviates = m.deviates;
  setup.means_only = m.means_only;
  setup.xprior = settings.xprior;
  if (settings.scaled && m.variable->dummies.empty() && m.variable->type != data::type::ordinal)
    setup.unit = observed_variance(unit_values(working, working.data, m.variable->column, m.level));
  setup.centred_columns = as_columns(m.variable->centered_columns);
  std::vector<arma::Col<arma::uword>> W(m.chain->n_above() + 1);
  if (!m.means_only) {
    for (unsigned q = 0; q < W.size(); ++q)
      W[q] = arma::Col<arma::uword>(predictors_at(all, m.chain->level(q), &m));
    return make(setup, W, working.data);
  }
  // The cells of an outcome are filled by its own equation; its means start from values of their own.
  arma::Mat<double> filled = working.data;
  return make(setup, W, filled);
}

}  // namespace

predictor_set::predictor_set(const VariableList& variables, working_data& working,
                             const std::shared_ptr<Random>& rng, const options& settings, const maker& make) {
  const std::vector<member> all = members(variables, working, settings.icc_cutoff);
  if (all.empty()) return;
  column_names_ = names_of_columns(variables, working.data.n_cols);
  for (unsigned level = 0; level < working.n_levels(); ++level)
    level_data_.emplace_back(working.n_units(level), working.data.n_cols, used_at(all, level));
  const bool any_predicted =
      std::any_of(all.begin(), all.end(), [](const member& m) { return m.modelled && !m.means_only; });
  for (const member& m : all) {
    if (any_predicted) add_excluded(m, working.n_levels(), excluded_);
    if (m.modelled) {
      variables_.push_back(make_model(m, all, working, rng, settings, make));
      continue;
    }
    for (std::size_t k = 0; k < m.manifest.size(); ++k)
      for (unsigned q = 0; q <= m.chain->n_above(); ++q)
        level_data_[m.chain->level(q)].write({m.columns[k]}, m.manifest[k].deviation(q));
  }
  for (const auto& v : variables_) {
    for (unsigned d = 0; d < v->deviates.size(); ++d) {
      if (v->isDeviation(d)) write_scores(*v, d);
    }
    v->publish(working.data);
  }
}

}  // namespace tovik::sem
