#include "sem/wiring/transform.hpp"

#include <cmath>
#include <limits>
#include <utility>

#include "evaluate/error.hpp"
#include "evaluate/value.hpp"

namespace tovik::sem::estimator {
namespace {

/// The number of the cell in the scalar form; parameters of the transformation have small numbers.
constexpr unsigned cell_number = std::numeric_limits<unsigned>::max();

std::unique_ptr<evaluate::node> reference(const char* kind, unsigned index) {
  return std::make_unique<evaluate::node>(kind, evaluate::node::literal(index));
}

}  // namespace

void transform::scalar_form::set(const evaluate::node* tree) {
  if (tree == nullptr) return;
  const auto column = reference("#DATA", 0);
  const auto cell = reference("#VAR", cell_number);
  tree_ = *tree == *column ? cell->copy() : tree->copy();
  tree_->replace(*column, *cell);
  auto place = std::make_unique<evaluate::value>();
  place->set(&x_);
  cell_ = std::move(place);
  tree_->register_var(cell_.get(), cell_number);
}

double transform::scalar_form::eval(double x) const {
  if (tree_ == nullptr) return x;
  x_ = x;
  try {
    return tree_->eval();
  } catch (const evaluate::error_debug&) {
    throw;
  } catch (const evaluate::error&) {
    return std::numeric_limits<double>::quiet_NaN();
  }
}

transform::transform(evaluate::pair pair) : pair_(std::move(pair)) {
  forward_.set(pair_.data_side.get());
  inverse_.set(pair_.parameter_side.get());
}

arma::Col<double> transform::fun(arma::Col<double> x) const {
  if (pair_.data_side == nullptr) return x;
  return pair_.data_side->eval(static_cast<const arma::Mat<double>&>(x));
}

arma::Col<double> transform::inv(arma::Col<double> x) const {
  if (pair_.parameter_side == nullptr) return x;
  return pair_.parameter_side->eval(static_cast<const arma::Mat<double>&>(x));
}

bool transform::admits(double y, double& out) const {
  const double x = backward(y);
  if (!std::isfinite(x) || !(std::fabs(forward(x) - y) <= 1e-8 * (1.0 + std::fabs(y)))) return false;
  out = x;
  return true;
}

}  // namespace tovik::sem::estimator
