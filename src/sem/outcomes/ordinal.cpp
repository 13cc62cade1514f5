#include "sem/outcomes/ordinal.hpp"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "random/densities.hpp"
#include "random/random.hpp"
#include "sem/outcomes/normal_density.hpp"
#include "sem/wiring/weights.hpp"
#include "support/error.hpp"

namespace tovik::sem {

Ordinal::Ordinal(const Estimator* estimator_, const equation_setup& setup, const ordered_values& observed)
    : Outcome(parts_of(estimator_, data::type::ordinal, setup)),
      Regression(estimator_, data::type::ordinal, setup),
      propensity(observed, setup.missing_units, setup.y, setup.level, cluster),
      tune_mis(3.0, estimator::tune_obj::kind_type::imputation_2, "missing values"),
      tune_cmp(3.0, estimator::tune_obj::kind_type::latent_2, "latent scores"),
      n_reported_(observed.n_reported),
      walk_all_(propensity, score_walk::category::kept),
      walk_complete_(propensity, score_walk::category::kept),
      walk_missing_(propensity, score_walk::category::free) {
  if (observed.of_unit.n_elem != n_units) throw error_debug("Categories of an ordinal variable do not fit.");
  if (n_reported_ > tau().n_elem) throw error_debug("Thresholds do not match the categories.");
  if (!setup.response_moves) throw error_debug("The response of an ordinal outcome is drawn.");
  propensity.set_refresh([this](arma::Mat<double>& data) { refresh_followers(data); });
  refresh_phantoms(0);
}

void Ordinal::addIndicator(const arma::Col<arma::uword>& cols, const indicator_type& kind) {
  if (kind != indicator_type::latent_residual) {
    Regression::addIndicator(cols, kind);
    return;
  }
  if (cols.n_elem != 1) throw error_debug("An ordinal outcome has one propensity.");
  propensity.publish_in(cols(0));
}

void Ordinal::addTransform(const evaluate::pair& pair) {
  if (pair.flag) throw error_debug("An ordinal outcome has no transformation.");
}

void Ordinal::addDist(const std::shared_ptr<autosolver::solver<autosolver::normal>>& solved,
                      const distribution_type& kind) {
  if (kind != distribution_type::fixed) throw error_debug("Unable to set autosolver for Ordinal.");
  solver_ = solved;
}

// The list of those who read the scores holds those who read the categories.
void Ordinal::addLL(std::unique_ptr<estimator::likelihood> list, const likelihood_type& kind) {
  if (kind != likelihood_type::latent) {
    Regression::addLL(std::move(list), kind);
    return;
  }
  if (!propensity.is_published()) throw error_debug("The propensity of the outcome has no column.");
  scores_read_ = list != nullptr;
  set_list(std::move(list));
}

void Ordinal::set_value_list(std::unique_ptr<estimator::likelihood> list) {
  values_read_ = list != nullptr;
  if (!scores_read_) set_list(std::move(list));
}

void Ordinal::set_list(std::unique_ptr<estimator::likelihood> list) {
  list_ = std::move(list);
  if (list_ == nullptr) return;
  walk_all_.set_list(*list_, arma::regspace<arma::Col<arma::uword>>(0, n_units - 1), level);
  if (sampling() != nullptr) walk_all_.weigh(sampling()->rows);
  walk_complete_.set_list(*list_, propensity.complete(), level);
  walk_missing_.set_list(*list_, missing_rows, level);
}

void Ordinal::weigh_thresholds() {
  propensity.cuts.weights = sampling()->rows.memptr();
}

void Ordinal::take_last_rows(const double* v) {
  arma::Col<double>& tau = propensity.cuts.tau;
  std::copy_n(v, n_reported_, tau.end() - static_cast<std::ptrdiff_t>(n_reported_));
  if (!tau.is_sorted() || tau[0] != 0.0) throw error_debug("Thresholds do not rise from 0.");
}

// Y* starts around the intercept: what other terms add is not known while columns that they read are not
// filled.
void Ordinal::addStarts(const arma::Col<double>& v) {
  Regression::addStarts(v);
  mean_.set_size(n_units);
  mean_.fill(has_intercept ? betas()(0) : 0.0);
  propensity.draw_within(propensity.sets.observed(), mean_.memptr(), nullptr, *rng);
  for (arma::uword i : missing_rows) propensity.values(i) = mean_(i) + rng->rnorm();
}

void Ordinal::publish(arma::Mat<double>& data) {
  propensity.write_all(data);
  for (arma::uword i : missing_rows) propensity.impute(data, i);
}

void Ordinal::tune() {
  Regression::tune();
  propensity.cuts.adapt();
  if (missing && walks_missing()) tune_mis.tune();
  if (walks()) tune_cmp.tune();
}

void Ordinal::addProposals(std::vector<estimator::tune_obj*>& to) {
  Regression::addProposals(to);
  to.insert(to.end(), {&tune_mis, &tune_cmp, &propensity.cuts.tuning});
}

estimator::tune_results Ordinal::tuneResults() const {
  estimator::tune_results results{tune_mis, tune_cmp};
  if (tau().n_elem > 1) results.push_back(propensity.cuts.tuning);
  estimator::tune_results const effects = Regression::tuneResults();
  results.insert(results.end(), effects.begin(), effects.end());
  return results;
}

arma::uword Ordinal::n_estimated() const {
  return Regression::n_estimated() + tau().n_elem - 1;
}

void Ordinal::copy_response(const arma::Mat<double>&, double* out) const {
  std::copy_n(propensity.values.memptr(), n_units, out);
}

void Ordinal::response_at(const arma::Mat<double>&, const arma::Col<arma::uword>& units, double* out) const {
  for (arma::uword k = 0; k < units.n_elem; ++k) out[k] = propensity.values(units(k));
}

void Ordinal::unit_log_density(const arma::Mat<double>&, const arma::uword* units, arma::uword n,
                               const double* mu, double* out) const {
  const auto score = [&](arma::uword k) { return propensity.values(units == nullptr ? k : units[k]); };
  normal_log_density(score, mu, variances(), units, n, out);
}

std::shared_ptr<estimator::constraint> Ordinal::own_constraint(const parameter_type& kind,
                                                               const unsigned& index) {
  if (kind == parameter_type::residual_variance_read) return handle(&sigma2_, level);
  return Regression::own_constraint(kind, index);
}

arma::uword Ordinal::n_telling(const arma::Mat<double>&, unsigned L) const {
  std::vector<place> of_units(n_units, place::unknown);
  for (arma::uword i : propensity.complete()) {
    arma::uword const k = propensity.sets[i];
    of_units[i] = k == 0 ? place::first : k == tau().n_elem ? place::last : place::between;
  }
  return n_mixed(L, of_units);
}

arma::Mat<double> Ordinal::latent(const arma::Mat<double>& data) const {
  return arma::join_rows(at_rows(propensity.values), Regression::latent(data));
}

arma::Mat<double> Ordinal::predicted(const arma::Mat<double>& data) const {
  return at_rows(compute_predicted_prob(data));
}

// Phantoms are part of the residual, which then has its whole variance.
arma::Mat<double> Ordinal::compute_predicted_prob(const arma::Mat<double>& data) const {
  arma::Col<double> mu;
  predictor(data, mu);
  if (phantoms_of_residual()) mu -= phantom_means(data);
  read_variances(data, nullptr, 0);
  const scan::row_scale v = variances();
  const double left = link == nullptr ? 1.0 : residVar();  // of each variance, in a block
  arma::uword const K = tau().n_elem;
  arma::Mat<double> out(n_units, K + 2);
  for (arma::uword i = 0; i < n_units; ++i) {
    const double sd = v.is_one() ? 1.0 : std::sqrt(v.variance(i) / left);
    for (arma::uword k = 0; k <= K; ++k) {
      const double lower = k == 0 ? -arma::datum::inf : tau()[k - 1] - mu(i);
      const double upper = k == K ? arma::datum::inf : tau()[k] - mu(i);
      out(i, k) = scan::interval_mass(lower / sd, upper / sd);
    }
    out(i, K + 1) = mu(i);
  }
  return out;
}

arma::Col<arma::uword> Ordinal::categorize(const arma::Col<double>& scores) const {
  arma::Col<arma::uword> out(scores.n_elem);
  for (arma::uword i = 0; i < out.n_elem; ++i) out(i) = categorize(scores(i));
  return out;
}

}  // namespace tovik::sem
