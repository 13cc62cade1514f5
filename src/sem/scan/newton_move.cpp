#include "sem/scan/newton_move.hpp"

#include <algorithm>
#include <cmath>

#include "sem/scan/small_cholesky.hpp"

namespace tovik::sem::scan {

bool newton_move::expansion::at(const std::vector<part>& parts, const double* eta, const terms& what,
                                const double* v) {
  const std::size_t q = what.mean.size();
  T.assign(what.precision.begin(), what.precision.end());
  h.assign(q, 0.0);
  value = 0.0;
  for (std::size_t j = 0; j < q; ++j)
    for (std::size_t i = 0; i < q; ++i) h[i] -= what.precision[i + j * q] * (v[j] - what.mean[j]);
  for (std::size_t j = 0; j < q; ++j) value += 0.5 * h[j] * (v[j] - what.mean[j]);
  for (const part& counts : parts) {
    add(counts, eta, q);
    eta += counts.n;
  }
  if (!std::isfinite(value) || !reverse_cholesky(T.data(), q)) return false;
  solve_upper(T.data(), q, h.data());
  log_det = log_determinant(T.data(), q);
  return std::all_of(h.begin(), h.end(), [](double x) { return std::isfinite(x); });
}

void newton_move::expansion::add(const part& counts, const double* eta, std::size_t q) {
  held_.clear();
  for (std::size_t j = 0; j < q; ++j)
    if (counts.columns[j] != nullptr) held_.push_back(j);
  for (arma::uword k = 0; k < counts.n; ++k) {
    value += counts.law->kernel(counts.y[k], eta[k]);
    const auto [score, curvature] = counts.law->at(counts.y[k], eta[k]);
    for (std::size_t b = 0; b < held_.size(); ++b) {
      const std::size_t j = held_[b];
      const double x = counts.columns[j][k], w = curvature * x;
      h[j] += score * x;
      for (std::size_t a = 0; a <= b; ++a) T[held_[a] + j * q] += w * counts.columns[held_[a]][k];
    }
  }
}

bool newton_move::is_within_bounds(const terms& what) const {
  for (std::size_t j = 0; j < what.lower.size(); ++j)
    if (!(values_[j] >= what.lower[j] && values_[j] <= what.upper[j])) return false;
  return true;
}

bool newton_move::move(const std::vector<part>& parts, terms& what, Random& rng) {
  const std::size_t q = what.mean.size();
  eta_.clear();
  for (const part& counts : parts) eta_.insert(eta_.end(), counts.eta, counts.eta + counts.n);
  if (!here_.at(parts, eta_.data(), what, what.value.data())) return false;
  z_.resize(q);
  rng.fill_randn(z_.data(), q);
  const double u = rng.runif();
  step_.resize(q);
  for (std::size_t j = 0; j < q; ++j) step_[j] = here_.h[j] + z_[j];
  solve_upper_transposed(here_.T.data(), q, step_.data());
  values_.resize(q);
  for (std::size_t j = 0; j < q; ++j) values_[j] = what.value[j] + step_[j];
  if (!is_within_bounds(what)) return false;
  double* at = eta_.data();
  for (const part& counts : parts) {
    for (std::size_t j = 0; j < q; ++j) {
      if (counts.columns[j] == nullptr) continue;
      for (arma::uword k = 0; k < counts.n; ++k) at[k] += step_[j] * counts.columns[j][k];
    }
    at += counts.n;
  }
  if (!there_.at(parts, eta_.data(), what, values_.data())) return false;
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
  const double* from = eta_.data();
  for (const part& counts : parts) {
    std::copy(from, from + counts.n, counts.eta);
    from += counts.n;
  }
  return true;
}

}  // namespace tovik::sem::scan
