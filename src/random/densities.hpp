#pragma once

#include <armadillo>

namespace tovik {

// Scalar densities at x: the density or, when give_log, its logarithm. Outside its support a density is 0 and
// its logarithm minus infinity. Boost's overflow and domain errors of the special functions pass through.

/// Normal; the third argument is a variance.
double dnorm(double const& x, double const& mean, double const& variance, bool const& give_log);
/// Beta on [0, 1]. An endpoint with a parameter below 1 raises Boost's overflow error.
double dbeta(double const& x, double const& alpha, double const& beta, bool const& give_log);
/// Gamma with mean shape * scale. x = 0 with shape < 1 raises Boost's overflow error.
double dgamma(double const& x, double const& shape, double const& scale, bool const& give_log);
/// Inverse gamma with mean scale / (shape - 1), x > 0.
double dinvgamma(double const& x, double const& shape, double const& scale, bool const& give_log);
double dcauchy(double const& x, double const& location, double const& scale, bool const& give_log);
/// Uniform; both ends count as inside.
double dunif(double const& x, double const& a, double const& b, bool const& give_log);
/// 1 inside [lower, upper], 0 outside: a flat prior that only restricts a range, not normalised.
double dtrunc(double const& x, double const& lower, double const& upper, bool const& give_log);
/// scale / 2 * exp(-|x - location| / scale): proportional in x to the Laplace density; the factor is kept as
/// it is.
double dlaplace(double const& x, double const& location, double const& scale, bool const& give_log);

/// Log density of N(0, variance) at each residual; one variance for all, or one each.
arma::Col<double> logNormPDF(arma::Col<double> const& r, double const& variance);
arma::Col<double> logNormPDF(arma::Col<double> const& r, arma::Col<double> const& variances);

/// Log density of N(mean, variance) truncated to [lower, upper], at each x (which is taken to be inside).
/// Bounds and variance are one for all or one each.
arma::Col<double> logTrNormPDF(arma::Col<double> const& x, arma::Col<double> const& mean, double const& lower,
                               double const& upper, double const& variance);
arma::Col<double> logTrNormPDF(arma::Col<double> const& x, arma::Col<double> const& mean, double const& lower,
                               double const& upper, arma::Col<double> const& variance);
arma::Col<double> logTrNormPDF(arma::Col<double> const& x, arma::Col<double> const& mean,
                               arma::Col<double> const& lower, arma::Col<double> const& upper,
                               double const& variance);
arma::Col<double> logTrNormPDF(arma::Col<double> const& x, arma::Col<double> const& mean,
                               arma::Col<double> const& lower, arma::Col<double> const& upper,
                               arma::Col<double> const& variance);
/// The same with one bound: from below if `upper` is false, from above if it is true.
arma::Col<double> logTrNormPDF(arma::Col<double> const& x, arma::Col<double> const& mean, double const& bound,
                               double const& variance, bool upper);
arma::Col<double> logTrNormPDF(arma::Col<double> const& x, arma::Col<double> const& mean, double const& bound,
                               arma::Col<double> const& variance, bool upper);
arma::Col<double> logTrNormPDF(arma::Col<double> const& x, arma::Col<double> const& mean,
                               arma::Col<double> const& bound, double const& variance, bool upper);
arma::Col<double> logTrNormPDF(arma::Col<double> const& x, arma::Col<double> const& mean,
                               arma::Col<double> const& bound, arma::Col<double> const& variance, bool upper);

/// Log density of N(0, Sigma) at each row of R (rows are observations). A Sigma that is not positive definite
/// raises numeric_error "chol(): decomposition failed".
arma::Col<double> logMvnrmPDF(arma::Mat<double> const& R, arma::Mat<double> const& Sigma);
/// The same for one row. It is the logarithm, whatever the name says.
double dmvnorm(arma::Row<double> const& r, arma::Mat<double> const& Sigma);

/// Standard normal distribution function, (erf(x / sqrt 2) + 1) / 2.
double phi(double const& x);
/// The same for each element.
arma::Mat<double> phi(arma::Mat<double> const& x);
/// Inverse of phi by Wichura's algorithm AS 241 (1988, Applied Statistics 37), relative accuracy about 1e-16.
/// -10 on both sides when p is not inside (0, 1).
double iPhi(double const& p);

/// The correlation matrix of a covariance matrix.
arma::Mat<double> cov2cor(arma::Mat<double> S);

}  // namespace tovik
