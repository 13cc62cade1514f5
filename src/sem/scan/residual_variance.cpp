#include "sem/scan/residual_variance.hpp"

#include "support/error.hpp"

namespace tovik::sem::scan {

double draw_precision(int prior, double n, double ss, Random& rng, double unit) {
  switch (prior) {
    case 1:
      return rng.rgamma((n + 2.0) / 2.0, 2.0 / (ss + unit));
    case 2:
      return rng.rgamma((n - 2.0) / 2.0, 2.0 / ss);
    case 3:
      return rng.rgamma(n / 2.0, 2.0 / ss);
    default:
      throw error_debug("Unknown prior for a variance.");
  }
}

}  // namespace tovik::sem::scan
