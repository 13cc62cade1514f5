#include "sem/outcomes/computation.hpp"

#include <limits>

namespace tovik::sem {

Computation::Computation(Estimator const* estimator_, evaluate::node* tree)
    : Outcome(shape{.estimator = estimator_, .type = data::type::computation}),
      value_node("Computation"),
      owner_(tree),
      value_(std::numeric_limits<double>::quiet_NaN()) {}

double Computation::update() {
  value_ = owner_->eval();
  if (places != nullptr) places->write(value_);
  return value_;
}

}  // namespace tovik::sem
