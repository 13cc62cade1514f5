#pragma once

#include "random/random.hpp"

namespace tovik::sem::scan {

/// The density of a common factor g = exp(l) by which all that is in the units of a latent score is
/// multiplied (Liu & Sabatti, 2000, Biometrika 87, 353-369). With respect to dl it is, up to a constant,
///
///   exp(dimension l - (square g^2 - 2 linear g + inverse / g^2) / 2):
///
/// `dimension` counts what is multiplied, each as often as its Jacobian says, less the degrees of freedom
/// that priors of variances take; `square` and `linear` gather |g a - f|^2 of residuals and priors, f what
/// cannot be multiplied; `inverse` the scales of priors of variances.
struct orbit_scale {
  double dimension = 0.0, square = 0.0, linear = 0.0, inverse = 0.0;

  double log_density(double l) const;
  /// A factor by steps of a slice sampler from g = 1 (Neal, 2003, Annals of Statistics 31, 705-767), above
  /// lowest(). 1 where the density is not finite.
  double draw(Random& rng) const;

  /// Where more is divided by g than multiplied, and no prior of a variance stands against it, the density has
  /// a pole at g = 0 that is not integrable: a factor of variance 0 whose loadings are infinite. The logarithm
  /// of a point of the orbit between the pole and the mode, at or below which the factor stays 1: -infinity
  /// without a pole, infinity without a mode. It does not depend on where on the orbit the state stands.
  double lowest() const;
};

}  // namespace tovik::sem::scan
