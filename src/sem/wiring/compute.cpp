#include "sem/wiring/compute.hpp"

#include <algorithm>
#include <utility>

#include "evaluate/row_program.hpp"
#include "support/error.hpp"

namespace tovik::sem::estimator {

/// Ways to evaluate the tree at some rows only: steps over blocks of rows or, where an operation is not among
/// them, the same tree over a matrix that holds only the columns it reads, at the chosen rows.
struct compute::compact {
  std::unique_ptr<evaluate::row_program> program;
  std::unique_ptr<evaluate::node> tree;
  arma::Mat<double> values;
};

namespace {

/// Renumbers "#DATA(k)" by the position of k among the columns read.
void renumber(evaluate::node& tree, const std::vector<unsigned>& columns) {
  if (tree.op == evaluate::operations::data) {
    const auto at = std::lower_bound(columns.begin(), columns.end(), tree.index());
    tree.left->number = static_cast<double>(at - columns.begin());
    return;
  }
  if (tree.op == evaluate::operations::var) return;
  if (tree.left != nullptr) renumber(*tree.left, columns);
  if (tree.right != nullptr) renumber(*tree.right, columns);
}

}  // namespace

compute::compute(std::shared_ptr<evaluate::node> tree) : node(tree.get()), owner(std::move(tree)) {
  if (node == nullptr) throw error_debug("A computed column has no expression.");
  columns_ = node->data_columns();
  couples_rows_ = node->has_column_statistic();
  if (couples_rows_ || !node->is_vector) return;
  compact_ = std::make_shared<compact>();
  compact_->program = evaluate::row_program::make(*node);
  if (compact_->program != nullptr) return;
  compact_->tree = node->copy();
  renumber(*compact_->tree, columns_);
}

bool compute::reads(arma::uword column) const {
  return std::binary_search(columns_.begin(), columns_.end(), static_cast<unsigned>(column));
}

void compute::eval(const arma::Mat<double>& data, const arma::Col<arma::uword>* rows, double* out) const {
  if (compact_ != nullptr && compact_->program != nullptr) {
    arma::uword const n = rows == nullptr ? data.n_rows : rows->n_elem;
    return compact_->program->eval(data, rows == nullptr ? nullptr : rows->memptr(), n, out);
  }
  if (rows == nullptr) {
    const arma::Col<double> all = node->eval(data);
    std::copy(all.begin(), all.end(), out);
    return;
  }
  if (!node->is_vector) {
    std::fill_n(out, rows->n_elem, node->eval());
    return;
  }
  if (compact_ == nullptr) {
    const arma::Col<double> all = node->eval(data);
    for (arma::uword i = 0; i < rows->n_elem; ++i) out[i] = all((*rows)(i));
    return;
  }
  arma::Mat<double>& values = compact_->values;
  values.set_size(rows->n_elem, columns_.size());
  for (std::size_t j = 0; j < columns_.size(); ++j) {
    const double* from = data.colptr(columns_[j]);
    double* to = values.colptr(j);
    for (arma::uword i = 0; i < rows->n_elem; ++i) to[i] = from[(*rows)(i)];
  }
  const arma::Col<double> chosen = compact_->tree->eval(values);
  std::copy(chosen.begin(), chosen.end(), out);
}

}  // namespace tovik::sem::estimator
