// The draw of two variances and their correlation in one.

#include <cmath>

#include "random/random.hpp"
#include "sem/phantoms/phantom.hpp"
#include "sem/phantoms/phantom_group.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

/// A 2 x 2 covariance matrix.
struct pair_covariance {
  double a, b, c;  ///< variances and covariance

  double det() const { return a * b - c * c; }
  /// log density, up to a constant, of an inverse Wishart with scale S and df degrees of freedom, as one of
  /// the two variances and the correlation: dc = sqrt(a b) drho.
  double log_density(const pair_covariance& S, double df) const {
    const double trace = (b * S.a - 2.0 * c * S.c + a * S.b) / det();
    return -0.5 * (df + 3.0) * std::log(det()) - 0.5 * trace + 0.5 * std::log(a * b);
  }
};

/// With S = U U', U upper triangular, and A lower triangular by Bartlett's decomposition, U inv(A A') U' is
/// inverse Wishart.
pair_covariance draw_inverse_wishart(const pair_covariance& S, double df, Random& rng) {
  const double u22 = std::sqrt(S.b), u12 = S.c / u22, u11 = std::sqrt(S.a - u12 * u12);
  const double a11 = std::sqrt(rng.rgamma(0.5 * df, 2.0));
  const double a21 = rng.rnorm();
  const double a22 = std::sqrt(rng.rgamma(0.5 * (df - 1.0), 2.0));
  const double g11 = 1.0 / a11, g21 = -a21 / (a11 * a22), g22 = 1.0 / a22;
  const double m11 = g11 * g11 + g21 * g21, m12 = g21 * g22, m22 = g22 * g22;
  return {u11 * u11 * m11 + 2.0 * u11 * u12 * m12 + u12 * u12 * m22, u22 * u22 * m22,
          u22 * (u11 * m12 + u12 * m22)};
}

}  // namespace

arma::uword phantom_block::value_of(const correlated_side& side) const {
  for (const member& m : members_)
    if (m.side->source() == side.source()) return m.first + side.part().loadings.terms()[side.term()].effect;
  throw error_debug("The side of a correlation is in another block.");
}

// With the number of units for degrees of freedom the proposal differs from the target of two residuals only
// by the priors.
void phantom_block::draw_pair(Random& rng, Phantom& phantom) {
  correlated_side& first = *phantom.sides().front();
  correlated_side& second = *phantom.sides().back();
  if (given_scores_ || !phantom.stands_alone() || !first.variance_moves() || !second.variance_moves()) return;
  arma::uword const i = value_of(first), j = value_of(second);
  const arma::Mat<double>& squares = products_.squares();
  const pair_covariance S = {squares(i, i), squares(j, j), squares(i, j)};
  if (n_units_ < 3 || !(S.det() > 1e-12 * S.a * S.b)) return;
  const double df = static_cast<double>(n_units_);
  auto excess = [&](double rho) {
    double const a = first.variance(), b = second.variance();
    pair_covariance const V = {a, b, rho * std::sqrt(a * b)};
    double const prior = phantom.rho.log_prior(rho) + first.log_prior() + second.log_prior();
    return log_density() + prior - V.log_density(S, df);
  };
  const double old = phantom.rho.value;
  const double before = excess(old);
  first.keep();
  second.keep();
  const pair_covariance V = draw_inverse_wishart(S, df, rng);
  first.set_variance(V.a);
  second.set_variance(V.b);
  const double candidate = V.c / std::sqrt(V.a * V.b);
  phantom.rho.write(candidate);
  if (std::log(rng.runif()) <= excess(candidate) - before) return;
  first.restore();
  second.restore();
  phantom.rho.write(old);
}

}  // namespace tovik::sem
