// The Polya-Gamma draws.

#include "random/polya_gamma.hpp"

#include <cmath>
#include <limits>

namespace tovik {

namespace {

constexpr double pg_pi = 3.141592653589793;
constexpr double pg_t = 0.6366197723675814;          ///< 2 / pi: where one series takes over from the other
constexpr double half_root_pi = 0.8862269254527580;  ///< sqrt(pi / 2) / sqrt(2)
constexpr double always_accepted = 0.9943;           ///< below 1 - 3 exp(-2 pi)

/// The share of the right, exponential proposal in the mass of both, with Z = |z| / 2 and the rate K of the
/// exponential. The left one is an inverse Gaussian below t, whose distribution function is the two terms
/// with Phi. Of these the second is lost beside the first long before its Phi underflows; with a large Z the
/// first grows beyond all bounds, and nothing is left to the right.
double right_share(double Z, double K) {
  const double first = 0.5 * (std::erf((Z * pg_t - 1.0) * half_root_pi) + 1.0) * K * std::exp(K * pg_t - Z);
  const double tail = std::erf(-(Z * pg_t + 1.0) * half_root_pi) + 1.0;
  const double second = tail > 0.0 ? 0.5 * tail * K * std::exp(K * pg_t + Z) : 0.0;
  return 1.0 / (1.0 + (4.0 / pg_pi) * (first + second));
}

/// Whether X is accepted by the uniform v. The density of X is an alternating series a_0 - a_1 + a_2 - ...,
/// its terms those of one expansion up to t and of another above, and the proposal is a_0: partial sums
/// enclose the density from both sides, until v a_0 is seen to lie below or above it. The terms are taken
/// relative to a_0, which underflows where X is small,
///
///   a_n / a_0 = (2n + 1) exp(-2n (n + 1) / X),   X <= t,
///   a_n / a_0 = (2n + 1) exp(-n (n + 1) pi^2 X / 2),   X > t.
///
/// The first of them is at most 3 exp(-2 pi), its value at t.
bool is_below_density(double X, double v, std::uint32_t most_terms) {
  if (v < always_accepted && most_terms > 0) return true;
  const double c = X <= pg_t ? -2.0 / X : -0.5 * pg_pi * pg_pi * X;
  double S = 1.0;
  for (std::uint32_t n = 1; n <= most_terms; ++n) {
    const double k = n;
    const double term = (2.0 * k + 1.0) * std::exp(c * k * (k + 1.0));
    if (n % 2 == 1) {
      S -= term;
      if (v < S) return true;
    } else {
      S += term;
      if (S < v) return false;
    }
  }
  return false;
}

}  // namespace

double Random::rpg(double z) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  if (!std::isfinite(z)) return nan;
  const std::uint32_t limit = pg_max_niter;
  const double Z = 0.5 * std::fabs(z);
  const double K = 0.5 * Z * Z + pg_pi * pg_pi / 8.0;
  const double p = right_share(Z, K);
  for (std::uint32_t pass = 0; pass < limit; ++pass) {
    const double u = runif();
    const double v = runif();
    const double X = p <= u ? rtignorm(1.0 / Z, pg_t) : pg_t - std::log(1.0 - runif()) / K;
    if (!std::isnan(X) && is_below_density(X, v, limit)) return 0.25 * X;
  }
  return nan;
}

// w = 2 sum over k of g_k / (d_k + z^2) with independent g_k ~ Gamma(b, 1) and d_k = 4 pi^2 (k + 1/2)^2. The
// terms behind the last fall as 1 / k^2, so that their sum tells: a fraction 1e-3 of the mean is there after
// 200. Their variance falls as 1 / k^3 and does not.
double rpg(Random& rng, double b, double z) {
  if (!(b > 0.0) || !std::isfinite(b) || !std::isfinite(z)) return std::numeric_limits<double>::quiet_NaN();
  distribution::gamma term(b, 1.0);
  const double square = z * z, size = std::fabs(z);
  double drawn = 0.0, means = 0.0;
  for (double d : Random::pg_vec) {
    const double weight = 1.0 / (d + square);
    drawn += weight * term(rng.engine);
    means += weight;
  }
  const double mean = size < 1e-4 ? 0.25 - square / 48.0 : std::tanh(0.5 * size) / (2.0 * size);
  return 2.0 * drawn + b * (mean - 2.0 * means);
}

}  // namespace tovik
