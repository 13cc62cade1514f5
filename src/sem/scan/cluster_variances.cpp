#include "sem/scan/cluster_variances.hpp"

#include <algorithm>
#include <boost/math/special_functions/digamma.hpp>
#include <boost/math/special_functions/trigamma.hpp>
#include <cmath>

#include "random/log_gamma.hpp"
#include "support/error.hpp"

namespace tovik::sem::scan {

namespace {

/// log p(nu | ...) as the header has it.
struct shape_density {
  double J, log_s0, slope;  ///< slope: L - s0 W

  double value(double nu) const {
    return J * (nu * (std::log(nu) + log_s0) - log_gamma(nu)) + nu * slope - 2.0 * std::log(nu);
  }
  double first(double nu) const {
    return J * (std::log(nu) + log_s0 + 1.0 - boost::math::digamma(nu)) + slope - 2.0 / nu;
  }
  double second(double nu) const { return J * (1.0 / nu - boost::math::trigamma(nu)) + 2.0 / (nu * nu); }
};

/// A gamma density, up to its constant: exp((A - 1) log nu - B nu).
struct gamma_match {
  double A = 1.0, B = 1.0;

  double value(double nu) const { return (A - 1.0) * std::log(nu) - B * nu; }
};

/// The gamma whose logarithm has the derivatives of the density at its own mean.
gamma_match match(const shape_density& p, double nu) {
  constexpr int most_passes = 20;
  constexpr double close = 1e-8;
  gamma_match out{1.0, 1.0 / nu};
  for (int pass = 0; pass < most_passes; ++pass) {
    const double A = 1.0 - nu * nu * p.second(nu);
    const double B = (A - 1.0) / nu - p.first(nu);
    if (!(A > 0.0) || !(B > 0.0)) break;
    out = {A, B};
    const double next = A / B;
    const bool done = std::abs(next / nu - 1.0) < close;
    nu = next;
    if (done) break;
  }
  return out;
}

}  // namespace

cluster_variances::cluster_variances(arma::uword n_clusters, double start)
    : cluster_variances(n_clusters, start, n_clusters) {}

cluster_variances::cluster_variances(arma::uword n_clusters, double start, arma::uword n_telling)
    : v(n_clusters, arma::fill::value(start)), s0(start), n_telling_(n_telling) {}

void cluster_variances::draw(const arma::Col<double>& n, const arma::Col<double>& ss, Random& rng,
                             double floor) {
  if (n.n_elem != v.n_elem || ss.n_elem != v.n_elem)
    throw error_debug("Sums of squares are those of other clusters.");
  for (arma::uword c = 0; c < v.n_elem; ++c) v[c] = std::max(floor, propose(n[c], ss[c], rng));
  draw_common(rng);
}

double cluster_variances::propose(double n, double ss, Random& rng) const {
  const double nu = 1.0 / t;
  return 1.0 / rng.rgamma(0.5 * n + nu, 1.0 / (0.5 * ss + nu * s0));
}

void cluster_variances::draw_common(Random& rng) {
  const double nu = 1.0 / t;
  double W = 0.0, L = 0.0;
  for (double variance : v) {
    W += 1.0 / variance;
    L -= std::log(variance);
  }
  s0 = rng.rgamma(static_cast<double>(v.n_elem) * nu + 1.0, t / W);
  if (spread_moves()) draw_shape(W, L, rng);
}

void cluster_variances::draw_shape(double W, double L, Random& rng) {
  constexpr double largest = 1e6, least_spread = 1e-8;
  const double J = static_cast<double>(v.n_elem), nu = 1.0 / t;
  const shape_density p{J, std::log(s0), L - s0 * W};
  const double spread = std::max(least_spread, s0 * W / J - std::log(s0) - L / J - 1.0);
  const gamma_match q = match(p, (0.5 * J - 1.0) / (J * spread));
  const double next = rng.rgamma(q.A, 1.0 / q.B);
  const double u = rng.runif();
  if (!(next > 0.0) || next > largest) return;
  const double ratio = p.value(next) - p.value(nu) - q.value(next) + q.value(nu);
  if (u <= std::exp(std::min(0.0, ratio))) t = 1.0 / next;
}

}  // namespace tovik::sem::scan
