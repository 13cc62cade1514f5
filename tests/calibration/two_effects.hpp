#pragma once

#include <armadillo>
#include <cmath>

namespace tovik::tests::calibration {

/// The log likelihood of clusters, two standard normal effects of each integrated out by a sum over a grid.
/// `density(c, z0, z1)`: of cluster c given its effects. Ranks are uniform for every function of parameters
/// and data, so that what the grid leaves out does no harm.
template <typename Density>
double without_two_effects(arma::uword clusters, Density density) {
  double sum = 0;
  for (arma::uword c = 0; c < clusters; ++c) {
    double marginal = 0;
    for (double z0 = -4; z0 <= 4; z0 += 0.5)
      for (double z1 = -4; z1 <= 4; z1 += 0.5)
        marginal += std::exp(-0.5 * (z0 * z0 + z1 * z1)) * density(c, z0, z1);
    sum += std::log(marginal + 1e-300);
  }
  return sum;
}

}  // namespace tovik::tests::calibration
