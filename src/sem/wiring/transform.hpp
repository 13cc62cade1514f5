#pragma once

#include <armadillo>

#include "evaluate/pair.hpp"

namespace tovik::sem::estimator {

/// The transformation of an outcome. Both expressions read the column of the variable as column 0 of a matrix
/// of one column. Without expressions both directions return their argument.
class transform {
 public:
  transform() = default;
  /// The data side is the forward expression, the parameter side the inverse.
  explicit transform(evaluate::pair pair);

  bool has_transform() const { return pair_.flag; }
  arma::Col<double> fun(arma::Col<double> x) const;
  arma::Col<double> inv(arma::Col<double> x) const;

 private:
  evaluate::pair pair_;
};

}  // namespace tovik::sem::estimator
