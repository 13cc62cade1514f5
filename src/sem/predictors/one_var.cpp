#include "sem/predictors/one_var.hpp"

#include "data/variable.hpp"
#include "sem/predictors/predictor_starts.hpp"
#include "support/error.hpp"

namespace tovik::sem {

OneVar::OneVar(predictor_setup const& setup, std::vector<arma::Col<arma::uword>> const& W,
               arma::Mat<double> const& data)
    : modeled_variable(setup, W, 1, data) {
  arma::Col<double> values = unit_values(*setup.working, data, setup.variable->column, level);
  fill_values(values, *state_.rng);
  state_.components.push_back(std::make_unique<Component>(setup_of(0)));
  state_.components[0]->setScore(values);
  add_upper<Component>();
  double const total = arma::var(values);
  if (values.min() == values.max() || !(total > 0))
    throw error("ERROR: Variable '" + setup.variable->name + "' does not vary.\n       Remove it and rerun.");
  start_means(state_, true, total);
  finish();
}

void OneVar::take_values(arma::Col<double> const& values) {
  state_.components[0]->setScore(values);
}

}  // namespace tovik::sem
