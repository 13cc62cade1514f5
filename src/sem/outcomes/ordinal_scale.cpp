// A common factor of thresholds, propensities and all that makes them.

#include <algorithm>
#include <cmath>

#include "random/random.hpp"
#include "sem/outcomes/ordinal.hpp"
#include "sem/scan/orbit_scale.hpp"
#include "sem/wiring/settings.hpp"

namespace tovik::sem {

/// Other equations that hold Y*, the effects, or what is correlated with either would have to move too.
bool Ordinal::can_rescale() const {
  if (!sampler_settings::scale_scores || scores_read_ || solver_ != nullptr || link != nullptr) return false;
  if (sampling() != nullptr) return false;
  for (unsigned place = 0; place <= n_levels; ++place)
    if (!part(place).empty()) return false;
  return std::all_of(re_indicators.begin(), re_indicators.end(),
                     [](const auto& columns) { return columns.is_empty(); });
}

/// What coefficients that are not drawn here add to the predictor; empty for nothing.
void Ordinal::read_held_part() {
  const auto& terms = equation().terms();
  held_.reset();
  for (arma::uword j : fixed) {
    if (betas_(j) == 0.0) continue;
    if (held_.is_empty()) held_.zeros(n_units);
    const double* x = terms.terms.x.values().colptr(j);
    for (arma::uword i = 0; i < n_units; ++i) held_(i) += betas_(j) * x[i];
  }
}

/// With Y*, the coefficients drawn here, the effects u and the thresholds multiplied by g, and each Sigma by
/// g^2, the density of u times its Jacobian stays, Sigma's brings q (q + 1), and its prior with nu degrees of
/// freedom and scale S takes q (nu + q + 1) and is multiplied by exp(-tr(S Sigma^-1) / (2 g^2)).
scan::orbit_scale Ordinal::scale_density() const {
  scan::orbit_scale out;
  const arma::Col<double>& r = equation().r();
  out.dimension = static_cast<double>(n_units + tau().n_elem - 1 + free.n_elem);
  const scan::row_scale v = variances();
  for (arma::uword i = 0; i < n_units; ++i) {
    const double held = held_.is_empty() ? 0.0 : held_(i), a = r(i) + held,
                 w = v.is_one() ? 1.0 : v.precision(i);
    out.square += w * a * a;
    out.linear += w * a * held;
  }
  const scan::coefficient_prior& prior = equation().terms().prior;
  for (arma::uword j : free) {
    out.square += prior.precision(j) * betas_(j) * betas_(j);
    out.linear += prior.precision(j) * prior.mean(j) * betas_(j);
  }
  for (unsigned L = 0; L < n_levels; ++L) {
    const double q = static_cast<double>(n_random(L));
    if (raneff_prior == 3) continue;
    out.dimension -= q * (raneff_prior == 1 ? q + 1.0 : -q - 1.0);
    for (arma::uword j = 0; raneff_prior == 1 && j < n_random(L); ++j)
      out.inverse += effect_unit(L, j) * iSigma[L](j, j);
  }
  return out;
}

void Ordinal::draw_own(const arma::Mat<double>&) {
  if (!can_rescale()) return;
  read_held_part();
  const double g = scale_density().draw(*rng);
  if (g == 1.0) return;
  propensity.values *= g;
  propensity.cuts.tau *= g;
  for (arma::uword j : free) betas_(j) *= g;
  for (unsigned L = 0; L < n_levels; ++L) {
    u[L] *= g;
    Sigma[L] *= g * g;
    iSigma[L] /= g * g;
  }
  equation().rescale(g, held_.is_empty() ? nullptr : held_.memptr());
}

}  // namespace tovik::sem
