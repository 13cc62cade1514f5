#pragma once

#include <armadillo>
#include <vector>

#include "sem/outcomes/regression.hpp"
#include "sem/phantoms/phantom.hpp"
#include "sem/scan_world.hpp"

namespace tovik::tests {

/// Whether the correlations that phantoms carry leave a positive definite matrix.
bool leaves_variance(arma::Mat<double> S, const std::vector<sem::phantom_term>& terms,
                     const std::vector<double>& rhos);

/// Lambda by its definition.
arma::Mat<double> dense_loadings(const arma::Mat<double>& S, const std::vector<sem::phantom_term>& terms,
                                 const std::vector<double>& rhos);

}  // namespace tovik::tests
