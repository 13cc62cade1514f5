#include "sem/predictors/one_var.hpp"

#include "data/variable.hpp"
#include "sem/predictors/nom_component.hpp"
#include "sem/predictors/ord_component.hpp"
#include "sem/predictors/predictor_starts.hpp"
#include "sem/wiring/settings.hpp"
#include "support/error.hpp"

namespace tovik::sem {

double& OneVarOrdinal::muPrior = categorical_priors::predictor_ordinal_mu;
double& OneVarNominal::muPrior = categorical_priors::predictor_nominal_mu;

namespace {

/// The number of scores of a nominal variable.
arma::uword differences(const data::variable& v) {
  if (v.values.size() < 2 || v.dummies.size() + 1 != v.values.size())
    throw error_debug("Dummy codes do not fit the categories.");
  return v.dummies.size();
}

}  // namespace

// --- continuous --------------------------------------------------------------------------------------------

OneVar::OneVar(const predictor_setup& setup, const std::vector<arma::Col<arma::uword>>& W,
               const arma::Mat<double>& data)
    : modeled_variable(setup, W, 1, data) {
  arma::Col<double> values = unit_values(*setup.working, data, setup.variable->column, level);
  fill_values(values, *state_.rng);
  state_.components.push_back(std::make_unique<Component>(setup_of(0)));
  state_.components[0]->setScore(values);
  add_upper<Component>();
  const double total = arma::var(values);
  if (values.min() == values.max() || !(total > 0))
    throw error("ERROR: Variable '" + setup.variable->name + "' does not vary.\n       Remove it and rerun.");
  start_means(state_, true, total);
  finish();
}

void OneVar::take_values(const arma::Col<double>& values) {
  state_.components[0]->setScore(values);
}

// --- ordinal -----------------------------------------------------------------------------------------------

OneVarOrdinal::OneVarOrdinal(const predictor_setup& setup, const std::vector<arma::Col<arma::uword>>& W,
                             const arma::Mat<double>& data)
    : modeled_variable(setup, W, 1, data) {
  const data::variable& v = *setup.variable;
  state_.mean_precision = 1.0 / muPrior;
  auto own = std::make_unique<OrdComponent>(
      setup_of(0), fill_categories(unit_values(*setup.working, data, v.column, level), v, *state_.rng),
      v.values.size(), missing_units);
  own_ = own.get();
  state_.components.push_back(std::move(own));
  state_.categories = &own_->categories();
  state_.coding = arma::Col<double>(v.values);
  state_.follow_categories();
  add_upper<Component>(OrdComponent::gammaPrior);
  state_.grand_mean(0) = own_->startMean();
  own_->startScores(arma::Mat<double>(state_.n_units(0), 1, arma::fill::value(state_.grand_mean(0))));
  start_means(state_, false, 1.0);
  finish();
}

void OneVarOrdinal::take_values(const arma::Col<double>& values) {
  arma::Mat<double> mean(values.n_elem, 1);
  for (arma::uword i = 0; i < values.n_elem; ++i) mean(i, 0) = state_.scores(1)(state_.parent(0)(i), 0);
  own_->setCategories(fill_categories(values, variable(), *state_.rng), mean);
}

void OneVarOrdinal::heed_missing(bool read) {
  own_->heed_missing = read;
}

arma::Col<double> OneVarOrdinal::free_thresholds() const {
  const arma::Col<double>& tau = own_->thresholds();
  return tau.n_elem < 2 ? arma::Col<double>() : arma::Col<double>(tau.tail(tau.n_elem - 1));
}

// --- nominal -----------------------------------------------------------------------------------------------

OneVarNominal::OneVarNominal(const predictor_setup& setup, const std::vector<arma::Col<arma::uword>>& W,
                             const arma::Mat<double>& data)
    : modeled_variable(setup, W, differences(*setup.variable), data) {
  state_.mean_precision = 1.0 / muPrior;
  auto own = std::make_unique<NomComponent>(
      setup_of(0), fill_categories(coded_values(data), *setup.variable, *state_.rng), missing_units);
  own_ = own.get();
  state_.components.push_back(std::move(own));
  state_.categories = &own_->categories();
  state_.coding.zeros(state_.dim + 1, state_.dim);
  for (arma::uword k = 0; k < state_.dim; ++k) state_.coding(k + 1, k) = 1.0;
  state_.follow_categories();
  add_upper<MultivarComponent>(NomComponent::gammaPrior);
  start_means(state_, false, 1.0);
  finish();
}

void OneVarNominal::take_values(const arma::Col<double>& values) {
  own_->setCategories(fill_categories(values, variable(), *state_.rng));
}

}  // namespace tovik::sem
