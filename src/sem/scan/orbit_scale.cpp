#include "sem/scan/orbit_scale.hpp"

#include <cmath>

namespace tovik::sem::scan {

namespace {

constexpr int steps = 2;
constexpr int max_widths = 50;

}  // namespace

double orbit_scale::log_density(double l) const {
  const double g = std::exp(l);
  return dimension * l - 0.5 * (square * g * g - 2.0 * linear * g + inverse / (g * g));
}

// The width is twice the standard deviation that the factor has when nothing but the square tells of it: the
// same wherever on the orbit the state stands.
double orbit_scale::draw(Random& rng) const {
  double l = 0.0, here = log_density(l);
  if (!std::isfinite(here)) return 1.0;
  const double width = dimension > 1.0 ? std::sqrt(2.0 / dimension) : 1.0;
  for (int step = 0; step < steps; ++step) {
    const double bound = here + std::log(rng.runif());
    double left = l - width * rng.runif(), right = left + width;
    int to_left = static_cast<int>(max_widths * rng.runif()), to_right = max_widths - 1 - to_left;
    while (to_left-- > 0 && log_density(left) > bound) left -= width;
    while (to_right-- > 0 && log_density(right) > bound) right += width;
    for (;;) {
      const double at = left + (right - left) * rng.runif(), there = log_density(at);
      if (there >= bound) {
        l = at;
        here = there;
        break;
      }
      (at < l ? left : right) = at;
      if (right - left < 1e-14) break;
    }
  }
  return std::exp(l);
}

}  // namespace tovik::sem::scan
