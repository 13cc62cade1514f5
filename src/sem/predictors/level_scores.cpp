#include "sem/predictors/level_scores.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "sem/scan/blas.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {
constexpr arma::uword nowhere = std::numeric_limits<arma::uword>::max();
}

level_scores::level_scores(arma::uword n_units, arma::uword n_columns, arma::Col<arma::uword> used)
    : data_(n_units, n_columns, arma::fill::zeros),
      used_(std::move(used)),
      place_(n_columns, nowhere),
      products_(used_.n_elem, used_.n_elem, arma::fill::zeros),
      stale_(used_.n_elem, 0) {
  for (arma::uword k = 0; k < used_.n_elem; ++k) {
    if (used_[k] >= n_columns) throw error_debug("A column of the scores of a level does not exist.");
    place_[used_[k]] = k;
  }
}

void unit_groups::sum(arma::uword n_units, const double* x, double* out) const {
  if (level == whole) {
    *out = scan::total(n_units, x);
    return;
  }
  std::fill_n(out, n, 0.0);
  if (n_units == 0) return;
  // Units of a group mostly stand together: their sum stays in a register.
  arma::uword group = of_unit[0];
  double sum = 0.0;
  for (arma::uword i = 0; i < n_units; ++i) {
    if (of_unit[i] != group) {
      out[group] += sum;
      sum = 0.0;
      group = of_unit[i];
    }
    sum += x[i];
  }
  out[group] += sum;
}

double* level_scores::rewrite(arma::uword column) {
  if (column >= data_.n_cols) throw error_debug("A column of the scores of a level does not exist.");
  arma::uword const at = place_[column];
  if (at != nowhere) {
    stale_[at] = 1;
    for (column_sums& kept : sums_) kept.stale[at] = 1;
  }
  return data_.colptr(column);
}

void level_scores::write(const arma::Col<arma::uword>& columns, const arma::Mat<double>& deviations) {
  if (deviations.n_rows != data_.n_rows || deviations.n_cols != columns.n_elem)
    throw error_debug("Deviations do not have the shape of their level.");
  for (arma::uword k = 0; k < columns.n_elem; ++k)
    std::copy(deviations.begin_col(k), deviations.end_col(k), rewrite(columns[k]));
}

arma::uword level_scores::place(arma::uword column) const {
  if (column >= place_.size() || place_[column] == nowhere)
    throw error_debug("A column without products was asked for.");
  return place_[column];
}

const double* level_scores::sums(const unit_groups& by, arma::uword column) const {
  arma::uword const at = place(column);
  auto kept = std::find_if(sums_.begin(), sums_.end(),
                           [&](const column_sums& known) { return known.level == by.level; });
  if (kept == sums_.end()) {
    sums_.push_back({by.level, arma::Mat<double>(by.n, used_.n_elem, arma::fill::zeros),
                     std::vector<unsigned char>(used_.n_elem, 1)});
    kept = sums_.end() - 1;
  }
  if (kept->by_group.n_rows != by.n) throw error_debug("The groups of a level are not what they were.");
  double* const out = kept->by_group.colptr(at);
  if (kept->stale[at]) by.sum(data_.n_rows, data_.colptr(column), out);
  kept->stale[at] = 0;
  return out;
}

/// The used columns side by side.
const double* level_scores::used_columns() {
  arma::uword const p = used_.n_elem;
  if (used_[p - 1] - used_[0] + 1 == p) return data_.colptr(used_[0]);
  if (copy_.is_empty()) copy_ = data_.cols(used_);
  for (arma::uword k : moved_)
    std::copy(data_.begin_col(used_[k]), data_.end_col(used_[k]), copy_.begin_col(k));
  return copy_.memptr();
}

/// One symmetric product.
void level_scores::refresh_all(const double* Z) {
  const char upper = 'U', transposed = 'T';
  const double one = 1.0, zero = 0.0;
  const auto n = static_cast<arma::blas_int>(data_.n_rows), p = static_cast<arma::blas_int>(used_.n_elem);
  arma::blas::syrk<double>(&upper, &transposed, &p, &n, &one, Z, &n, &zero, products_.memptr(), &p);
  for (arma::uword j = 0; j < used_.n_elem; ++j)
    for (arma::uword i = 0; i < j; ++i) products_(j, i) = products_(i, j);
}

void level_scores::refresh_some(const double* Z) {
  arma::uword const n = data_.n_rows, p = used_.n_elem;
  const arma::Mat<double> all(const_cast<double*>(Z), n, p, false, true);
  for (arma::uword k : moved_) {
    double* const cross = products_.colptr(k);
    scan::multiply_transposed(1.0, all, Z + k * n, 0.0, cross);
    for (arma::uword i = 0; i < p; ++i) products_(k, i) = cross[i];
  }
}

/// One symmetric product when most columns moved; otherwise the rows and columns of those that did.
void level_scores::refresh() {
  moved_.clear();
  for (arma::uword k = 0; k < used_.n_elem; ++k)
    if (stale_[k]) moved_.push_back(k);
  if (moved_.empty()) return;
  const double* const Z = used_columns();
  if (2 * moved_.size() > used_.n_elem)
    refresh_all(Z);
  else
    refresh_some(Z);
  std::fill(stale_.begin(), stale_.end(), static_cast<unsigned char>(0));
}

arma::Mat<double> level_scores::products(const arma::Col<arma::uword>& x, const arma::Col<arma::uword>& y) {
  arma::Mat<double> out;
  products(x, y, out);
  return out;
}

void level_scores::products(const arma::Col<arma::uword>& x, const arma::Col<arma::uword>& y,
                            arma::Mat<double>& out) {
  refresh();
  out.set_size(x.n_elem, y.n_elem);
  for (arma::uword j = 0; j < y.n_elem; ++j) {
    const double* const from = products_.colptr(place(y[j]));
    for (arma::uword i = 0; i < x.n_elem; ++i) out(i, j) = from[place(x[i])];
  }
}

}  // namespace tovik::sem
