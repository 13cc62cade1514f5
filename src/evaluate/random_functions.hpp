#pragma once

#include <armadillo>

namespace tovik {
class Random;
}

/// Random columns of n rows, one draw per row from the stream, in row order. Each argument is one value for
/// all rows or a column of n values. All parameters are checked before the first draw, so that a failure
/// leaves the stream where it was.
namespace tovik::evaluate {

/// Uniform on [lower, upper): lower + (upper - lower) * u. Throws error "ERROR: Lower bound is greater than
/// or equal to upper bound." when a lower bound is not below its upper one. A missing bound gives a missing
/// value; its draw is still taken.
arma::Col<double> uniform(Random* stream, const unsigned& n, double lower, double upper);
arma::Col<double> uniform(Random* stream, const unsigned& n, const arma::Col<double>& lower, double upper);
arma::Col<double> uniform(Random* stream, const unsigned& n, double lower, const arma::Col<double>& upper);
arma::Col<double> uniform(Random* stream, const unsigned& n, const arma::Col<double>& lower,
                          const arma::Col<double>& upper);

/// Normal: mean + sqrt(variance) * z. Throws error "ERROR: Variance is not greater than 0." when a variance
/// is at or below 0. A missing mean or variance gives a missing value; its draw is still taken.
arma::Col<double> normal(Random* stream, const unsigned& n, double mean, double variance);
arma::Col<double> normal(Random* stream, const unsigned& n, const arma::Col<double>& mean, double variance);
arma::Col<double> normal(Random* stream, const unsigned& n, double mean, const arma::Col<double>& variance);
arma::Col<double> normal(Random* stream, const unsigned& n, const arma::Col<double>& mean,
                         const arma::Col<double>& variance);

}  // namespace tovik::evaluate
