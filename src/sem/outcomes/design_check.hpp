#pragma once

#include <armadillo>

#include "sem/scan/design.hpp"
#include "sem/wiring/outcome.hpp"

namespace tovik::sem {

/// Throws tovik::error with the name of the first predictor, among the coefficients `drawn`, that never
/// changes and is not finite, does not vary, or is a combination of those before it. `rows`: the row of each
/// unit, or null.
void check_columns(const scan::columns& X, const arma::Mat<double>& data, const arma::Col<arma::uword>* rows,
                   const arma::Col<arma::uword>& drawn, bool has_intercept,
                   const estimator::Outcome::equation_names& names);

}  // namespace tovik::sem
