#pragma once

#include <cmath>
#include <memory>

#include "evaluate/functions.hpp"
#include "scan_world.hpp"
#include "sem/outcomes/factor.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/outcomes/yjt.hpp"

namespace tovik::tests {

/// Of a uniform prior of lambda; NaN for an outcome without a transformation.
struct lambda_bounds {
  double lower = arma::datum::nan, upper = arma::datum::nan;
  bool is_set() const { return !std::isnan(lower); }
  double middle() const { return 0.5 * (lower + upper); }
};

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

/// lambda from its prior, and y from what it is to transform. After the effects: those that are all zero
/// start anew.
inline void draw_lambda(sem::Regression& model, const lambda_bounds& bounds, arma::Col<double>& y,
                        Random& rng) {
  arma::Col<double> v = model.params();
  v.back() = bounds.lower + (bounds.upper - bounds.lower) * rng.runif();
  model.addStarts(v);
  for (double& value : y) value = evaluate::iyjt(value, v.back());
}

inline double lambda_of(const sem::Regression& model) {
  return dynamic_cast<const sem::yjt<sem::Normal>&>(model).lambda();
}

}  // namespace tovik::tests
