#pragma once

#include <armadillo>

namespace tovik::sem::scan {

/// A positive definite correlation matrix that has the known elements. `R` holds them, and on entry a guess
/// of the others, which is kept if it does; `is_known`: p x p, not 0 for an element that is known. False,
/// with R as it is, when none is found.
///
/// Otherwise the known elements grow from 0 to their values, while the others follow: each in turn to the
/// middle of the interval that it can be in, which raises the determinant (Dempster, 1972, Biometrics 28,
/// 157-175, on the completion of greatest determinant).
bool complete_correlations(const arma::Mat<unsigned char>& is_known, arma::Mat<double>& R);

}  // namespace tovik::sem::scan
