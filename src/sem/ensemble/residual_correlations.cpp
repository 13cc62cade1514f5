#include "sem/ensemble/residual_correlations.hpp"

#include <cmath>
#include <cstdint>

#include "data/levels.hpp"
#include "model/model_list.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

/// The rows of `values` at the given places; all when every row is a unit.
void copy_units(const arma::Mat<double>& values, arma::uword column, const arma::Col<arma::uword>& rows,
                double* out) {
  const double* from = values.colptr(column);
  for (arma::uword i = 0; i < rows.n_elem; ++i) out[i] = from[rows[i]];
}

/// Centres a column and divides it by the root of its sum of squares; NaN when it does not vary.
void standardize(double* x, arma::uword n) {
  bool varies = false;
  double sum = 0.0;
  for (arma::uword i = 0; i < n; ++i) {
    varies = varies || x[i] != x[0];
    sum += x[i];
  }
  const double mean = sum / static_cast<double>(n);
  double squares = 0.0;
  for (arma::uword i = 0; i < n; ++i) {
    x[i] -= mean;
    squares += x[i] * x[i];
  }
  const double scale = varies ? 1.0 / std::sqrt(squares) : arma::datum::nan;
  for (arma::uword i = 0; i < n; ++i) x[i] *= scale;
}

}  // namespace

residual_correlations::residual_correlations(const ModelList& list, const outcomes& models,
                                             const working_data& working)
    : models_(&models), working_(&working), levels_(working.n_levels()) {
  for (unsigned level = 0; level < working.n_levels(); ++level) add_level(list, level);
}

void residual_correlations::add_level(const ModelList& list, unsigned level) {
  level_pairs& here = levels_[level];
  const auto catalogue_level = static_cast<std::int32_t>(working_->n_levels() - 1 - level);
  std::vector<std::size_t> owner;
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (!model::has_normal_residual(list[i].kind(), list[i].link) || list[i].levels < catalogue_level)
      continue;
    if (list[i].levels == catalogue_level) {
      here.sources.push_back({i, 0, 1, true});
    } else {
      const estimator::Outcome& outcome = *(*models_)[i];
      const unsigned L = level - outcome.level - 1;
      arma::uword first = outcome.n_scores();
      for (unsigned below = 0; below < L; ++below) first += outcome.n_random(below);
      if (outcome.n_random(L) == 0) continue;
      here.sources.push_back({i, first, outcome.n_random(L), false});
    }
    owner.insert(owner.end(), here.sources.back().n_columns, i);
  }
  for (std::size_t j = 0; j < owner.size(); ++j) {
    for (std::size_t i = j + 1; i < owner.size(); ++i) {
      if (owner[i] != owner[j]) here.pairs.push_back({j, i});
    }
  }
  if (here.pairs.size() != list.rcorr_names(catalogue_level).size())
    throw error_debug("Incorrect names to residual correlations.");
  n_pairs_ += here.pairs.size();
}

void residual_correlations::gather(const arma::Mat<double>& data, unsigned level,
                                   arma::Mat<double>& out) const {
  const arma::Col<arma::uword>& rows = working_->first_rows(level);
  arma::uword n_columns = 0;
  for (const source& s : levels_[level].sources) n_columns += s.n_columns;
  out.set_size(rows.n_elem, n_columns);
  arma::uword at = 0;
  for (const source& s : levels_[level].sources) {
    const estimator::Outcome& outcome = *(*models_)[s.model];
    const arma::Mat<double> values = s.is_residual ? outcome.residual(data) : outcome.latent(data);
    for (arma::uword k = 0; k < s.n_columns; ++k, ++at) {
      copy_units(values, s.first + k, rows, out.colptr(at));
      standardize(out.colptr(at), rows.n_elem);
    }
  }
}

arma::Col<double> residual_correlations::values(const arma::Mat<double>& data) const {
  arma::Col<double> out(n_pairs_);
  arma::uword at = 0;
  arma::Mat<double> columns;
  for (unsigned level = 0; level < levels_.size(); ++level) {
    if (levels_[level].pairs.empty()) continue;
    gather(data, level, columns);
    for (const pair& p : levels_[level].pairs)
      out[at++] = arma::dot(columns.col(p.left), columns.col(p.right));
  }
  return out;
}

}  // namespace tovik::sem
