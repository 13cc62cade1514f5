#include "random/random.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "random/negative_binomial.hpp"
#include "support/error.hpp"

namespace tovik {

namespace {

arma::Col<double> polya_gamma_denominators(std::size_t n) {
  const double terms = static_cast<double>(n);
  const arma::Col<double> k = arma::linspace<arma::Col<double>>(0.5, terms - 0.5, n);
  return arma::square(k) * 4.0 * arma::datum::pi * arma::datum::pi;
}

/// A standard exponential draw. 1 - u never falls below half an ulp of 1, so that the logarithm is finite.
double exponential(Pcg& engine) {
  const double u = distribution::canonical(engine);
  return -std::log(u >= 1.0 ? 1.1102230246251565e-16 : 1.0 - u);
}

/// The upper Cholesky factor of S in U, which is not allocated anew while its size stays.
void cholesky(arma::Mat<double>& U, const arma::Mat<double>& S) {
  if (!arma::chol(U, S)) throw numeric_error::not_positive_definite();
}

/// The general inverse of S in `out`, by LU factors, in the caller's work space. `out` may be S.
void invert(arma::Mat<double>& out, const arma::Mat<double>& S, WishartScratch& scratch) {
  if (&out != &S) out = S;
  auto n = static_cast<arma::blas_int>(out.n_rows);
  auto work_size = 16 * n;
  arma::blas_int info = 0;
  scratch.pivots.set_size(out.n_rows);
  scratch.work.set_size(static_cast<arma::uword>(work_size));
  if (n == 0) return;
  arma::lapack::getrf(&n, &n, out.memptr(), &n, scratch.pivots.memptr(), &info);
  if (info == 0)
    arma::lapack::getri(&n, out.memptr(), &n, scratch.pivots.memptr(), scratch.work.memptr(), &work_size,
                        &info);
  if (info != 0) throw numeric_error::singular();
}

void copy_upper_to_lower(arma::Mat<double>& A) {
  for (arma::uword j = 1; j < A.n_cols; ++j)
    for (arma::uword i = 0; i < j; ++i) A.at(j, i) = A.at(i, j);
}

}  // namespace

std::uint32_t Random::trunc_norm_max_niter = 10000;
std::uint32_t Random::pg_max_niter = 10000;
arma::Col<double> Random::pg_vec = polya_gamma_denominators(200);

void Random::set_pg_n_gamma(std::size_t n) {
  if (n == 0) throw error_debug("DEBUG command not properly specified.");
  pg_vec = polya_gamma_denominators(n);
}

void Random::disperse(double x) {
  start_scale = x < 0 ? 1 / (std::fabs(x) + 1) : x > 0 ? x + 1 : 1.0;
  start_shift = x < 0 ? 3 * x - 1 : x > 0 ? 3 * x + 1 : 0.0;
}

arma::Col<double> Random::runif(int n) {
  arma::Col<double> out(static_cast<arma::uword>(std::max(n, 0)), arma::fill::none);
  for (double& value : out) value = runif();
  return out;
}

arma::Mat<double> Random::randn(const int& rows, const int& cols) {
  arma::Mat<double> out(static_cast<arma::uword>(std::max(rows, 0)),
                        static_cast<arma::uword>(std::max(cols, 0)), arma::fill::none);
  fill_randn(out.memptr(), out.n_elem);
  return out;
}

double Random::rgamma(const double& shape, const double& scale) {
  if (!(shape > 0) || !(scale > 0) || !std::isfinite(scale))
    throw numeric_error("rgamma(): shape and scale must be positive");
  return distribution::gamma(shape, scale)(engine);
}

// Wishart

arma::Mat<double> Random::rwish(const int& df, const arma::Mat<double>& S) {
  arma::Mat<double> out;
  WishartScratch scratch;
  rwish(df, S, out, scratch);
  return out;
}

/// With U'U = S and Z of df x p normals, (Z U)'(Z U) = U'(Z'Z) U: one cross-product of the long matrix and
/// two small products.
void Random::rwish(const int& df, const arma::Mat<double>& S, arma::Mat<double>& out,
                   WishartScratch& scratch) {
  const arma::uword p = S.n_cols;
  if (S.n_rows != p) throw error_debug("rwish(): the scale matrix is not square.");
  if (df < 0 || static_cast<arma::uword>(df) < p)
    throw numeric_error("rwish(): fewer degrees of freedom than dimensions");
  scratch.Z.set_size(static_cast<arma::uword>(df), p);
  fill_randn(scratch.Z.memptr(), scratch.Z.n_elem);
  cholesky(scratch.U, S);
  scratch.G = scratch.Z.t() * scratch.Z;
  scratch.T = scratch.G * scratch.U;
  out = scratch.U.t() * scratch.T;
  copy_upper_to_lower(out);
}

arma::Mat<double> Random::riwish(const int& df, const arma::Mat<double>& S) {
  arma::Mat<double> out;
  WishartScratch scratch;
  riwish(df, S, out, scratch);
  return out;
}

void Random::riwish(const int& df, const arma::Mat<double>& S, arma::Mat<double>& out,
                    WishartScratch& scratch) {
  if (S.n_rows != S.n_cols) throw error_debug("riwish(): the scale matrix is not square.");
  invert(scratch.S_inv, S, scratch);
  rwish(df, scratch.S_inv, scratch.W, scratch);
  invert(out, scratch.W, scratch);
  copy_upper_to_lower(out);
}

// Truncated normals

/// Exponential proposals c > z from a bound z, shifted and with the rate that accepts most often; c <= end.
/// False when the proposals run out: the last one allowed is drawn but never accepted.
bool Random::tail_proposals(double z, double end, double& c) {
  const double lambda = (z + std::sqrt(z * z + 4)) / 2;
  const double log_peak = lambda > z ? 0.0 : (z - lambda) * (z - lambda) / 2;
  for (std::uint32_t count = 0;; ++count) {
    c = z + exponential(engine) / lambda;
    const double u = runif();
    if (count == trunc_norm_max_niter) return false;
    if (u < std::exp(log_peak - (lambda - c) * (lambda - c) / 2) && c <= end) return true;
  }
}

/// A standard normal above z. Where the bound hardly cuts, the exponential proposals are far too flat
/// (acceptance 0.9 / |z|), and plain normals are above it almost surely.
bool Random::standard_above(double z, double& c) {
  if (!(z < -10)) return tail_proposals(z, std::numeric_limits<double>::infinity(), c);
  do c = rnorm();
  while (!(c >= z));
  return true;
}

/// A standard normal in [a, b]. Uniform proposals, unless the density changes so much over the interval that
/// few of them would be accepted.
bool Random::standard_between(double a, double b, double& c) {
  const double width = b - a;
  const double nearest = b < 0 ? -b : a;
  if (width > 20 || (nearest > 0 && nearest * width > 20)) {
    if (a > 0) return tail_proposals(a, b, c);
    if (b < 0) {
      const bool drawn = tail_proposals(-b, -a, c);
      c = -c;
      return drawn;
    }
    do c = rnorm();
    while (!(c >= a && c <= b));
    return true;
  }
  const double peak = b < 0 ? b * b : a > 0 ? a * a : 0.0;
  for (std::uint32_t count = 0;; ++count) {
    c = a + runif() * width;
    const double u = runif();
    if (count == trunc_norm_max_niter) return false;
    if (u < std::exp((peak - c * c) / 2)) return true;
  }
}

double Random::trNorm(double mean, double bound, double sd, bool upper) {
  if (sd <= 0) return upper ? std::min(mean, bound) : std::max(mean, bound);
  const double sign = upper ? -1.0 : 1.0;
  mean *= sign;
  bound *= sign;
  double c;
  return sign * (standard_above((bound - mean) / sd, c) ? mean + sd * c : bound + 0.01);
}

void Random::trNormT(double& mean, double bound, double sd, bool upper) {
  if (sd <= 0) {
    mean = upper ? std::min(mean, bound) : std::max(mean, bound);
    return;
  }
  const double sign = upper ? -1.0 : 1.0;
  mean *= sign;
  double c;
  mean = sign * (standard_above((sign * bound - mean) / sd, c) ? mean + sd * c : mean + rnorm());
}

double Random::trNorm(double mean, double lower, double upper, double sd) {
  if (sd <= 0) return mean < lower ? lower : mean > upper ? upper : mean;
  double c;
  if (standard_between((lower - mean) / sd, (upper - mean) / sd, c)) return mean + sd * c;
  return mean < upper ? upper : lower;
}

void Random::trNormM(double& mean, double lower, double upper, double sd) {
  mean = trNorm(mean, lower, upper, sd);
}

// Truncated inverse Gaussian

double Random::rtignorm(const double& mu, const double& t) {
  const std::uint32_t limit = pg_max_niter;
  if (mu <= t) {
    for (std::uint32_t pass = 0; pass < limit; ++pass) {
      const double z = rnorm();
      const double y = z * z;
      double x = mu + mu * mu * y / 2 - (mu / 2) * std::sqrt(4 * mu * y + (mu * y) * (mu * y));
      if (runif() > mu / (mu + x)) x = mu * mu / x;
      if (x <= t) return x;
    }
    return std::numeric_limits<double>::quiet_NaN();
  }
  for (std::uint32_t pass = 0; pass < limit; ++pass) {
    double e1 = 0;
    std::uint32_t inner = 0;
    for (; inner < limit; ++inner) {
      e1 = exponential(engine);
      const double e2 = exponential(engine);
      if (2 * e2 / t >= e1 * e1) break;
    }
    if (inner >= limit - 1) continue;  // the last inner pass is never used
    const double s = t * e1 + 1;
    const double x = t / (s * s);
    if (std::exp(-x / (2 * mu * mu)) >= runif()) return x;
  }
  return std::numeric_limits<double>::quiet_NaN();
}

// Discrete draws

int Random::rmnom(const arma::Row<double>& p) {
  return static_cast<int>(rmnom(p.memptr(), p.n_elem));
}

arma::uword Random::rmnom(const double* p, arma::uword K) {
  if (K == 0) throw error_debug("rmnom(): no probabilities.");
  alias_.build(p, K);
  const arma::uword i = distribution::index_below(K, engine);
  return alias_.pick(i, runif());
}

/// A gamma mixture of Poisson counts: all rates first, then all counts.
arma::Col<double> Random::rnbin(const double& r, arma::Col<double> p) {
  if (!(r > 0)) throw numeric_error("rnbin(): the size must be positive");
  for (double& value : p) value = (1 - value) / value;
  for (double& value : p) value = distribution::gamma(r, value)(engine);
  for (double& value : p) {
    if (!(value >= 0 && value <= 2e9)) throw negative_binomial_failure();
    value = value == 0 ? 0.0 : distribution::poisson(value)(engine);
  }
  return p;
}

}  // namespace tovik
