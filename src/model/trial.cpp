#include "model/trial.hpp"

#include <armadillo>
#include <limits>
#include <unordered_map>

#include "evaluate/value.hpp"

namespace tovik::model {
namespace {

class trial {
 public:
  explicit trial(evaluate::node& tree) : tree_(tree), cell_(missing) { prepare(tree_); }

  double number() const { return tree_.eval(); }

  void run() const {
    const arma::Mat<double> nothing(2, columns_.size() + 1, arma::fill::value(missing));
    tree_.eval(nothing);
  }

 private:
  static constexpr double missing = std::numeric_limits<double>::quiet_NaN();

  /// Every parameter reads the same cell; columns count from 0.
  void prepare(evaluate::node& at) {
    if (at.op == evaluate::operations::var) {
      at.cell = &cell_;
      return;
    }
    if (at.op == evaluate::operations::data) {
      at.left->number = columns_.emplace(at.index(), columns_.size()).first->second;
      return;
    }
    if (at.left) prepare(*at.left);
    if (at.right) prepare(*at.right);
  }

  evaluate::node& tree_;
  evaluate::value cell_;
  std::unordered_map<unsigned, unsigned> columns_;
};

/// A statistic of a column, which no number has: such an expression is refused where its form is told.
bool has_column_statistic(const evaluate::node& at) {
  if (at.op == evaluate::operations::var) return false;
  const bool extreme = at.op == evaluate::operations::max || at.op == evaluate::operations::min;
  if (evaluate::isColumnFunction(at.op) && !(extreme && at.left && at.left->n_commas() > 0)) return true;
  return (at.left && has_column_statistic(*at.left)) || (at.right && has_column_statistic(*at.right));
}

}  // namespace

void try_out(evaluate::node& tree) {
  trial(tree).run();
}

void try_out_scalar(evaluate::node& tree) {
  if (has_column_statistic(tree)) return;
  trial(tree).number();
}

}  // namespace tovik::model
