#pragma once

#include "random/random.hpp"

namespace tovik {

/// Polya-Gamma PG(b, z), mean b tanh(z / 2) / (2z), by its series of gamma variables of shape b (Polson,
/// Scott and Windle, 2013, "Bayesian inference for logistic models using Polya-Gamma latent variables", JASA
/// 108), cut after as many terms as Random::pg_vec has. What is cut off enters by its mean: the mean is
/// exact, and 3e-9 of the variance is lost after 200 terms. NaN unless z and b > 0 are finite. For b = 1 the
/// exact draw is Random::rpg.
double rpg(Random& rng, double b, double z);

}  // namespace tovik
