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

/// log(1 + exp(x)), exact where exp(x) overflows and where 1 + exp(x) rounds to 1.
inline double log_one_plus_exp(double x) {
  return std::max(x, 0.0) + std::log1p(std::exp(-std::fabs(x)));
}

}  // namespace tovik::sem::scan
