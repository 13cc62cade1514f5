#pragma once

#include <armadillo>
#include <vector>

#include "random/random.hpp"
#include "sem/outcomes/regression.hpp"

/// Parameters of equations from their proper priors (prior 1), and functions of them that tests compare.
namespace tovik::tests {

/// A random number of the prior with shape 1 and scale 1/2 of a variance, or 1 / Wishart(q + 1, I).
arma::Mat<double> draw_prior_covariance(arma::uword q, Random& rng);

/// N(0, Sigma) for the effects of every level, the nearest first.
void draw_effects(sem::Regression& model, Random& rng);

/// Level by level, the nearest first: a covariance matrix, and the effects given it.
void draw_covariances_and_effects(sem::Regression& model, Random& rng);

/// draw_covariances_and_effects, then the coefficients that are drawn, N(0, variance).
void draw_parameters(sem::Regression& model, double variance, Random& rng);

/// Everything but the effects, by way of starting values: covariance matrices, the highest level first, the
/// residual variance of a normal outcome or the dispersion of a count, and coefficients N(0, prior_variance)
/// where they are not known.
void draw_starts(sem::Regression& model, double prior_variance, Random& rng);

/// How effects, their covariance matrices, the intercept and a value `y` of unit 0 hang together, each level
/// by itself.
void add_effect_functions(const sem::Regression& model, double y, std::vector<double>& out);

}  // namespace tovik::tests
