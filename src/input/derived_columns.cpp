// Columns that derive from variables: they stand behind all others, in the order of the catalogue.

#include <cmath>
#include <unordered_set>

#include "data/named_effect.hpp"
#include "input/preparation.hpp"

namespace tovik::preparation {

namespace {

/// Hands out column numbers, and enlarges the data once all are known.
class column_counter {
 public:
  explicit column_counter(arma::uword first) : next_(static_cast<unsigned>(first)) {}
  unsigned take() { return next_++; }

  /// New cells are NaN.
  void enlarge(arma::Mat<double>& data) const {
    const arma::uword before = data.n_cols;
    if (next_ == before) return;
    data.resize(data.n_rows, next_);
    data.cols(before, next_ - 1).fill(arma::datum::nan);
  }

 private:
  unsigned next_;
};

using variable_set = std::unordered_set<const data::variable*>;

variable_set in_use(const ModelList& models, model::type type) {
  variable_set out;
  for (const model::anyVariable& term : models.variables(type, true)) {
    out.insert(data_variable(term.variable).get());
  }
  return out;
}

/// A phantom that correlates two equations and has not become part of a block.
bool has_model(const ModelList& models, const variable_ptr& phantom) {
  for (const Model& m : models) {
    for (const model::anyVariable& y : m.outcomes) {
      if (y.variable == phantom) return true;
    }
  }
  return false;
}

/// One for each dummy code of a nominal variable, one for any other.
std::size_t width(const data::variable& v) {
  return v.type == data::type::nominal ? v.dummies.size() : 1;
}

void number_phantoms(const run& r, column_counter& columns) {
  for (const variable_ptr& v : r.vars.subset(data::type::phantom)) {
    if (v->column == data::variable::no_column && has_model(r.models, v)) v->column = columns.take();
  }
}

/// The codes of a nominal variable see their own part of its columns.
void share_with_codes(const data::variable& v) {
  const std::size_t n = v.dummies.size();
  for (std::size_t code = 0; code < n; ++code) {
    data::variable& dummy = *v.dummies[code];
    dummy.rstar = v.rstar;
    if (!v.centered_columns.empty()) dummy.centered_columns = {v.centered_columns[code]};
    for (std::size_t k = code; k < v.means.size(); k += n) dummy.means.push_back(v.means[k]);
  }
}

/// An outcome keeps its own column in the metric of its equation; where other equations read it, they read a
/// centred copy. A fixed one has been centred in place.
bool has_centered_copy(const data::variable& v, const variable_set& predictors) {
  return is_data_column(v) && v.usage() == data::usage::outcome && v.centered() != data::center::none &&
         !v.fixed() && predictors.count(&v) > 0;
}

/// Variables in the equations otherwise than as outcomes, and in definitions.
variable_set in_terms(const ModelList& models) {
  variable_set out;
  for (const model::anyVariable& term : models.variables(model::type::variable, false))
    out.insert(data_variable(term.variable).get());
  return out;
}

void number_terms(const run& r, column_counter& columns) {
  const variable_set predictors = in_terms(r.models);
  const variable_set missing = in_use(r.models, model::type::missing);
  const variable_set means = in_use(r.models, model::type::mean);
  const variable_set latent = in_use(r.models, model::type::latent);
  const variable_set effects = in_use(r.models, model::type::random);
  for (const variable_ptr& v : r.vars.variables) {
    if (missing.count(v.get())) v->setRstar(columns.take());
    if (means.count(v.get())) {
      for (std::size_t k = 0; k < v->level * width(*v); ++k) v->setMean(columns.take());
    }
    if (has_centered_copy(*v, predictors)) {
      for (std::size_t k = 0; k < width(*v); ++k) v->centered_columns.push_back(columns.take());
    }
    if (latent.count(v.get())) {
      for (std::size_t k = 0; k < width(*v); ++k) v->setLatent(columns.take());
    }
    share_with_codes(*v);
    if (const auto* effect = dynamic_cast<const data::random*>(v.get()); effect && effects.count(v.get())) {
      v->column = columns.take();
      effect->applies_to()->setRandef(v->column, v->name);
    }
  }
}

void fill_indicators(const run& r) {
  for (const variable_ptr& v : r.vars.variables) {
    if (v->rstar.empty() || v->type == data::type::dummy) continue;
    const double* cell = r.data.colptr(v->column);
    double* to = r.data.colptr(v->rstar.front());
    for (arma::uword i = 0; i < r.data.n_rows; ++i) to[i] = std::isnan(cell[i]) ? 1.0 : 0.0;
  }
}

}  // namespace

void append_derived_columns(const run& r) {
  column_counter columns(r.data.n_cols);
  number_phantoms(r, columns);
  number_terms(r, columns);
  r.input.definition_columns.clear();
  for (std::size_t k = 0; k < r.models.definitions.size(); ++k) {
    r.input.definition_columns.push_back(columns.take());
  }
  columns.enlarge(r.data);
  fill_indicators(r);
}

}  // namespace tovik::preparation
