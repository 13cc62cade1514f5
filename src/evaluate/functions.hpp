#pragma once

#include <armadillo>
#include <cmath>
#include <limits>

#include "evaluate/error.hpp"
#include "evaluate/operations.hpp"

/// The functions of the expression language that work element by element. All are pure. A missing value (NaN)
/// in an input gives a missing value, unless said.
namespace tovik::evaluate {

/// x limited to the range.
double clamp(double x, double low, double high);
/// 0 below `low`, 1 above `high`, x between.
double unclamp(double x, double low, double high);
/// The last step of sigm() on a column of probabilities: below 0.00011 becomes 0, above 0.9998 becomes 1.
arma::Col<double> unclamp(arma::Col<double> x);

/// log(x / (1 - x)), kept within -9.21 and 9.21; -9.21 for x <= 0 and for x > 1, 9.21 for x = 1.
double logit(double x);
/// 1 / (1 + exp(-x)), with the tails rounded to 0 and 1 by unclamp().
double sigm(double x);
/// The standard normal quantile: minus infinity at 0, infinity at 1. Throws error outside 0 to 1.
double iphi(double x);

/// The bare power forms (x^lambda - 1) / lambda and (y * lambda + 1)^(1 / lambda), lambda not 0.
double yjt_helper(double x, double lambda);
double iyjt_helper(double y, double lambda);
/// Yeo and Johnson (2000), Biometrika 87: a power transform on the whole line, and its inverse. Within 0.0001
/// of lambda = 0 (x >= 0) and of lambda = 2 (x < 0) the limits log1p and expm1 take over.
double yjt(double x, double lambda);
double iyjt(double y, double lambda);

/// The same element by element.
arma::Col<double> logit(const arma::Col<double>& x);
arma::Col<double> sigm(const arma::Col<double>& x);
arma::Col<double> iphi(const arma::Col<double>& x);
arma::Col<double> yjt(const arma::Col<double>& x, double lambda);
arma::Col<double> iyjt(const arma::Col<double>& y, double lambda);

/// The function behind an operation of one input, for all from log to iphi; null for any other operation.
using elementary_function = double (*)(double);
elementary_function elementary(operations operation);

/// Value of an arithmetic or logic operator. Comparisons and "and", "or" give 1, 0, or NaN when either side
/// is NaN. Throws error_debug_parse for another operation.
double binary(operations operation, double a, double b);

/// `result` as 1.0 and 0.0, with NaN in every row where a or b is NaN. Throws error_debug "Elements do not
/// match." when the lengths differ.
arma::Col<double> nanMask(const arma::Col<arma::uword>& result, const arma::Col<double>& a,
                          const arma::Col<double>& b);
arma::Col<double> nanMask(const arma::Col<arma::uword>& result, double a, const arma::Col<double>& b);
arma::Col<double> nanMask(const arma::Col<arma::uword>& result, const arma::Col<double>& a, double b);

/// Row by row: NaN where `logical` is NaN, `yes` where it is 1, `no` where it is 0. Throws error_debug "Not a
/// logical vec." for any other value, and "Elements do not match." when the lengths differ.
arma::Col<double> ifelse(const arma::Col<double>& logical, const arma::Col<double>& yes,
                         const arma::Col<double>& no);
arma::Col<double> ifelse(const arma::Col<double>& logical, double yes, const arma::Col<double>& no);
arma::Col<double> ifelse(const arma::Col<double>& logical, const arma::Col<double>& yes, double no);
arma::Col<double> ifelse(const arma::Col<double>& logical, double yes, double no);

/// The larger and the smaller of each pair: a > b ? a : b and a < b ? a : b, so that b stands where either is
/// NaN.
arma::Col<double> compute_max(const arma::Col<double>& a, const arma::Col<double>& b);
arma::Col<double> compute_min(const arma::Col<double>& a, const arma::Col<double>& b);

}  // namespace tovik::evaluate
