// The residuals of a block: what each member sees of the others, and the joint density.

#include <algorithm>
#include <cmath>

#include "random/constants.hpp"
#include "sem/outcomes/multi.hpp"
#include "sem/scan/blas.hpp"
#include "support/error.hpp"

namespace tovik::sem {

void Multi::forget_residuals() {
  std::fill(is_current_.begin(), is_current_.end(), false);
}

void Multi::keep_residual(const Regression& member, const arma::Col<double>& r, const arma::Col<double>& c) {
  arma::uword const k = position_of(member);
  for (arma::uword i = 0; i < n_units_; ++i) residuals_(i, k) = r(i) + c(i);
  is_current_[k] = member.residual_is_own() && member.has_one_variance();
}

// Of a member that nothing but its own draw moves the residuals of that draw serve; those of others are
// computed at the data, for an equation that was drawn since may have written what they read.
void Multi::refresh_residual(const arma::Mat<double>& data, arma::uword k) {
  if (is_current_[k]) {
    if (Regression::check_residuals) check_kept(data, k);
    return;
  }
  members_[k]->residual_into(data, residuals_.colptr(k));
  standardize(data, k, nullptr, n_units_, residuals_.colptr(k));
  is_current_[k] = members_[k]->residual_is_own() && members_[k]->has_one_variance();
}

const arma::Mat<double>& Multi::residuals(const arma::Mat<double>& data) {
  for (arma::uword k = 0; k < size(); ++k) refresh_residual(data, k);
  return residuals_;
}

void Multi::check_kept(const arma::Mat<double>& data, arma::uword k) {
  column_.resize(n_units_);
  members_[k]->residual_into(data, column_.data());
  const double size = std::sqrt(Sigma_(k, k));
  for (arma::uword i = 0; i < n_units_; ++i)
    if (std::fabs(column_[i] - residuals_(i, k)) > 1e-6 * (size + std::fabs(column_[i])))
      throw error_debug("The residual that a block keeps is not that of the data.");
}

void Multi::given_others(const Regression& member, const arma::Mat<double>& data, arma::Col<double>& c) {
  arma::uword const j = position_of(member);
  c.zeros(n_units_);
  for (arma::uword k = 0; k < size(); ++k) {
    if (k == j) continue;
    refresh_residual(data, k);
    const double weight = -Omega_(j, k) / Omega_(j, j);
    if (weight != 0.0) scan::add_scaled(n_units_, weight, residuals_.colptr(k), c.memptr());
  }
  restore_units(data, j, c.memptr());
}

/// out[i] := log density of the i-th of `n` units, whose residuals stand in at_, a column for each member:
/// e'Omega e = |T'e|^2.
void Multi::add_densities(arma::uword n, double* out) const {
  arma::uword const p = size();
  const double each = -0.5 * (static_cast<double>(p) * log_2_pi + log_det_);
  std::fill_n(out, n, each);
  column_.resize(n);
  for (arma::uword k = 0; k < p; ++k) {
    std::fill_n(column_.data(), n, 0.0);
    for (arma::uword i = 0; i <= k; ++i)
      scan::add_scaled(n, factor_(i, k), at_.data() + i * n, column_.data());
    for (arma::uword i = 0; i < n; ++i) out[i] -= 0.5 * column_[i] * column_[i];
  }
}

void Multi::unit_densities(const arma::Mat<double>& data, double* out) const {
  at_.resize(n_units_ * size());
  for (arma::uword k = 0; k < size(); ++k) {
    members_[k]->residual_into(data, at_.data() + k * n_units_);
    standardize(data, k, nullptr, n_units_, at_.data() + k * n_units_);
  }
  add_densities(n_units_, out);
  subtract_units(data, nullptr, n_units_, out);
}

void Multi::densities_at(const arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                         double* out) const {
  arma::uword const n = units.n_elem;
  at_.resize(n * size());
  for (arma::uword k = 0; k < size(); ++k) {
    members_[k]->residual_at(data, units, at_.data() + k * n);
    standardize(data, k, units.memptr(), n, at_.data() + k * n);
  }
  add_densities(n, out);
  subtract_units(data, units.memptr(), n, out);
}

}  // namespace tovik::sem
