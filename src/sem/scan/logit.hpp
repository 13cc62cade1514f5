#pragma once

#include <algorithm>
#include <cmath>

namespace tovik::sem::scan {

/// The variance of the standard logistic distribution, pi^2 / 3.
inline constexpr double logistic_variance = 3.289868133696453;

/// 1 / (1 + exp(-x)), without overflow on either side.
inline double logistic(double x) {
  if (x >= 0.0) return 1.0 / (1.0 + std::exp(-x));
  const double e = std::exp(x);
  return e / (1.0 + e);
}

/// log(exp(a) + exp(b)), without overflow on either side.
inline double log_sum_exp(double a, double b) {
  return std::max(a, b) + std::log1p(std::exp(-std::fabs(a - b)));
}

/// y x - log(1 + exp(x)): the log probability of y, 0 or 1, with the log odds x. Nothing overflows, and a
/// probability that rounds to 1 keeps the digits of its logarithm.
inline double log_bernoulli(double y, double x) {
  return y * x - std::max(x, 0.0) - std::log1p(std::exp(-std::fabs(x)));
}

}  // namespace tovik::sem::scan
