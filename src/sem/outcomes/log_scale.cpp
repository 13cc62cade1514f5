#include "sem/outcomes/log_scale.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "sem/outcomes/design_check.hpp"
#include "sem/scan/blas.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

estimator::Outcome::shape shape_of_scale(const Estimator* estimator, const equation_setup& setup) {
  return {.estimator = estimator,
          .type = data::type::log_variance,
          .x = setup.x,
          .x_compute = setup.x_compute,
          .level = setup.level};
}

/// All coefficients but those that the setup holds.
arma::Col<arma::uword> drawn_of(const equation_setup& setup, arma::uword k) {
  std::vector<arma::uword> out;
  for (arma::uword j = 0; j < k; ++j)
    if (!arma::any(setup.fixed == j)) out.push_back(j);
  return arma::Col<arma::uword>(out);
}

}  // namespace

LogScale::LogScale(const Estimator* estimator_, const equation_setup& setup, std::vector<std::string> names)
    : Outcome(shape_of_scale(estimator_, setup)),
      value_node("LogScale"),
      cluster(setup.cluster),
      n_units(setup.cluster.own_rows.empty() ? 0 : setup.cluster.own_rows[0]->n_elem),
      betas_(n_coefficients(), 1, arma::fill::zeros),
      columns_(setup.x, setup.x_compute, setup.mutable_columns),
      prior_(setup.coefficients),
      has_intercept_(setup.has_intercept) {
  if (setup.fixed.n_elem != setup.fixed_values.n_elem || arma::any(setup.fixed >= betas_.n_elem) ||
      !prior_.fits(betas_.n_elem))
    throw error_debug("Fixed coefficients do not match the predictors.");
  if (n_units == 0) throw error_debug("The outcome has no units.");
  free = drawn_of(setup, betas_.n_elem);
  for (arma::uword j = 0; j < setup.fixed.n_elem; ++j) betas_(setup.fixed(j)) = setup.fixed_values(j);
  names.resize(betas_.n_elem);
  for (const std::string& name : names)
    tune_.emplace_back(1.0, estimator::tune_obj::kind_type::parameter,
                       name.empty() ? "log variance" : "log variance : " + name);
}

const Regression& LogScale::owner() const {
  if (owner_ == nullptr) throw error_debug("Cannot form variance link.");
  return *owner_;
}

const arma::Col<arma::uword>* LogScale::unit_rows() const {
  return level == 0 ? nullptr : cluster.own_rows[0];
}

arma::Mat<double> LogScale::Vmat(const arma::Mat<double>& data) const {
  arma::Mat<double> out(n_units, betas_.n_elem);
  for (arma::uword j = 0; j < out.n_cols; ++j)
    std::copy_n(columns_.at(j, data, unit_rows(), scratch_), n_units, out.colptr(j));
  return out;
}

arma::Col<double> LogScale::variances(const arma::Mat<double>& data) const {
  arma::Col<double> out(n_units);
  log_variances(data, nullptr, n_units, out.memptr());
  for (double& x : out) x = std::exp(std::max(x, trunc_point));
  return out;
}

void LogScale::log_variances(const arma::Mat<double>& data, const arma::uword* units, arma::uword n,
                             double* out) const {
  std::fill_n(out, n, 0.0);
  if (units == nullptr) {
    for (arma::uword j = 0; j < betas_.n_elem; ++j)
      scan::add_scaled(n_units, betas_(j), columns_.at(j, data, unit_rows(), scratch_), out);
    return;
  }
  const arma::Col<arma::uword> which(const_cast<arma::uword*>(units), n, false, true);
  for (arma::uword j = 0; j < betas_.n_elem; ++j) {
    if (const double* column = columns_.stored(j, data, unit_rows())) {
      for (arma::uword k = 0; k < n; ++k) out[k] += betas_(j) * column[units[k]];
      continue;
    }
    if (at_units_.size() < n) at_units_.resize(n);
    columns_.at_units(j, data, unit_rows(), which, at_units_.data());
    scan::add_scaled(n, betas_(j), at_units_.data(), out);
  }
}

void LogScale::_draw_log_scale(const arma::Col<double>& resid, const arma::Mat<double>& data) {
  _draw_log_scale(arma::Mat<double>(const_cast<double*>(resid.memptr()), resid.n_elem, 1, false, true), data);
}

