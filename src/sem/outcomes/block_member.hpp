#pragma once

#include "sem/outcomes/factor.hpp"
#include "sem/outcomes/normal.hpp"

namespace tovik::sem {

/// An equation with normal errors in a block of outcomes with correlated residuals (see Multi): its residual
/// variance is an element of the block's covariance matrix, which the block draws. All else is that of the
/// equation alone.
template <class Base>
class block_member : public Base {
 public:
  /// `type`: that of the outcome.
  block_member(const Estimator* estimator, const data::type& type, const equation_setup& setup)
      : estimator::Outcome(Base::parts_of(estimator, type, setup)), Base(estimator, setup) {
    this->estimate_resid = false;
  }
};

using MultiNormal = block_member<Normal>;
/// Of a setup without values (see Factor::without_values).
using MultiFactor = block_member<Factor>;

}  // namespace tovik::sem
