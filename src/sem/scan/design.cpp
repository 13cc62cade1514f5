#include "sem/scan/design.hpp"

#include <utility>

#include "support/error.hpp"

namespace tovik::sem::scan {
namespace {

bool is_written(std::vector<bool> const& mutable_columns, arma::uword column) {
  return column < mutable_columns.size() && mutable_columns[column];
}

void take(double const* from, arma::uword n, arma::Col<arma::uword> const* rows, double* out) {
  if (rows == nullptr) {
    for (arma::uword i = 0; i < n; ++i) out[i] = from[i];
  } else {
    for (arma::uword i = 0; i < rows->n_elem; ++i) out[i] = from[(*rows)(i)];
  }
}

}  // namespace

bool is_mutable(evaluate::node const& tree, std::vector<bool> const& mutable_columns) {
  using evaluate::operations;
  switch (tree.op) {
    case operations::var:
    case operations::uniform:
    case operations::normal:
      return true;
    case operations::data:
      return is_written(mutable_columns, tree.index());
    default:
      return (tree.left != nullptr && is_mutable(*tree.left, mutable_columns)) ||
             (tree.right != nullptr && is_mutable(*tree.right, mutable_columns));
  }
}

columns::columns(arma::Col<arma::uword> plain, std::vector<estimator::compute> computed,
                 std::vector<bool> const& mutable_columns)
    : plain_(std::move(plain)), computed_(std::move(computed)), is_dynamic_(size(), false) {
  for (arma::uword j = 0; j < size(); ++j) {
    if (j < plain_.n_elem) {
      is_dynamic_[j] = is_written(mutable_columns, plain_(j));
    } else {
      auto const* node = computed_[j - plain_.n_elem].node;
      if (node == nullptr) throw error_debug("A computed column has no expression.");
      is_dynamic_[j] = is_mutable(*node, mutable_columns);
      if (node->has(evaluate::operations::var)) holds_parameters_ = true;
    }
    if (is_dynamic_[j]) dynamic_.push_back(j);
  }
}

void columns::read(arma::uword j, arma::Mat<double> const& data, arma::Col<arma::uword> const* rows,
                   double* out) const {
  if (j < plain_.n_elem) {
    take(data.colptr(plain_(j)), data.n_rows, rows, out);
  } else {
    computed_[j - plain_.n_elem].eval(data, rows, out);
  }
}

void columns::refresh(arma::Mat<double> const& data, arma::Col<arma::uword> const* rows) {
  if (filled_) {
    for (arma::uword j : dynamic_) read(j, data, rows, values_.colptr(j));
    return;
  }
  values_.set_size(rows == nullptr ? data.n_rows : rows->n_elem, size());
  for (arma::uword j = 0; j < size(); ++j) read(j, data, rows, values_.colptr(j));
  filled_ = true;
}

double const* columns::at(arma::uword j, arma::Mat<double> const& data, arma::Col<arma::uword> const* rows,
                          arma::Col<double>& scratch) const {
  if (double const* column = stored(j, data, rows)) return column;
  scratch.set_size(rows == nullptr ? data.n_rows : rows->n_elem);
  read(j, data, rows, scratch.memptr());
  return scratch.memptr();
}

void columns::at_units(arma::uword j, arma::Mat<double> const& data, arma::Col<arma::uword> const* rows,
                       arma::Col<arma::uword> const& units, double* out) const {
  if (double const* column = stored(j, data, rows)) return take(column, data.n_rows, &units, out);
  if (j < plain_.n_elem) {
    double const* column = data.colptr(plain_(j));
    for (arma::uword i = 0; i < units.n_elem; ++i) out[i] = column[(*rows)(units(i))];
    return;
  }
  auto const& term = computed_[j - plain_.n_elem];
  if (rows == nullptr) return term.eval(data, &units, out);
  if (chosen_.size() < units.n_elem) chosen_.resize(units.n_elem);
  for (arma::uword i = 0; i < units.n_elem; ++i) chosen_[i] = (*rows)(units(i));
  arma::Col<arma::uword> const chosen(chosen_.data(), units.n_elem, false, true);
  term.eval(data, &chosen, out);
}

}  // namespace tovik::sem::scan
