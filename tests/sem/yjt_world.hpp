#pragma once

#include <cmath>
#include <memory>

#include "evaluate/functions.hpp"
#include "scan_world.hpp"
#include "sem/outcomes/factor.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/outcomes/yjt.hpp"

namespace tovik::tests {

/// A normal regression of the transformed outcome, lambda uniform between bounds.
inline std::unique_ptr<sem::yjt<sem::Normal>> transformed_normal(LoneEstimator& estimator,
                                                                 sem::equation_setup setup, double lower,
                                                                 double upper) {
  setup.response_moves = true;
  auto out = std::make_unique<sem::yjt<sem::Normal>>(&estimator, data::type::continuous, setup, 1.0, true);
  out->take_lambda_prior(std::make_shared<sem::Parameter>(&estimator, sem::estimator::cluster(),
                                                          sem::distribution::uniform, lower, upper),
                         {});
  return out;
}

}  // namespace tovik::tests
