#pragma once

#include <armadillo>
#include <memory>

#include "evaluate/node.hpp"
#include "evaluate/pair.hpp"

namespace tovik::sem::estimator {

/// The transformation of an outcome. Both expressions read the column of the variable as column 0 of a matrix
/// of one column. Without expressions both directions return their argument.
class transform {
 public:
  transform() = default;
  /// The data side is the forward expression, the parameter side the inverse. Parameters in them are bound
  /// already.
  explicit transform(evaluate::pair pair);
  transform(const transform&) = delete;
  transform& operator=(const transform&) = delete;

  bool has_transform() const { return pair_.flag; }
  arma::Col<double> fun(arma::Col<double> x) const;
  arma::Col<double> inv(arma::Col<double> x) const;

  /// The same of one value, without a column; NaN where the expression refuses the value.
  double forward(double x) const { return forward_.eval(x); }
  double backward(double y) const { return inverse_.eval(y); }
  /// True if y is the transform of a value, which goes into `out`: backward(y) is finite and its transform is
  /// y up to rounding. False otherwise, with `out` unchanged: y lies outside the range of the transformation.
  bool admits(double y, double& out) const;

 private:
  /// An expression of one number: the column is a cell.
  class scalar_form {
   public:
    void set(const evaluate::node* tree);
    double eval(double x) const;

   private:
    std::unique_ptr<evaluate::node> cell_;
    std::unique_ptr<evaluate::node> tree_;  ///< reads the cell
    mutable double x_ = 0.0;
  };

  evaluate::pair pair_;
  scalar_form forward_, inverse_;
};

}  // namespace tovik::sem::estimator
