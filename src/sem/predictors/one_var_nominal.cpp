#include "sem/predictors/one_var_nominal.hpp"

#include "data/variable.hpp"
#include "sem/predictors/multivar_component.hpp"
#include "sem/predictors/nom_component.hpp"
#include "sem/predictors/predictor_starts.hpp"
#include "sem/wiring/settings.hpp"
#include "support/error.hpp"

namespace tovik::sem {

double& OneVarNominal::muPrior = categorical_priors::predictor_nominal_mu;

namespace {

/// The number of scores of a nominal variable.
arma::uword differences(data::variable const& v) {
  if (v.values.size() < 2 || v.dummies.size() + 1 != v.values.size())
    throw error_debug("Dummy codes do not fit the categories.");
  return v.dummies.size();
}

}  // namespace

OneVarNominal::OneVarNominal(predictor_setup const& setup, std::vector<arma::Col<arma::uword>> const& W,
                             arma::Mat<double> const& data)
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

void OneVarNominal::take_values(arma::Col<double> const& values) {
  own_->setCategories(fill_categories(values, variable(), *state_.rng));
}

}  // namespace tovik::sem
