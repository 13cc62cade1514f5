#pragma once

#include <armadillo>
#include <memory>

#include "evaluate/node.hpp"
#include "sem/wiring/value_node.hpp"

namespace tovik::sem {

/// A value computed from parameters. One that is also the label of parameters in equations is linked to them:
/// they receive the value whenever it is computed.
class Computation : public value_node {
 public:
  /// The tree is a scalar whose parameters are bound to live cells.
  Computation(const Estimator* estimator, std::unique_ptr<evaluate::node> tree);

  /// Evaluates the tree; writes the value here and, to its places, if it has some, and brings up to date
  /// what follows from them. Throws what the functions of the tree throw.
  double update();
  /// Where the value stands from now on; its address does not change.
  double* ptr() { return &value_; }

  /// The value of the last update.
  arma::Col<double> params() const override { return arma::Col<double>{value_}; }
  arma::Col<double> params(const arma::Mat<double>&) const override { return params(); }

  /// The parameters that follow this value, as one constraint that is never drawn; null for none.
  std::unique_ptr<estimator::constraint> places;

 private:
  std::unique_ptr<evaluate::node> tree_;
  double value_;
};

}  // namespace tovik::sem
