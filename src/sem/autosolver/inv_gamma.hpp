#pragma once

#include <armadillo>

namespace tovik {
class Random;
}

namespace tovik::sem::autosolver {

/// The inverse gamma distribution of one variance: density proportional to v^-(shape + 1) exp(-scale / v).
/// Contributions add to both numbers; with (0, 0) it is the density 1 / v, with (-1, 0) the flat one.
class inv_gamma {
 public:
  inv_gamma() = default;
  inv_gamma(double shape_, double scale_) : shape(shape_), scale(scale_) {}

  /// The first contribution: (a, b), whatever the data and what came before.
  static inv_gamma _prior(const arma::Mat<double>& data, const inv_gamma& previous, double a, double b);

  /// 1 / g with g from a gamma distribution. Throws numeric_error unless shape and scale are positive.
  double draw(Random& rng) const;

  double shape = 0.0;
  double scale = 0.0;
};

}  // namespace tovik::sem::autosolver