void LogScale::_draw_log_scale(const arma::Mat<double>& resid, const arma::Mat<double>& data) {
  if (resid.n_rows != n_units) throw error_debug("Residuals do not match the units.");
  squares_.zeros(n_units);
  for (arma::uword j = 0; j < resid.n_cols; ++j) {
    const double* r = resid.colptr(j);
    for (arma::uword i = 0; i < n_units; ++i) squares_(i) += r[i] * r[i];
  }
  scan::log_variance_terms terms;
  terms.squares = squares_.memptr();
  terms.count = static_cast<double>(resid.n_cols);
  terms.information = 0.5 * terms.count;
  draw_given(terms, data);
}

void LogScale::draw_given(const scan::log_variance_terms& terms, const arma::Mat<double>& data) {
  if (free.is_empty()) return;
  columns_.refresh(data, unit_rows());
  if (!started_) start_proposals();
  step_.begin(columns_.values(), prior_, terms, trunc_point, betas_);
  step_.walk(free, tune_, *rng, betas_);
  if (!sampler_settings::leap_variances) return;
  bool proposed = false;
  joint_accepted += step_.leap(free, *rng, betas_, proposed) ? 1 : 0;
  joint_total += proposed ? 1 : 0;
}

void LogScale::begin_shear(const double* x, const arma::Mat<double>& data, scan::log_variance_shear& shear) {
  columns_.refresh(data, unit_rows());
  shear.begin(columns_.values(), betas_, free, prior_, trunc_point, x);
}

/// The posterior standard deviation of one coefficient given the others is about sqrt(2 / V_j'V_j).
void LogScale::start_proposals() {
  for (arma::uword j = 0; j < betas_.n_elem; ++j) {
    const double* v = columns_.values().colptr(j);
    const double square = scan::dot(n_units, v, v);
    tune_[j].value = square > 0.0 && std::isfinite(square) ? 2.0 * std::sqrt(2.0 / square) : 1.0;
  }
  started_ = true;
}

arma::Col<double> LogScale::logLiklihood(const arma::Mat<double>& data, const int& at) const {
  return owner().logLiklihood(data, at);
}

double LogScale::logLiklihood(const arma::Mat<double>& data) const {
  return owner().logLiklihood(data);
}

estimator::likelihood_function LogScale::likelihoodFunc(const likelihood_type& kind) const {
  return owner().likelihoodFunc(kind);
}

void LogScale::addStarts(const arma::Col<double>& v) {
  if (v.n_elem != betas_.n_elem) throw error_debug("Starting values do not match the parameters.");
  std::copy_n(v.memptr(), v.n_elem, betas_.memptr());
}

void LogScale::tune() {
  for (arma::uword j : free) tune_[j].tune();
}

estimator::tune_results LogScale::tuneResults() const {
  estimator::tune_results out;
  for (arma::uword j : free) out.push_back(tune_[j]);
  return out;
}

void LogScale::addProposals(std::vector<estimator::tune_obj*>& to) {
  for (arma::uword j : free) to.push_back(&tune_[j]);
}

arma::Mat<double> LogScale::betaCovB(const arma::Mat<double>& data, const unsigned& index) const {
  if (index >= betas_.n_elem) throw error_debug("The outcome has no such coefficient.");
  const double* v = columns_.at(index, data, unit_rows(), scratch_);
  return arma::Mat<double>{1.0 / (0.5 * scan::dot(n_units, v, v) + prior_.precision(index))};
}

double LogScale::coefficient_variance(arma::uword j) const {
  return 1.0 / prior_.precision(j);
}

std::shared_ptr<estimator::constraint> LogScale::constraint(const parameter_type& kind, const unsigned& index,
                                                            const unsigned& at_level) {
  if (kind != parameter_type::coefficient) return value_node::constraint(kind, index, at_level);
  if (index >= betas_.n_elem) throw error_debug("The outcome has no such coefficient.");
  const arma::Col<arma::uword> at = arma::find(free == index);
  if (!at.is_empty()) {
    free.shed_row(at(0));
    ++n_held_;
  }
  estimator::parameterT<double> parameter;
  parameter.value = betas_(index);
  parameter.level = level;
  parameter.links = {betas_.memptr() + index};
  auto out = std::make_shared<estimator::constraint>(rng, parameter, 1.0);
  const Regression* whose = &owner();
  out->likelihoods.emplace_back(
      whose->likelihoodFunc(likelihood_type::imputed).source(),
      [whose](const double&, const arma::Mat<double>& data) { return whose->logLiklihood(data); });
  return out;
}

void LogScale::check_design(const arma::Mat<double>& data, const equation_names& names) const {
  if (prior_.is_flat()) check_columns(columns_, data, unit_rows(), free, has_intercept_, names);
}

}  // namespace tovik::sem
