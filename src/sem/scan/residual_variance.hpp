#pragma once

#include "random/random.hpp"

namespace tovik::sem::scan {

/// A precision given n normal values with known mean and the sum `ss` of their squares, under prior 1, 2 or 3
/// (pseudo degrees of freedom 2, -2, 0 and pseudo sum of squares `unit`, 0, 0): gamma with shape (n + df) / 2
/// and scale 2 / (ss + pseudo). A residual variance and the variance of a single random effect are its
/// inverse. Throws numeric_error when the shape is not positive or the sum is zero, error_debug for another
/// code.
double draw_precision(int prior, double n, double ss, Random& rng, double unit = 1.0);

}  // namespace tovik::sem::scan
