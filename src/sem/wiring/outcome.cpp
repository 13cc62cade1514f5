#include "sem/wiring/outcome.hpp"

#include <algorithm>
#include <limits>
#include <utility>

#include "sem/wiring/correlated_side.hpp"
#include "sem/wiring/estimator.hpp"
#include "support/error.hpp"

namespace tovik::sem::estimator {

namespace {
constexpr double not_drawn = std::numeric_limits<double>::quiet_NaN();
}

Outcome::Outcome(shape parts)
    : rng(parts.estimator->rng()),
      estimator(parts.estimator),
      slope_var(parts.n_levels, not_drawn),
      icept_var(parts.n_levels, not_drawn),
      total_var(not_drawn),
      coef_var(not_drawn),
      slope_total(not_drawn),
      icept_total(not_drawn),
      type(parts.type),
      y(std::move(parts.y)),
      x(std::move(parts.x)),
      x_compute(std::move(parts.x_compute)),
      z(std::move(parts.z)),
      z_compute(std::move(parts.z_compute)),
      phantoms(std::move(parts.phantoms)),
      n_levels(parts.n_levels),
      level(parts.level),
      missing(parts.missing) {
  if (z.empty()) z.resize(n_levels);
  if (z_compute.empty()) z_compute.resize(n_levels);
  if (z.size() != n_levels || z_compute.size() != n_levels)
    throw error_debug("The random effects do not match the levels.");
}

void Outcome::addLogLiklihood(const arma::Mat<double>& data, const int& at_level,
                              const arma::Col<arma::uword>& units, double* out) const {
  const arma::Col<double> all = logLiklihood(data, at_level);
  for (arma::uword k = 0; k < units.n_elem; ++k) out[k] += all(units(k));
}

arma::Col<double> Outcome::observed_logLiklihood(const arma::Mat<double>& data, const int& at_level) const {
  return logLiklihood(data, at_level);
}

arma::Col<double> Outcome::observed_marginal_logLiklihood(const arma::Mat<double>& data) const {
  return marginal_logLiklihood(data);
}

std::unique_ptr<correlated_side> Outcome::correlated(arma::uword) {
  throw error_debug("The model has no residual that can be correlated.");
}

std::vector<arma::Col<double>> Outcome::covariate_squares(const arma::Mat<double>&) const {
  return {};
}

void Outcome::publish_effects(arma::Mat<double>&) const {
  throw error_debug("The model publishes no random effects.");
}

void Outcome::accept_together(unsigned) {
  throw error_debug("The model publishes no random effects.");
}

namespace {

template <class Test>
bool any_computed(const Outcome& model, Test test) {
  if (std::any_of(model.x_compute.begin(), model.x_compute.end(), test)) return true;
  return std::any_of(model.z_compute.begin(), model.z_compute.end(), [&](const std::vector<compute>& level) {
    return std::any_of(level.begin(), level.end(), test);
  });
}

bool holds(const arma::Col<arma::uword>& columns, arma::uword column) {
  return std::find(columns.begin(), columns.end(), column) != columns.end();
}

}  // namespace

bool Outcome::reads(arma::uword column) const {
  if (holds(x, column)) return true;
  for (const auto* lists : {&z, &phantoms})
    for (const arma::Col<arma::uword>& columns : *lists)
      if (holds(columns, column)) return true;
  return any_computed(*this, [&](const compute& term) { return term.reads(column); });
}

bool Outcome::couples(arma::uword column) const {
  return any_computed(*this, [&](const compute& term) { return term.couples_rows() && term.reads(column); });
}

}  // namespace tovik::sem::estimator
