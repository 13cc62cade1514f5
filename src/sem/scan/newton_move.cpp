#include "sem/scan/newton_move.hpp"

#include <algorithm>
#include <cmath>

#include "sem/scan/small_cholesky.hpp"

namespace tovik::sem::scan {

bool newton_move::expansion::at(const negative_binomial& law, const double* y, const double* eta,
                                arma::uword first, arma::uword n, const terms& what, const double* v) {
  const std::size_t q = what.columns.size();
  T.assign(what.precision.begin(), what.precision.end());
  h.assign(q, 0.0);
  value = 0.0;
  for (std::size_t j = 0; j < q; ++j)
    for (std::size_t i = 0; i < q; ++i) h[i] -= what.precision[i + j * q] * (v[j] - what.mean[j]);
  for (std::size_t j = 0; j < q; ++j) value += 0.5 * h[j] * (v[j] - what.mean[j]);
  for (arma::uword k = 0; k < n; ++k) {
    value += law.kernel(y[k], eta[k]);
    const auto [score, curvature] = law.at(y[k], eta[k]);
    for (std::size_t j = 0; j < q; ++j) {
      const double a = what.columns[j][first + k], w = curvature * a;
      h[j] += score * a;
      for (std::size_t i = 0; i <= j; ++i) T[i + j * q] += w * what.columns[i][first + k];
    }
  }
  if (!std::isfinite(value) || !reverse_cholesky(T.data(), q)) return false;
  solve_upper(T.data(), q, h.data());
  log_det = log_determinant(T.data(), q);
  return std::all_of(h.begin(), h.end(), [](double x) { return std::isfinite(x); });
}

bool newton_move::move(const negative_binomial& law, const arma::Col<double>& y, arma::uword first,
                       arma::uword n, terms& what, arma::Col<double>& eta, Random& rng) {
  const std::size_t q = what.columns.size();
  const double* counts = y.memptr() + first;
  if (!here_.at(law, counts, eta.memptr() + first, first, n, what, what.value.data())) return false;
  z_.resize(q);
  rng.fill_randn(z_.data(), q);
  const double u = rng.runif();
  step_.resize(q);
  for (std::size_t j = 0; j < q; ++j) step_[j] = here_.h[j] + z_[j];
  solve_upper_transposed(here_.T.data(), q, step_.data());
  values_.resize(q);
  eta_.assign(eta.memptr() + first, eta.memptr() + first + n);
  for (std::size_t j = 0; j < q; ++j) {
    values_[j] = what.value[j] + step_[j];
    for (arma::uword k = 0; k < n; ++k) eta_[k] += step_[j] * what.columns[j][first + k];
  }
  if (!there_.at(law, counts, eta_.data(), first, n, what, values_.data())) return false;
  // The way back takes the step -s from v', of which T'(-s) - inv(T) g are standard normals: their sign does
  // not matter.
  double change = there_.value - here_.value + 0.5 * (there_.log_det - here_.log_det);
  for (std::size_t j = 0; j < q; ++j) {
    double back = there_.h[j];
    for (std::size_t i = 0; i <= j; ++i) back += there_.T[i + j * q] * step_[i];
    change += 0.5 * (z_[j] * z_[j] - back * back);
  }
  if (!(std::log(u) <= change)) return false;
  what.value = values_;
  std::copy(eta_.begin(), eta_.end(), eta.memptr() + first);
  return true;
}

}  // namespace tovik::sem::scan
