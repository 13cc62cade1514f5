#pragma once

#include <cstdint>
#include <limits>
#include <memory>

namespace tovik {
class Random;
}

namespace tovik::sem::autosolver {

/// The normal distribution of one parameter, or that distribution within bounds. A variance that is not
/// finite means no information.
class normal_1D {
 public:
  struct range {
    double lower, upper;
  };

  normal_1D() = default;
  normal_1D(double mean_, double variance_) : mean(mean_), variance(variance_) {}
  /// Flat between the bounds, either of which may be infinite: no information but these.
  static normal_1D between(double lower, double upper);

  bool is_informed() const;
  /// Multiplies by exp(d x - q x^2 / 2), a normal factor of precision q; unchanged when q = 0. The bounds
  /// stay.
  normal_1D& multiply(double q, double d);
  /// One draw. NaN, and no random number, without information. One standard normal without bounds, else those
  /// of Random::trNorm.
  double draw(Random& rng) const;

  double mean = std::numeric_limits<double>::quiet_NaN();
  double variance = std::numeric_limits<double>::infinity();
  std::int32_t truncation = 0;  ///< 0 none, 1 from below, 2 from above, 3 both
  std::shared_ptr<const range> bounds;
};

/// The product of two densities, normalised. Throws error_debug when both have bounds.
normal_1D operator*(const normal_1D& a, const normal_1D& b);

}  // namespace tovik::sem::autosolver
