#include "sem/predictors/level_scores.hpp"

#include <algorithm>
#include <limits>
#include <utility>

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

void level_scores::write(arma::Col<arma::uword> const& columns, arma::Mat<double> const& deviations) {
  if (deviations.n_rows != data_.n_rows || deviations.n_cols != columns.n_elem)
    throw error_debug("Deviations do not have the shape of their level.");
  for (arma::uword k = 0; k < columns.n_elem; ++k) {
    if (columns[k] >= data_.n_cols) throw error_debug("A column of the scores of a level does not exist.");
    std::copy(deviations.begin_col(k), deviations.end_col(k), data_.begin_col(columns[k]));
    if (place_[columns[k]] != nowhere) stale_[place_[columns[k]]] = 1;
  }
}

/// One symmetric product when most columns moved; otherwise the rows and columns of those that did.
void level_scores::refresh() {
  std::vector<arma::uword> moved;
  for (arma::uword k = 0; k < used_.n_elem; ++k)
    if (stale_[k]) moved.push_back(k);
  if (moved.empty()) return;
  arma::Mat<double> const Z = data_.cols(used_);
  if (2 * moved.size() > used_.n_elem) {
    products_ = Z.t() * Z;
  } else {
    arma::Col<arma::uword> const at(moved);
    arma::Mat<double> const cross = Z.t() * data_.cols(arma::Col<arma::uword>(used_.elem(at)));
    for (arma::uword k = 0; k < at.n_elem; ++k) {
      for (arma::uword i = 0; i < used_.n_elem; ++i) {
        products_(i, at[k]) = cross(i, k);
        products_(at[k], i) = cross(i, k);
      }
    }
  }
  std::fill(stale_.begin(), stale_.end(), static_cast<unsigned char>(0));
}

arma::Mat<double> level_scores::products(arma::Col<arma::uword> const& x, arma::Col<arma::uword> const& y) {
  auto const place = [this](arma::uword column) {
    if (column >= place_.size() || place_[column] == nowhere)
      throw error_debug("A column without products was asked for.");
    return place_[column];
  };
  refresh();
  arma::Mat<double> out(x.n_elem, y.n_elem);
  for (arma::uword j = 0; j < y.n_elem; ++j) {
    double const* const from = products_.colptr(place(y[j]));
    for (arma::uword i = 0; i < x.n_elem; ++i) out(i, j) = from[place(x[i])];
  }
  return out;
}

}  // namespace tovik::sem
