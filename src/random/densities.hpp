#pragma once

#include <armadillo>

namespace tovik {

// Scalar densities at x: the density or, when give_log, its logarithm. Outside its support a density is 0 and
// its logarithm minus infinity. Boost's overflow and domain errors of the special functions pass through.

/// Normal; the third argument is a variance.
double dnorm(const double& x, const double& mean, const double& variance, const bool& give_log);
/// Beta on [0, 1]. An endpoint with a parameter below 1 raises Boost's overflow error.
double dbeta(const double& x, const double& alpha, const double& beta, const bool& give_log);
/// Gamma with mean shape * scale. x = 0 with shape < 1 raises Boost's overflow error.
double dgamma(const double& x, const double& shape, const double& scale, const bool& give_log);
/// Inverse gamma with mean scale / (shape - 1), x > 0.
double dinvgamma(const double& x, const double& shape, const double& scale, const bool& give_log);
double dcauchy(const double& x, const double& location, const double& scale, const bool& give_log);
/// Uniform; both ends count as inside.
double dunif(const double& x, const double& a, const double& b, const bool& give_log);
/// 1 inside [lower, upper], 0 outside: a flat prior that only restricts a range, not normalised.
double dtrunc(const double& x, const double& lower, const double& upper, const bool& give_log);
/// scale / 2 * exp(-|x - location| / scale): proportional in x to the Laplace density; the factor is kept as
/// it is.
double dlaplace(const double& x, const double& location, const double& scale, const bool& give_log);

/// Log density of N(0, variance) at each residual; one variance for all, or one each.
arma::Col<double> logNormPDF(const arma::Col<double>& r, const double& variance);
arma::Col<double> logNormPDF(const arma::Col<double>& r, const arma::Col<double>& variances);

/// Log density of N(mean, variance) truncated to [lower, upper], at each x (which is taken to be inside).
/// Bounds and variance are one for all or one each.
arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean, const double& lower,
                               const double& upper, const double& variance);
arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean, const double& lower,
                               const double& upper, const arma::Col<double>& variance);
arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean,
                               const arma::Col<double>& lower, const arma::Col<double>& upper,
                               const double& variance);
arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean,
                               const arma::Col<double>& lower, const arma::Col<double>& upper,
                               const arma::Col<double>& variance);
/// The same with one bound: from below if `upper` is false, from above if it is true.
arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean, const double& bound,
                               const double& variance, bool upper);
arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean, const double& bound,
                               const arma::Col<double>& variance, bool upper);
arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean,
                               const arma::Col<double>& bound, const double& variance, bool upper);
arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean,
                               const arma::Col<double>& bound, const arma::Col<double>& variance, bool upper);

/// Log density of N(0, Sigma) at each row of R (rows are observations). A Sigma that is not positive definite
/// raises numeric_error "chol(): decomposition failed".
arma::Col<double> logMvnrmPDF(const arma::Mat<double>& R, const arma::Mat<double>& Sigma);
/// The same for one row. It is the logarithm, whatever the name says.
double dmvnorm(const arma::Row<double>& r, const arma::Mat<double>& Sigma);

/// Standard normal distribution function, (erf(x / sqrt 2) + 1) / 2.
double phi(const double& x);
/// The same for each element.
arma::Mat<double> phi(const arma::Mat<double>& x);
/// Inverse of phi by Wichura's algorithm AS 241 (1988, Applied Statistics 37), relative accuracy about 1e-16.
/// -10 on both sides when p is not inside (0, 1).
double iPhi(const double& p);

/// The correlation matrix of a covariance matrix.
arma::Mat<double> cov2cor(arma::Mat<double> S);

}  // namespace tovik
