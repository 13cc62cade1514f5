#include "sem/scan/design.hpp"

#include <utility>

#include "support/error.hpp"

namespace tovik::sem::scan {
namespace {

bool is_written(const std::vector<bool>& mutable_columns, arma::uword column) {
  return column < mutable_columns.size() && mutable_columns[column];
}

void take(const double* from, arma::uword n, const arma::Col<arma::uword>* rows, double* out) {
  if (rows == nullptr) {
    for (arma::uword i = 0; i < n; ++i) out[i] = from[i];
  } else {
    for (arma::uword i = 0; i < rows->n_elem; ++i) out[i] = from[(*rows)(i)];
  }
}

}  // namespace

bool is_mutable(const evaluate::node& tree, const std::vector<bool>& mutable_columns) {
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
                 const std::vector<bool>& mutable_columns)
    : plain_(std::move(plain)), computed_(std::move(computed)), is_dynamic_(size(), false) {
  for (arma::uword j = 0; j < size(); ++j) {
    if (j < plain_.n_elem) {
      is_dynamic_[j] = is_written(mutable_columns, plain_(j));
    } else {
      const auto* node = computed_[j - plain_.n_elem].node;
      if (node == nullptr) throw error_debug("A computed column has no expression.");
      is_dynamic_[j] = is_mutable(*node, mutable_columns);
      if (node->has(evaluate::operations::var)) holds_parameters_ = true;
    }
    if (is_dynamic_[j]) dynamic_.push_back(j);
  }
}

void columns::read(arma::uword j, const arma::Mat<double>& data, const arma::Col<arma::uword>* rows,
                   double* out) const {
  if (j < plain_.n_elem) {
    take(data.colptr(plain_(j)), data.n_rows, rows, out);
  } else {
    computed_[j - plain_.n_elem].eval(data, rows, out);
  }
}

void columns::refresh(const arma::Mat<double>& data, const arma::Col<arma::uword>* rows) {
  if (filled_) {
    for (arma::uword j : dynamic_) read(j, data, rows, values_.colptr(j));
    return;
  }
  values_.set_size(rows == nullptr ? data.n_rows : rows->n_elem, size());
  for (arma::uword j = 0; j < size(); ++j) read(j, data, rows, values_.colptr(j));
  filled_ = true;
}

const double* columns::at(arma::uword j, const arma::Mat<double>& data, const arma::Col<arma::uword>* rows,
                          arma::Col<double>& scratch) const {
  if (const double* column = stored(j, data, rows)) return column;
  scratch.set_size(rows == nullptr ? data.n_rows : rows->n_elem);
  read(j, data, rows, scratch.memptr());
  return scratch.memptr();
}

void columns::at_units(arma::uword j, const arma::Mat<double>& data, const arma::Col<arma::uword>* rows,
                       const arma::Col<arma::uword>& units, double* out) const {
  if (const double* column = stored(j, data, rows)) return take(column, data.n_rows, &units, out);
  if (j < plain_.n_elem) {
    const double* column = data.colptr(plain_(j));
    for (arma::uword i = 0; i < units.n_elem; ++i) out[i] = column[(*rows)(units(i))];
    return;
  }
  const auto& term = computed_[j - plain_.n_elem];
  if (rows == nullptr) return term.eval(data, &units, out);
  if (chosen_.size() < units.n_elem) chosen_.resize(units.n_elem);
  for (arma::uword i = 0; i < units.n_elem; ++i) chosen_[i] = (*rows)(units(i));
  const arma::Col<arma::uword> chosen(chosen_.data(), units.n_elem, false, true);
  term.eval(data, &chosen, out);
}

}  // namespace tovik::sem::scan
