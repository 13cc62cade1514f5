#pragma once

#include <armadillo>
#include <vector>

#include "sem/outcomes/regression.hpp"
#include "sem/phantoms/phantom.hpp"
#include "sem/scan_world.hpp"

namespace tovik::tests {

/// A random number of the prior with shape 1 and scale 1/2 of a variance, or 1 / Wishart(q + 1, I).
arma::Mat<double> draw_prior_covariance(arma::uword q, Random& rng);

/// Covariance matrices and effects, then the coefficients that are drawn, N(0, variance): all from their
/// priors.
void draw_parameters(sem::Regression& model, double variance, Random& rng);

/// Whether the correlations that phantoms carry leave a positive definite matrix.
bool leaves_variance(arma::Mat<double> S, const std::vector<sem::phantom_term>& terms,
                     const std::vector<double>& rhos);

/// Lambda by its definition.
arma::Mat<double> dense_loadings(const arma::Mat<double>& S, const std::vector<sem::phantom_term>& terms,
                                 const std::vector<double>& rhos);

}  // namespace tovik::tests
