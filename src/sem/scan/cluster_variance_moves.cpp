// Moves of the variances of all clusters with the parameters that they share, along orbits of which the
// density is one of a single number.

#include <cmath>
#include <limits>

#include "random/log_gamma.hpp"
#include "sem/scan/cluster_variances.hpp"
#include "sem/scan/slice_step.hpp"

namespace tovik::sem::scan {

namespace {

constexpr double smallest_t = 1e-6;  ///< as the draw of t has it

}  // namespace

// With g = e^l the density of (v, s0) is that of the values times g^-J, the Jacobian g^(J + 1), and dg / g is
// dl: e^l times the density of the values is left.
void cluster_variances::rescale(const sums& of, Random& rng) {
  double n = 0.0, square = 0.0, product = 0.0;
  for (arma::uword c = 0; c < v.n_elem; ++c) {
    n += of.n[c];
    square += of.square[c] / v[c];
    product += of.product[c] / std::sqrt(v[c]);
  }
  const auto log_density = [&](double l) {
    return (1.0 - 0.5 * n) * l - 0.5 * square * std::exp(-l) + product * std::exp(-0.5 * l);
  };
  if (!std::isfinite(log_density(0.0))) return;
  const double width = 3.0 * std::sqrt(2.0 / n);
  const double l = slice_step(0.0, -std::numeric_limits<double>::infinity(), width, log_density, rng);
  v *= std::exp(l);
  s0 *= std::exp(l);
}

// In d_c = log(v_c / s0) and log t, of which t is the density of a flat prior:
//
//   sum_c log f(d_c; nu) = J (nu log nu - lgamma(nu)) - nu sum_c (d_c + exp(-d_c)),
//
// and the Jacobian of d_c g is g^J.
void cluster_variances::respread(const sums& of, Random& rng) {
  if (!spread_moves()) return;
  const double J = static_cast<double>(v.n_elem), root = std::sqrt(s0);
  const auto log_density = [&](double l) {
    const double g = std::exp(l), nu = 1.0 / (t * g * g);
    double prior = 0.0, values = 0.0;
    for (arma::uword c = 0; c < v.n_elem; ++c) {
      const double d = g * std::log(v[c] / s0), h = std::exp(-0.5 * d);
      prior += d + h * h;
      values += of.product[c] * h / root - 0.5 * (of.n[c] * d + of.square[c] * h * h / s0);
    }
    return (J + 2.0) * l + J * (nu * std::log(nu) - log_gamma(nu)) - nu * prior + values;
  };
  if (!(t > smallest_t) || !std::isfinite(log_density(0.0))) return;
  const double lowest = 0.5 * std::log(smallest_t / t);
  const double g = std::exp(slice_step(0.0, lowest, 0.5, log_density, rng));
  for (double& variance : v) variance = s0 * std::exp(g * std::log(variance / s0));
  t *= g * g;
}

}  // namespace tovik::sem::scan
