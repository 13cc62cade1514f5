#pragma once

#include <armadillo>

#include "sem/wiring/constraint.hpp"

namespace tovik::sem {

/// A proposal variance for a random walk from the shape of the log density: (2 s)^2, with s the distance at
/// which the density falls, on the average of both sides, by one half of a unit of its logarithm. For a
/// normal density s is the standard deviation, wherever the parameter stands, and a walk in steps of 2 s is
/// accepted in one half of its proposals. The search starts at s = sqrt(guess) / 2. Returns `guess` where the
/// density does not fall, as on a saddle, or cannot be computed. Leaves the parameter as it was.
double proposal_variance(estimator::constraint& parameter, const arma::Mat<double>& data, double guess);

/// Adapts a proposal by its acceptance, which takes it to be about right. One that is far off, because the
/// starting state told little of the scale, is replaced by that of the density at the current state. Nothing
/// without acceptances.
void adapt_proposal(estimator::constraint& parameter, const arma::Mat<double>& data);

}  // namespace tovik::sem
