#include "sem/autosolver/normal_1D.hpp"

#include <cmath>

#include "random/random.hpp"
#include "support/error.hpp"

namespace tovik::sem::autosolver {

normal_1D normal_1D::between(double lower, double upper) {
  normal_1D out;
  out.truncation = (std::isfinite(lower) ? 1 : 0) + (std::isfinite(upper) ? 2 : 0);
  if (out.truncation != 0) out.bounds = std::make_shared<const range>(range{lower, upper});
  return out;
}

bool normal_1D::is_informed() const {
  return std::isfinite(mean) && std::isfinite(variance);
}

normal_1D& normal_1D::multiply(double q, double d) {
  if (q == 0.0) return *this;
  if (is_informed()) {
    const double shrink = 1.0 / (1.0 + variance * q);
    mean = (mean + variance * d) * shrink;
    variance *= shrink;
  } else {
    mean = d / q;
    variance = 1.0 / q;
  }
  return *this;
}

double normal_1D::draw(Random& rng) const {
  if (!is_informed()) return std::numeric_limits<double>::quiet_NaN();
  const double sd = std::sqrt(variance);
  switch (truncation) {
    case 1:
      return rng.trNorm(mean, bounds->lower, sd, false);
    case 2:
      return rng.trNorm(mean, bounds->upper, sd, true);
    case 3:
      return rng.trNorm(mean, bounds->lower, bounds->upper, sd);
    default:
      return mean + sd * rng.rnorm();
  }
}

normal_1D operator*(const normal_1D& a, const normal_1D& b) {
  if (a.truncation != 0 && b.truncation != 0)
    throw error_debug("Cannot truncate an already truncated distribution.");
  normal_1D out;
  if (a.is_informed() && b.is_informed()) {
    const double sum = a.variance + b.variance;
    out.variance = a.variance * b.variance / sum;
    out.mean = (a.mean * b.variance + b.mean * a.variance) / sum;
  } else if (a.is_informed() || b.is_informed()) {
    const normal_1D& informed = a.is_informed() ? a : b;
    out.mean = informed.mean;
    out.variance = informed.variance;
  } else {
    out.mean = out.variance = std::numeric_limits<double>::quiet_NaN();
  }
  const normal_1D& bounded = a.truncation != 0 ? a : b;
  out.truncation = bounded.truncation;
  out.bounds = bounded.bounds;
  return out;
}

}  // namespace tovik::sem::autosolver
