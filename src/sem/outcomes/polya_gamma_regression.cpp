#include "sem/outcomes/polya_gamma_regression.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "random/random.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

constexpr double mean_weight_at_zero = 0.25;

estimator::tune_obj never_tuned() {
  estimator::tune_obj out(1.0, estimator::tune_obj::kind_type::logistic_imputation);
  out.target = out.upper = out.lower = arma::datum::nan;
  return out;
}

}  // namespace

polya_gamma_regression::polya_gamma_regression(const Estimator* estimator_, const data::type& type_,
                                               const equation_setup& setup)
    : Outcome(parts_of(estimator_, type_, setup)),
      Regression(estimator_, type_, setup),
      omega(n_units, arma::fill::value(mean_weight_at_zero)),
      unit_values(n_units, arma::fill::zeros),
      impute_tune(never_tuned()),
      scale_(setup.y, setup.level, setup.cluster),
      imputed_(setup.missing_units, setup.level, scale_, source()),
      psi_(n_units, arma::fill::zeros),
      response_(n_units, arma::fill::zeros),
      imputed_response_(setup.missing_units.n_elem) {
  imputed_.set_refresh([this](arma::Mat<double>& data) { refresh_followers(data); });
}

void polya_gamma_regression::draw(arma::Mat<double>& data) {
  lost_ = !draw_weights(data);
  if (lost_)
    fail();
  else
    Regression::draw(data);
}

bool polya_gamma_regression::make_ready(arma::Mat<double>& data) {
  return draw_weights(data);
}

// False when a predictor or a working response is not finite. All units draw all the same.
bool polya_gamma_regression::draw_weights(const arma::Mat<double>& data) {
  settle();
  predictor(data, psi_);
  bool finite = true;
  for (arma::uword i = 0; i < n_units; ++i) {
    psi_(i) -= offset(i);
    unit_values(i) = scale_.at(data, i);
    omega(i) = draw_weight(*rng, unit_values(i), psi_(i));
    response_(i) = working(i, unit_values(i));
    finite = finite && std::isfinite(response_(i));
  }
  return finite;
}

void polya_gamma_regression::copy_response(const arma::Mat<double>& data, double* out) const {
  for (arma::uword i = 0; i < n_units; ++i) out[i] = working(i, scale_.at(data, i));
}

void polya_gamma_regression::draw_values(arma::Mat<double>& data) {
  if (!missing) return;
  const arma::Col<arma::uword>& units = imputed_.units();
  draw_candidates(data, units, imputed_.candidates());
  imputed_.draw(*rng, impute_tune, data);
  for (arma::uword k = 0; k < units.n_elem; ++k) {
    const double y_k = scale_.at(data, units(k));
    unit_values(units(k)) = y_k;
    imputed_response_[k] = working(units(k), y_k);
  }
  equation().replace_values(units, imputed_response_.data());
}

void polya_gamma_regression::unit_log_density(const arma::Mat<double>& data, const arma::uword* units,
                                              arma::uword n, const double* mu, double* out) const {
  for (arma::uword k = 0; k < n; ++k) {
    arma::uword const i = units == nullptr ? k : units[k];
    const double y_i = scale_.at(data, i);
    if (weights_given_) {
      const double psi = mu[k] - offset(i);
      out[k] = (kappa(y_i) - 0.5 * omega(i) * psi) * psi;
    } else {
      out[k] = log_density(i, y_i, mu[k]);
    }
  }
}

arma::uword polya_gamma_regression::n_telling(const arma::Mat<double>& data, unsigned L) const {
  std::vector<place> of_units(n_units);
  for (arma::uword i = 0; i < n_units; ++i) of_units[i] = place_of(scale_.at(data, i));
  for (arma::uword i : missing_rows) of_units[i] = place::unknown;
  return n_mixed(L, of_units);
}

void polya_gamma_regression::coefficient_rows(std::vector<double>& out) const {
  for (double b : betas_) out.push_back(std::exp(b));
}

void polya_gamma_regression::set_value_list(std::unique_ptr<estimator::likelihood> list) {
  imputed_.set_list(std::move(list));
}

estimator::tune_results polya_gamma_regression::tuneResults() const {
  estimator::tune_results results{impute_tune};
  estimator::tune_results const effects = Regression::tuneResults();
  results.insert(results.end(), effects.begin(), effects.end());
  return results;
}

bool polya_gamma_regression::has_effects() const {
  return std::any_of(u.begin(), u.end(), [](const arma::Mat<double>& effects) { return effects.n_cols > 0; });
}

arma::Col<double> polya_gamma_regression::marginal_logLiklihood(const arma::Mat<double>& data) const {
  const int top = static_cast<int>(level + n_levels);
  if (!has_effects()) return logLiklihood(data, top);
  return arma::Col<double>(cluster.n_clusters(static_cast<int>(n_levels) - 1),
                           arma::fill::value(arma::datum::nan));
}

arma::Col<double> polya_gamma_regression::observed_marginal_logLiklihood(
    const arma::Mat<double>& data) const {
  if (has_effects()) return marginal_logLiklihood(data);
  return observed_logLiklihood(data, static_cast<int>(level + n_levels));
}

void polya_gamma_regression::refreshShares(const arma::Mat<double>& data) {
  if (!lost_) Regression::refreshShares(data);
}

arma::Mat<double> polya_gamma_regression::compute_residual(const arma::Mat<double>& data) const {
  arma::Mat<double> r = Regression::compute_residual(data);
  for (arma::uword i = 0; i < n_units; ++i) r(i) *= std::sqrt(omega(i));
  return r;
}

arma::Mat<double> polya_gamma_regression::residual(const arma::Mat<double>& data) const {
  return at_rows(compute_residual(data));
}

arma::Mat<double> polya_gamma_regression::predicted(const arma::Mat<double>& data) const {
  return at_rows(compute_predicted(data));
}

arma::Mat<double> polya_gamma_regression::compute_predicted(const arma::Mat<double>& data) const {
  arma::Col<double> eta;
  predictor(data, eta);
  for (double& value : eta) value = mean(value);
  return eta;
}

void polya_gamma_regression::addTransform(const evaluate::pair& pair) {
  scale_.set(pair);
}

void polya_gamma_regression::addDist(const std::shared_ptr<autosolver::solver<autosolver::normal>>&,
                                     const distribution_type&) {
  throw error_debug("ERROR: Cannot add distribution for " + std::string(class_name()) + " variables.");
}

void polya_gamma_regression::addMulti(const std::shared_ptr<Multi>&) {
  throw error_debug("ERROR: Cannot Set multivariate link in " + std::string(class_name()) + " variables.");
}

}  // namespace tovik::sem
