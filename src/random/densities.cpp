#include "random/densities.hpp"

#include <algorithm>
#include <boost/math/special_functions/beta.hpp>
#include <boost/math/special_functions/gamma.hpp>
#include <cmath>
#include <limits>
#include <type_traits>

#include "random/constants.hpp"
#include "support/error.hpp"

namespace tovik {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double log_pi = 1.1447298858494002;
constexpr double log_two = 0.6931471805599453;

double nothing(bool give_log) {
  return give_log ? -infinity : 0.0;
}

/// Mass of the standard normal above a, accurate in the upper tail.
double upper_tail(double a) {
  return std::erfc(a * M_SQRT1_2) / 2;
}

/// Phi(b) - Phi(a), taken on the side of zero where both terms are small, so that they do not cancel.
double mass_between(double a, double b) {
  if (a > 0) return upper_tail(a) - upper_tail(b);
  if (b < 0) return upper_tail(-b) - upper_tail(-a);
  return (std::erf(b * M_SQRT1_2) - std::erf(a * M_SQRT1_2)) / 2;
}

double log_normal(double r, double variance) {
  const double sd = std::sqrt(variance);
  const double z = r / sd;
  return -half_log_2_pi - std::log(sd) - 0.5 * z * z;
}

/// Element i of an argument that is one for all or one each.
double at(double value, arma::uword) {
  return value;
}
double at(const arma::Col<double>& values, arma::uword i) {
  return values[i];
}

/// The normal density over its mass inside the bounds; `mass(i, mean, sd)` gives that mass for element i.
template <typename Variance, typename Mass>
arma::Col<double> log_truncated(const arma::Col<double>& x, const arma::Col<double>& mean,
                                const Variance& variance, Mass mass) {
  arma::Col<double> out(x.n_elem, arma::fill::none);
  for (arma::uword i = 0; i < x.n_elem; ++i) {
    const double sd = std::sqrt(at(variance, i));
    const double z = (x[i] - mean[i]) / sd;
    out[i] = -half_log_2_pi - 0.5 * z * z - std::log(sd * mass(i, mean[i], sd));
  }
  return out;
}

template <typename Bound, typename Variance>
arma::Col<double> log_between(const arma::Col<double>& x, const arma::Col<double>& mean, const Bound& lower,
                              const Bound& upper, const Variance& variance) {
  return log_truncated(x, mean, variance, [&](arma::uword i, double m, double sd) {
    return mass_between((at(lower, i) - m) / sd, (at(upper, i) - m) / sd);
  });
}

template <typename Bound, typename Variance>
arma::Col<double> log_one_sided(const arma::Col<double>& x, const arma::Col<double>& mean, const Bound& bound,
                                const Variance& variance, bool upper) {
  return log_truncated(x, mean, variance, [&](arma::uword i, double m, double sd) {
    const double z = (at(bound, i) - m) / sd;
    return upper_tail(upper ? -z : z);
  });
}

}  // namespace

double dnorm(const double& x, const double& mean, const double& variance, const bool& give_log) {
  const double sd = std::sqrt(variance);
  const double z = (x - mean) / sd;
  if (give_log) return -(half_log_2_pi + z * z / 2 + std::log(sd));
  return inverse_sqrt_2_pi / sd * std::exp(-z * z / 2);
}

double dbeta(const double& x, const double& alpha, const double& beta, const bool& give_log) {
  if (std::isnan(x)) return x;
  if (x < 0 || x > 1) return nothing(give_log);
  const double density = boost::math::ibeta_derivative(alpha, beta, x);
  return give_log ? std::log(density) : density;
}

double dgamma(const double& x, const double& shape, const double& scale, const bool& give_log) {
  if (std::isnan(x)) return x;
  if (x < 0 || x == infinity) return nothing(give_log);
  const double density = boost::math::gamma_p_derivative(shape, x / scale) / scale;
  return give_log ? std::log(density) : density;
}

double dinvgamma(const double& x, const double& shape, const double& scale, const bool& give_log) {
  if (x <= 0) return nothing(give_log);
  const double log_density =
      shape * std::log(scale) - boost::math::lgamma(shape) - (shape + 1) * std::log(x) - scale / x;
  return give_log ? log_density : std::exp(log_density);
}

double dcauchy(const double& x, const double& location, const double& scale, const bool& give_log) {
  const double z = (x - location) / scale;
  if (give_log) return -(std::log(scale) + log_pi + std::log(z * z + 1));
  return 1 / ((z * z + 1) * scale * arma::datum::pi);
}

double dunif(const double& x, const double& a, const double& b, const bool& give_log) {
  if (!(a <= x && x <= b)) return nothing(give_log);
  return give_log ? -std::log(b - a) : 1 / (b - a);
}

double dtrunc(const double& x, const double& lower, const double& upper, const bool& give_log) {
  if (!(lower <= x && x <= upper)) return nothing(give_log);
  return give_log ? 0.0 : 1.0;
}

double dlaplace(const double& x, const double& location, const double& scale, const bool& give_log) {
  const double w = std::fabs(x - location) / scale;
  return give_log ? std::log(scale) - log_two - w : scale / 2 * std::exp(-w);
}

arma::Col<double> logNormPDF(const arma::Col<double>& r, const double& variance) {
  arma::Col<double> out(r.n_elem, arma::fill::none);
  const double sd = std::sqrt(variance);
  const double constant = -half_log_2_pi - std::log(sd);
  for (arma::uword i = 0; i < r.n_elem; ++i) out[i] = constant - 0.5 * (r[i] / sd) * (r[i] / sd);
  return out;
}

arma::Col<double> logNormPDF(const arma::Col<double>& r, const arma::Col<double>& variances) {
  arma::Col<double> out(r.n_elem, arma::fill::none);
  for (arma::uword i = 0; i < r.n_elem; ++i) out[i] = log_normal(r[i], variances[i]);
  return out;
}

arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean, const double& lower,
                               const double& upper, const double& variance) {
  return log_between(x, mean, lower, upper, variance);
}

arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean, const double& lower,
                               const double& upper, const arma::Col<double>& variance) {
  return log_between(x, mean, lower, upper, variance);
}

arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean,
                               const arma::Col<double>& lower, const arma::Col<double>& upper,
                               const double& variance) {
  return log_between(x, mean, lower, upper, variance);
}

arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean,
                               const arma::Col<double>& lower, const arma::Col<double>& upper,
                               const arma::Col<double>& variance) {
  return log_between(x, mean, lower, upper, variance);
}

arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean, const double& bound,
                               const double& variance, bool upper) {
  return log_one_sided(x, mean, bound, variance, upper);
}

arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean, const double& bound,
                               const arma::Col<double>& variance, bool upper) {
  return log_one_sided(x, mean, bound, variance, upper);
}

arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean,
                               const arma::Col<double>& bound, const double& variance, bool upper) {
  return log_one_sided(x, mean, bound, variance, upper);
}

arma::Col<double> logTrNormPDF(const arma::Col<double>& x, const arma::Col<double>& mean,
                               const arma::Col<double>& bound, const arma::Col<double>& variance,
                               bool upper) {
  return log_one_sided(x, mean, bound, variance, upper);
}

/// With U'U = Sigma, r'inv(Sigma) r is the sum of squares of r inv(U), and log |Sigma| is twice the sum of
/// log diag U.
arma::Col<double> logMvnrmPDF(const arma::Mat<double>& R, const arma::Mat<double>& Sigma) {
  arma::Mat<double> U;
  if (!arma::chol(U, Sigma)) throw numeric_error::not_positive_definite();
  const arma::Mat<double> W = arma::inv(arma::trimatu(U));
  const arma::Mat<double> Q = R * W;
  const double constant =
      -(static_cast<double>(Sigma.n_cols) / 2) * log_2_pi - arma::accu(arma::log(U.diag()));
  return constant - 0.5 * arma::sum(arma::square(Q), 1);
}

double dmvnorm(const arma::Row<double>& r, const arma::Mat<double>& Sigma) {
  return logMvnrmPDF(r, Sigma)[0];
}

double phi(const double& x) {
  return (std::erf(x / M_SQRT2) + 1) / 2;
}

arma::Mat<double> phi(const arma::Mat<double>& x) {
  arma::Mat<double> out(arma::size(x), arma::fill::none);
  for (arma::uword i = 0; i < x.n_elem; ++i) out[i] = phi(x[i]);
  return out;
}

namespace {

/// c[0] + c[1] x + ... + c[7] x^7.
double polynomial(const double (&c)[8], double x) {
  double value = c[7];
  for (int i = 6; i >= 0; --i) value = value * x + c[i];
  return value;
}

/// PPND16 of AS 241: numerators and denominators of the centre, the near tail and the far tail.
constexpr double centre_a[8] = {3.3871328727963666080e0, 1.3314166789178437745e2, 1.9715909503065514427e3,
                                1.3731693765509461125e4, 4.5921953931549871457e4, 6.7265770927008700853e4,
                                3.3430575583588128105e4, 2.5090809287301226727e3};
constexpr double centre_b[8] = {1.0,
                                4.2313330701600911252e1,
                                6.8718700749205790830e2,
                                5.3941960214247511077e3,
                                2.1213794301586595867e4,
                                3.9307895800092710610e4,
                                2.8729085735721942674e4,
                                5.2264952788528545610e3};
constexpr double near_c[8] = {1.42343711074968357734e0,  4.63033784615654529590e0, 5.76949722146069140550e0,
                              3.64784832476320460504e0,  1.27045825245236838258e0, 2.41780725177450611770e-1,
                              2.27238449892691845833e-2, 7.74545014278341407640e-4};
constexpr double near_d[8] = {1.0,
                              2.05319162663775882187e0,
                              1.67638483018380384940e0,
                              6.89767334985100004550e-1,
                              1.48103976427480074590e-1,
                              1.51986665636164571966e-2,
                              5.47593808499534494600e-4,
                              1.05075007164441684324e-9};
constexpr double far_e[8] = {6.65790464350110377720e0,  5.46378491116411436990e0,  1.78482653991729133580e0,
                             2.96560571828504891230e-1, 2.65321895265761230930e-2, 1.24266094738807843860e-3,
                             2.71155556874348757815e-5, 2.01033439929228813265e-7};
constexpr double far_f[8] = {1.0,
                             5.99832206555887937690e-1,
                             1.36929880922735805310e-1,
                             1.48753612908506148525e-2,
                             7.86869131145613259100e-4,
                             1.84631831751005468180e-5,
                             1.42151175831644588870e-7,
                             2.04426310338993978564e-15};

}  // namespace

double iPhi(const double& p) {
  const double q = p - 0.5;
  if (std::fabs(q) <= 0.425) {
    const double x = 0.180625 - q * q;
    return q * polynomial(centre_a, x) / polynomial(centre_b, x);
  }
  const double r = std::min(p, 1 - p);
  if (!(r > 0)) return -10.0;
  const double s = std::sqrt(-std::log(r));
  const double x = s <= 5 ? polynomial(near_c, s - 1.6) / polynomial(near_d, s - 1.6)
                          : polynomial(far_e, s - 5) / polynomial(far_f, s - 5);
  return q < 0 ? -x : x;
}

arma::Mat<double> cov2cor(arma::Mat<double> S) {
  const arma::Col<double> d = arma::sqrt(S.diag());
  S /= d * d.t();
  return S;
}

}  // namespace tovik
