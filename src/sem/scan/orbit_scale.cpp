#include "sem/scan/orbit_scale.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tovik::sem::scan {

namespace {

constexpr int steps = 2;
constexpr int max_widths = 50;

}  // namespace

double orbit_scale::log_density(double l) const {
  const double g = std::exp(l);
  return dimension * l - 0.5 * (square * g * g - 2.0 * linear * g + inverse / (g * g));
}

// With x = g: square x^2 - linear x - dimension = 0 has the mode and, below it, the foot of the pole.
double orbit_scale::lowest() const {
  constexpr double infinity = std::numeric_limits<double>::infinity();
  if (inverse > 0.0 || dimension > 0.0) return -infinity;
  const double root = linear * linear + 4.0 * square * dimension;
  if (!(linear > 0.0) || !(root > 0.0)) return infinity;
  const double mode = 0.5 * (linear + std::sqrt(root)) / square,
               foot = 0.5 * (linear - std::sqrt(root)) / square;
  return std::log(std::max(foot, 0.1 * mode));
}

// The width is twice the standard deviation that the factor has when nothing but the square tells of it: the
// same wherever on the orbit the state stands.
double orbit_scale::draw(Random& rng) const {
  double l = 0.0, here = log_density(l);
  const double lowest_l = lowest();
  if (!std::isfinite(here) || !(lowest_l < 0.0)) return 1.0;
  const double width = dimension > 1.0 ? std::sqrt(2.0 / dimension) : 1.0;
  for (int step = 0; step < steps; ++step) {
    const double bound = here + std::log(rng.runif());
    double left = l - width * rng.runif(), right = left + width;
    int to_left = static_cast<int>(max_widths * rng.runif()), to_right = max_widths - 1 - to_left;
    while (to_left-- > 0 && log_density(left) > bound) left -= width;
    while (to_right-- > 0 && log_density(right) > bound) right += width;
    left = std::max(left, lowest_l);
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
