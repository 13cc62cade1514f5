// A regression in a block of outcomes with correlated residuals: what it takes from the block, what it leaves
// there.

#include <algorithm>

#include "sem/outcomes/multi.hpp"
#include "sem/outcomes/regression.hpp"
#include "support/error.hpp"

namespace tovik::sem {

// The part of the residual that the others explain is taken out of it in every scan.
void Regression::addMulti(const std::shared_ptr<Multi>& block) {
  if (!is_normal()) throw error_debug("The residual of the outcome cannot be in a block.");
  link = block;
  variance_given_others_ = residual_variance();
  scan_->keep_rows();
}

void Regression::take_variances(double whole, double given_others) {
  if (has_units()) set_residual_variance(whole);
  variance_given_others_ = given_others;
}

bool Regression::residual_is_own() const {
  const auto& design = scan_->terms().terms;
  return driven_.empty() && design.x.all_static() && (missing || missing_rows.is_empty()) &&
         std::all_of(design.z.begin(), design.z.end(),
                     [](const scan::columns& level) { return level.all_static(); });
}

const arma::Col<double>* Regression::read_others(const arma::Mat<double>& data) {
  if (link == nullptr) return nullptr;
  link->given_others(*this, data, given_others_);
  return &given_others_;
}

void Regression::leave_residual() {
  if (link != nullptr) link->keep_residual(*this, scan_->r(), given_others_);
}

void Regression::residual_into(const arma::Mat<double>& data, double* out) const {
  arma::Col<double> r(out, n_units, false, true);
  copy_response(data, out);
  add_predictor(data, -1.0, r);
}

void Regression::residual_at(const arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                             double* out) const {
  arma::Col<double>& mu = residual_at_;
  mu.set_size(units.n_elem);
  predictor_at(data, units, mu.memptr());
  response_at(data, units, out);
  for (arma::uword k = 0; k < units.n_elem; ++k) out[k] -= mu(k);
}

/// Log density of every unit: that of its block, if it is in one.
void Regression::densities(const arma::Mat<double>& data, arma::Col<double>& out) const {
  if (link != nullptr) {
    out.set_size(n_units);
    link->unit_densities(data, out.memptr());
    return;
  }
  predictor(data, out);
  unit_log_density(data, nullptr, out.n_elem, out.memptr(), out.memptr());
}

}  // namespace tovik::sem
