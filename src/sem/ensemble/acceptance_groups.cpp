#include "sem/ensemble/acceptance_groups.hpp"

#include <algorithm>
#include <numeric>
#include <utility>

#include "evaluate/grouping.hpp"
#include "evaluate/node.hpp"

namespace tovik::sem {
namespace {

using evaluate::node;
using evaluate::operations;

/// Rows that are tied, by union and find (Tarjan, 1975, J. ACM 22, 215-225).
class ties {
 public:
  explicit ties(arma::uword n) : parent_(n) { std::iota(parent_.begin(), parent_.end(), arma::uword{0}); }

  bool any() const { return any_; }
  arma::uword root(arma::uword i) {
    while (parent_[i] != i) i = parent_[i] = parent_[parent_[i]];
    return i;
  }
  void tie(arma::uword a, arma::uword b) {
    any_ = true;
    a = root(a);
    b = root(b);
    parent_[std::max(a, b)] = std::min(a, b);
  }
  void tie_all() {
    for (arma::uword i = 1; i < parent_.size(); ++i) tie(0, i);
    any_ = true;
  }
  void tie_clusters(const arma::Col<double>& id) {
    evaluate::grouping const clusters(id);
    std::vector<arma::uword> first(clusters.clusters(), parent_.size());
    for (arma::uword i = 0; i < parent_.size(); ++i) {
      std::uint32_t const c = clusters.cluster()[i];
      if (c == evaluate::grouping::none) continue;
      if (first[c] == parent_.size()) first[c] = i;
      tie(first[c], i);
    }
  }
  /// Rows of one unit.
  void tie_units(const arma::Col<arma::uword>& unit) {
    for (arma::uword i = 1; i < unit.n_elem; ++i)
      if (unit(i) == unit(i - 1)) tie(i - 1, i);
  }

 private:
  std::vector<arma::uword> parent_;
  bool any_ = false;
};

bool holds(const node& tree, arma::uword column) {
  const std::vector<unsigned> columns = tree.data_columns();
  return std::binary_search(columns.begin(), columns.end(), static_cast<unsigned>(column));
}

/// What a function of a column ties when its list of inputs holds the variable.
void tie_statistic(const node& function, arma::uword column, const arma::Mat<double>& data, ties& rows) {
  const node* list = function.left.get();
  const bool is_list = list->op == operations::comma;
  if ((function.op == operations::max || function.op == operations::min) && is_list) return;  // row by row
  if (!is_list) return rows.tie_all();
  const node* id = list->right.get();
  if (function.op == operations::lag1) {
    if (id->op != operations::comma || holds(*id->left, column)) return rows.tie_all();
    id = id->right.get();
  }
  if (holds(*id, column)) return rows.tie_all();
  rows.tie_clusters(id->eval(data));
}

void tie_statistics(const node& tree, arma::uword column, const arma::Mat<double>& data, ties& rows) {
  if (tree.is_literal() || tree.is_reference()) return;
  if (evaluate::isColumnFunction(tree.op) && holds(tree, column)) tie_statistic(tree, column, data, rows);
  if (tree.left != nullptr) tie_statistics(*tree.left, column, data, rows);
  if (tree.right != nullptr) tie_statistics(*tree.right, column, data, rows);
}

void tie_readers(const arma::Col<arma::uword>& columns, unsigned level,
                 const std::vector<const estimator::Outcome*>& readers, const level_units& units,
                 const arma::Mat<double>& data, ties& rows) {
  for (const estimator::Outcome* reader : readers) {
    if (reader->level > level) rows.tie_units(*units[reader->level]);
    for (arma::uword column : columns) {
      if (!reader->couples(column)) continue;
      for (const estimator::compute& term : reader->x_compute) tie_statistics(*term.node, column, data, rows);
      for (const auto& terms : reader->z_compute)
        for (const estimator::compute& term : terms) tie_statistics(*term.node, column, data, rows);
    }
  }
}

/// The group of each unit of a level, by the group of its first row.
arma::Col<arma::uword> of_units(const arma::Col<arma::uword>& unit, const arma::Col<arma::uword>& of_row) {
  arma::Col<arma::uword> out(unit.is_empty() ? 0 : unit(unit.n_elem - 1) + 1);
  for (arma::uword i = unit.n_elem; i-- > 0;) out(unit(i)) = of_row(i);
  return out;
}

}  // namespace

estimator::acceptance acceptance_groups(const arma::Col<arma::uword>& columns, unsigned level,
                                        const std::vector<const estimator::Outcome*>& readers,
                                        const level_units& units, const arma::Mat<double>& data) {
  ties rows(data.n_rows);
  tie_readers(columns, level, readers, units, data, rows);
  if (!rows.any()) return {};
  unsigned evaluated = level;
  for (const estimator::Outcome* reader : readers) evaluated = std::max(evaluated, reader->level);
  rows.tie_units(*units[level]);
  rows.tie_units(*units[evaluated]);
  arma::Col<arma::uword> of_row(data.n_rows);
  for (arma::uword i = 0; i < data.n_rows; ++i) of_row(i) = rows.root(i);
  return {evaluated, of_units(*units[level], of_row), of_units(*units[evaluated], of_row)};
}

}  // namespace tovik::sem
