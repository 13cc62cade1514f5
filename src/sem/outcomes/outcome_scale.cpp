#include "sem/outcomes/outcome_scale.hpp"

#include <algorithm>
#include <limits>

namespace tovik::sem {

outcome_scale::outcome_scale(arma::uword column, unsigned level, const estimator::cluster& structure)
    : column_(column), rows_(level == 0 ? nullptr : structure.rows) {}

void outcome_scale::set(const evaluate::pair& pair) {
  transform_.reset();
  if (pair.flag) transform_ = std::make_unique<estimator::transform>(pair);
  cells_.clear();
}

const arma::Col<double>& outcome_scale::read(const arma::Mat<double>& data) {
  arma::uword const n = rows_ == nullptr ? data.n_rows : rows_->size();
  if (cells_.size() != n) {
    cells_.assign(n, std::numeric_limits<double>::quiet_NaN());
    values_.set_size(n);
  }
  for (arma::uword i = 0; i < n; ++i) {
    const double cell = data(row(i), column_);
    if (cells_[i] == cell) continue;
    cells_[i] = cell;
    values_(i) = transform_->forward(cell);
  }
  return values_;
}

bool outcome_scale::write_all(arma::Mat<double>& data, arma::uword unit, double value) {
  double cell = value;
  if (transform_ != nullptr) {
    if (!transform_->admits(value, cell)) return false;
    if (unit < cells_.size()) {
      cells_[unit] = cell;
      values_(unit) = value;
    }
  }
  double* first = data.colptr(column_) + row(unit);
  std::fill_n(first, rows_ == nullptr ? 1U : rows_->count[unit], cell);
  return true;
}

void outcome_scale::write(arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                          const arma::Col<arma::uword>& which, const double* values, unsigned char* usable) {
  const arma::uword *unit = units.memptr(), *chosen = which.memptr();
  if (double* cells_of_rows = cells(data)) {
    for (arma::uword j = 0; j < which.n_elem; ++j) cells_of_rows[unit[chosen[j]]] = values[j];
    return;
  }
  for (arma::uword j = 0; j < which.n_elem; ++j)
    if (!write(data, unit[chosen[j]], values[j])) usable[j] = 0;
}

}  // namespace tovik::sem
