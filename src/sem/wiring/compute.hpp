#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "evaluate/node.hpp"

namespace tovik::sem::estimator {

/// An expression whose value is a column of a design: evaluated on the working matrix. Copies share the tree,
/// which belongs to one chain, with its parameters bound.
struct compute {
  evaluate::node* node = nullptr;
  std::shared_ptr<evaluate::node> owner;

  compute() = default;
  explicit compute(std::shared_ptr<evaluate::node> tree);

  /// The columns of the working matrix that the tree reads, ascending.
  const std::vector<unsigned>& columns() const { return columns_; }
  bool reads(arma::uword column) const;
  /// The value of a row depends on other rows: a statistic of a column or of its clusters.
  bool couples_rows() const { return couples_rows_; }

  /// The values at the given rows of `data` (null: at every row), one after another, into `out`. Touches only
  /// those rows, unless the tree couples rows.
  void eval(const arma::Mat<double>& data, const arma::Col<arma::uword>* rows, double* out) const;

 private:
  struct compact;
  std::vector<unsigned> columns_;
  bool couples_rows_ = false;
  std::shared_ptr<compact> compact_;
};

}  // namespace tovik::sem::estimator
