#include "sem/outcomes/logistic.hpp"

#include <algorithm>
#include <cmath>
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

Logistic::Logistic(const Estimator* estimator_, const equation_setup& setup)
    : Outcome(parts_of(estimator_, data::type::ordinal, setup)),
      Regression(estimator_, data::type::ordinal, setup),
      omega(n_units, arma::fill::value(mean_weight_at_zero)),
      binary_values(n_units, arma::fill::zeros),
      impute_tune(never_tuned()),
      scale_(setup.y, setup.level, setup.cluster),
      imputed_(setup.missing_units, setup.level, scale_, source()),
      psi_(n_units, arma::fill::zeros),
      response_(n_units, arma::fill::zeros),
      imputed_response_(setup.missing_units.n_elem) {
  imputed_.set_refresh([this](arma::Mat<double>& data) { refresh_followers(data); });
  refresh_phantoms(0);
}

void Logistic::set_offset(const arma::Col<double>* offset) {
  if (offset == nullptr) {
    offset_.reset();
    return;
  }
  if (offset->n_elem != n_units) throw error_debug("The offset does not match the units.");
  offset_.set_size(n_units);
  std::copy_n(offset->memptr(), n_units, offset_.memptr());
}

void Logistic::draw(arma::Mat<double>& data, const arma::Col<double>* offset) {
  set_offset(offset);
  lost_ = !draw_weights(data);
  if (lost_)
    lose_state();
  else
    Regression::draw(data);
}

bool Logistic::make_ready(arma::Mat<double>& data) {
  set_offset(nullptr);
  return draw_weights(data);
}

// False when a predictor or a working response is not finite. All units draw all the same.
bool Logistic::draw_weights(const arma::Mat<double>& data) {
  predictor(data, psi_);
  bool finite = true;
  for (arma::uword i = 0; i < n_units; ++i) {
    psi_(i) -= offset(i);
    binary_values(i) = scale_.at(data, i);
    omega(i) = rng->rpg(psi_(i));
    response_(i) = working(i, binary_values(i));
    finite = finite && std::isfinite(response_(i));
  }
  return finite;
}

void Logistic::copy_response(const arma::Mat<double>& data, double* out) const {
  for (arma::uword i = 0; i < n_units; ++i) out[i] = working(i, scale_.at(data, i));
}

void Logistic::draw_values(arma::Mat<double>& data) {
  if (!missing) return;
  const arma::Col<arma::uword>& units = imputed_.units();
  std::vector<double>& drawn = imputed_.candidates();
  predictor_at(data, units, drawn.data());
  for (arma::uword k = 0; k < units.n_elem; ++k)
    drawn[k] = rng->runif() < scan::logistic(drawn[k] - offset(units(k))) ? 1.0 : 0.0;
  imputed_.draw(*rng, impute_tune, data);
  for (arma::uword k = 0; k < units.n_elem; ++k) {
    const double y_k = scale_.at(data, units(k));
    binary_values(units(k)) = y_k;
    imputed_response_[k] = working(units(k), y_k);
  }
  equation().replace_values(units, imputed_response_.data());
}

// Given its weight the likelihood of a unit is exp((y - 1/2) psi - w psi^2 / 2) times a constant.
void Logistic::unit_log_density(const arma::Mat<double>& data, const arma::uword* units, arma::uword n,
                                const double* mu, double* out) const {
  for (arma::uword k = 0; k < n; ++k) {
    arma::uword const i = units == nullptr ? k : units[k];
    const double y_i = scale_.at(data, i), psi = mu[k] - offset(i);
    out[k] = weights_given_ ? (y_i - 0.5 - 0.5 * omega(i) * psi) * psi : scan::log_bernoulli(y_i, psi);
  }
}

std::shared_ptr<estimator::constraint> Logistic::own_constraint(const parameter_type& kind,
                                                                const unsigned& index) {
  if (kind == parameter_type::residual_variance_read) return handle(&unexplained_, level);
  return Regression::own_constraint(kind, index);
}

arma::uword Logistic::n_telling(const arma::Mat<double>& data, unsigned L) const {
  std::vector<place> of_units(n_units);
  for (arma::uword i = 0; i < n_units; ++i)
    of_units[i] = scale_.at(data, i) > 0.5 ? place::last : place::first;
  for (arma::uword i : missing_rows) of_units[i] = place::unknown;
  return n_mixed(L, of_units);
}

void Logistic::coefficient_rows(std::vector<double>& out) const {
  for (double b : betas_) out.push_back(std::exp(b));
}

void Logistic::set_value_list(std::unique_ptr<estimator::likelihood> list) {
  imputed_.set_list(std::move(list));
}

estimator::tune_results Logistic::tuneResults() const {
  estimator::tune_results results{impute_tune};
  estimator::tune_results const effects = Regression::tuneResults();
  results.insert(results.end(), effects.begin(), effects.end());
  return results;
}

bool Logistic::has_effects() const {
  return std::any_of(u.begin(), u.end(), [](const arma::Mat<double>& effects) { return effects.n_cols > 0; });
}

arma::Col<double> Logistic::marginal_logLiklihood(const arma::Mat<double>& data) const {
  const int top = static_cast<int>(level + n_levels);
  if (!has_effects()) return logLiklihood(data, top);
  return arma::Col<double>(cluster.n_clusters(static_cast<int>(n_levels) - 1),
                           arma::fill::value(arma::datum::nan));
}

arma::Col<double> Logistic::observed_marginal_logLiklihood(const arma::Mat<double>& data) const {
  if (has_effects()) return marginal_logLiklihood(data);
  return observed_logLiklihood(data, static_cast<int>(level + n_levels));
}

void Logistic::refreshShares(const arma::Mat<double>& data) {
  if (!lost_) Regression::refreshShares(data);
}

arma::Mat<double> Logistic::compute_residual(const arma::Mat<double>& data) const {
  arma::Mat<double> r = Regression::compute_residual(data);
  for (arma::uword i = 0; i < n_units; ++i) r(i) *= std::sqrt(omega(i));
  return r;
}

arma::Mat<double> Logistic::residual(const arma::Mat<double>& data) const {
  return at_rows(compute_residual(data));
}

arma::Mat<double> Logistic::predicted(const arma::Mat<double>& data) const {
  return at_rows(compute_predicted(data));
}

arma::Mat<double> Logistic::compute_predicted(const arma::Mat<double>& data) const {
  return compute_predicted_prob(data);
}

arma::Mat<double> Logistic::compute_predicted_prob(const arma::Mat<double>& data) const {
  arma::Col<double> p;
  predictor(data, p);
  for (double& value : p) value = scan::logistic(value);
  return p;
}

void Logistic::addTransform(const evaluate::pair& pair) {
  scale_.set(pair);
}

void Logistic::addDist(const std::shared_ptr<autosolver::solver<autosolver::normal>>&,
                       const distribution_type&) {
  throw error_debug("ERROR: Cannot add distribution for Logistic variables.");
}

void Logistic::addMulti(const std::shared_ptr<Multi>&) {
  throw error_debug("ERROR: Cannot Set multivariate link in Logistic variables.");
}

}  // namespace tovik::sem
