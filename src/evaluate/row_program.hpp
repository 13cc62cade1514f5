#pragma once

#include <armadillo>
#include <memory>
#include <vector>

#include "evaluate/functions.hpp"
#include "evaluate/node.hpp"

namespace tovik::evaluate {

/// A tree whose value in a row follows from that row alone, as a list of steps over blocks of rows: the same
/// values as node::eval, without a temporary column for every operation, for any choice of rows.
///
/// Arithmetic, powers, comparisons, "and", "or" and functions of one number; parts without a data column are
/// evaluated once for each call.
class row_program {
 public:
  /// Null for a tree with another operation, and for one without a data column. The tree must outlive the
  /// program and keep its form; parameters are read at each call.
  static std::unique_ptr<row_program> make(const node& tree);

  /// out[i] := the value at row rows[i] of `data`, or at row i when `rows` is null, i < n. Throws as
  /// node::eval does. Allocates nothing after the first call. Not for two threads at a time.
  void eval(const arma::Mat<double>& data, const arma::uword* rows, arma::uword n, double* out) const;

 private:
  /// The values of a block of rows, or one number for all.
  struct operand {
    int step = -1;
    const node* scalar = nullptr;
  };
  struct instruction {
    operations op;
    unsigned column = 0;
    elementary_function function = nullptr;
    operand left, right;
  };

  static constexpr arma::uword block = 128;

  row_program() = default;
  bool add(const node& tree, operand& result);
  const double* place(const operand& value) const;
  void run(const instruction& step, const arma::Mat<double>& data, const arma::uword* rows, arma::uword first,
           arma::uword n, double* out) const;

  std::vector<instruction> steps_;
  std::vector<const node*> scalars_;
  mutable std::vector<double> registers_;  ///< a block for each step, then one for each scalar
};

}  // namespace tovik::evaluate
