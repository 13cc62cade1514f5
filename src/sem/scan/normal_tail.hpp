#pragma once

#include <cmath>

namespace tovik::sem::scan {

/// exp(-z^2 / 2) and 1 - Phi(z), for z >= 0, at the price of one exponential: a rational function of z times
/// the first (Hart et al., 1968, Computer Approximations, no. 5666), whose relative error is below 3e-13 up
/// to z = 4, and the error function beyond.
struct normal_tail {
  double kernel = 0.0, mass = 0.0;

  static normal_tail at_infinity() { return normal_tail(); }
  explicit normal_tail(double z) : kernel(std::exp(-0.5 * z * z)) {
    if (!(z < 4.0)) {
      mass = 0.5 * std::erfc(z * 0.70710678118654752440);
      return;
    }
    const double p =
        ((((((3.52624965998911e-02 * z + 0.700383064443688) * z + 6.37396220353165) * z + 33.912866078383) *
               z +
           112.079291497871) *
              z +
          221.213596169931) *
             z +
         220.206867912376);
    const double q =
        (((((((8.83883476483184e-02 * z + 1.75566716318264) * z + 16.064177579207) * z + 86.7807322029461) *
                z +
            296.564248779674) *
               z +
           637.333633378831) *
              z +
          793.826512519948) *
             z +
         440.413735824752);
    mass = kernel * p / q;
  }

 private:
  normal_tail() = default;
};

/// Phi(b) - Phi(a) for a <= b from the tails at |a| and |b|.
inline double mass_between(double a, const normal_tail& of_a, double b, const normal_tail& of_b) {
  const double beside = a > 0.0 ? of_a.mass - of_b.mass : of_b.mass - of_a.mass;
  const double across = 1.0 - of_a.mass - of_b.mass;
  return a > 0.0 || b < 0.0 ? beside : across;
}

}  // namespace tovik::sem::scan
