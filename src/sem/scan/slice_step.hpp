#pragma once

#include <cmath>

#include "random/random.hpp"

namespace tovik::sem::scan {

/// One step of the slice sampler in one dimension, above a bound: the interval steps out from `x` by `width`,
/// at most 32 times in all, and shrinks towards `x` (Neal, 2003, Annals of Statistics 31, 705-767). `x` is
/// above `bound`. Leaves the density restricted to x > bound unchanged; where it is not finite at `x`, as in
/// a chain that has run away, `x` stays.
template <class LogDensity>
double slice_step(double x, double bound, double width, const LogDensity& log_density, Random& rng) {
  constexpr int steps = 32;
  const double level = log_density(x) + std::log(1.0 - rng.runif());
  if (!std::isfinite(level)) return x;
  double low = x - width * rng.runif(), high = low + width;
  int left = static_cast<int>(std::floor(steps * rng.runif())), right = steps - 1 - left;
  for (; left > 0 && low > bound && log_density(low) > level; --left) low -= width;
  for (; right > 0 && log_density(high) > level; --right) high += width;
  low = std::fmax(low, bound);
  while (true) {
    const double next = low + (high - low) * rng.runif();
    if (next > bound && log_density(next) > level) return next;
    // Rounding may leave nothing between x and the ends.
    if (!(high - low > 1e-15 * std::fmax(std::fabs(x), width))) return x;
    (next < x ? low : high) = next;
  }
}

}  // namespace tovik::sem::scan
