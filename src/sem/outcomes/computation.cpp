#include "sem/outcomes/computation.hpp"

#include <limits>
#include <utility>

namespace tovik::sem {

Computation::Computation(const Estimator* estimator_, std::unique_ptr<evaluate::node> tree)
    : Outcome(shape{.estimator = estimator_, .type = data::type::computation}),
      value_node("Computation"),
      tree_(std::move(tree)),
      value_(std::numeric_limits<double>::quiet_NaN()) {}

double Computation::update() {
  value_ = tree_->eval();
  if (places != nullptr) places->write(value_);
  return value_;
}

}  // namespace tovik::sem
