#include "sem/wiring/transform.hpp"

#include <utility>

namespace tovik::sem::estimator {

transform::transform(evaluate::pair pair) : pair_(std::move(pair)) {}

arma::Col<double> transform::fun(arma::Col<double> x) const {
  if (pair_.data_side == nullptr) return x;
  return pair_.data_side->eval(static_cast<arma::Mat<double> const&>(x));
}

arma::Col<double> transform::inv(arma::Col<double> x) const {
  if (pair_.parameter_side == nullptr) return x;
  return pair_.parameter_side->eval(static_cast<arma::Mat<double> const&>(x));
}

}  // namespace tovik::sem::estimator
