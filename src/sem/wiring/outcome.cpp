#include "sem/wiring/outcome.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "sem/wiring/estimator.hpp"
#include "sem/wiring/correlated_side.hpp"
#include "support/error.hpp"

namespace tovik::sem::estimator {

namespace {
constexpr double not_drawn = std::numeric_limits<double>::quiet_NaN();
}

Outcome::Outcome(Estimator const* estimator_, data::type const& type_, arma::Col<arma::uword> y_,
                 arma::Col<arma::uword> x_, std::vector<compute> x_compute_,
                 std::vector<arma::Col<arma::uword>> z_, std::vector<std::vector<compute>> z_compute_,
                 std::vector<arma::Col<arma::uword>> phantoms_, unsigned const& n_levels_,
                 unsigned const& level_, bool const& missing_)
    : rng(estimator_->rng()),
      estimator(estimator_),
      slope_var(n_levels_, not_drawn),
      icept_var(n_levels_, not_drawn),
      total_var(not_drawn),
      coef_var(not_drawn),
      slope_total(not_drawn),
      icept_total(not_drawn),
      type(type_),
      y(std::move(y_)),
      x(std::move(x_)),
      x_compute(std::move(x_compute_)),
      z(std::move(z_)),
      z_compute(std::move(z_compute_)),
      phantoms(std::move(phantoms_)),
      n_levels(n_levels_),
      level(level_),
      missing(missing_),
      n_params_(0) {
  if (z.empty()) z.resize(n_levels);
  if (z_compute.empty()) z_compute.resize(n_levels);
  if (z.size() != n_levels || z_compute.size() != n_levels)
    throw error_debug("The random effects do not match the levels.");
  n_params_ = n_coefficients() + 1;
  for (unsigned L = 0; L < n_levels; ++L) n_params_ += n_random(L) * (n_random(L) + 1) / 2;
}

void Outcome::addLogLiklihood(arma::Mat<double> const& data, int const& at_level,
                              arma::Col<arma::uword> const& units, double* out) const {
  arma::Col<double> const all = logLiklihood(data, at_level);
  for (arma::uword k = 0; k < units.n_elem; ++k) out[k] += all(units(k));
}

std::unique_ptr<correlated_side> Outcome::correlated(arma::uword) {
  throw error_debug("The model has no residual that can be correlated.");
}

namespace {

template <class Test>
bool any_computed(Outcome const& model, Test test) {
  if (std::any_of(model.x_compute.begin(), model.x_compute.end(), test)) return true;
  return std::any_of(model.z_compute.begin(), model.z_compute.end(), [&](std::vector<compute> const& level) {
    return std::any_of(level.begin(), level.end(), test);
  });
}

bool holds(arma::Col<arma::uword> const& columns, arma::uword column) {
  return std::find(columns.begin(), columns.end(), column) != columns.end();
}

}  // namespace

bool Outcome::reads(arma::uword column) const {
  if (holds(x, column)) return true;
  for (auto const* lists : {&z, &phantoms})
    for (arma::Col<arma::uword> const& columns : *lists)
      if (holds(columns, column)) return true;
  return any_computed(*this, [&](compute const& term) { return term.reads(column); });
}

bool Outcome::couples(arma::uword column) const {
  return any_computed(*this, [&](compute const& term) { return term.couples_rows() && term.reads(column); });
}

}  // namespace tovik::sem::estimator
