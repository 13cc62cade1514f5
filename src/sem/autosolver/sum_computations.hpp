#pragma once

#include <armadillo>
#include <vector>

#include "sem/autosolver/computation.hpp"

namespace tovik::sem::autosolver {

/// Adds to `out`, at some rows (null: every row), the coefficient times the value of each computation that
/// has one. `scratch` is resized.
void add_computations(const std::vector<computation>& computations, const arma::Mat<double>& data,
                      const arma::Mat<double>& coefficients, const arma::Col<arma::uword>* rows,
                      std::vector<double>& scratch, double* out);

}  // namespace tovik::sem::autosolver
