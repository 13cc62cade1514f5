#pragma once

#include <memory>
#include <utility>

#include "evaluate/node.hpp"
#include "sem/wiring/compute.hpp"

namespace tovik::sem::autosolver {

/// A piece of a computed term of an equation: an expression, and which coefficient of the equation multiplies
/// it.
struct computation {
  static constexpr int none = -1;  ///< no coefficient: it adds nothing
  static constexpr int one = -2;   ///< multiplied with 1

  /// Throws error_debug without an expression.
  explicit computation(std::shared_ptr<evaluate::node> tree_, int coefficient_ = none)
      : tree(std::move(tree_)), coefficient(coefficient_), values(tree) {}

  std::shared_ptr<evaluate::node> tree;
  int coefficient;            ///< position in the coefficients of the model, none or one
  estimator::compute values;  ///< the tree, for evaluation at some rows
};

}  // namespace tovik::sem::autosolver
