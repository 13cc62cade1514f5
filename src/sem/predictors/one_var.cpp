#include "sem/predictors/one_var.hpp"

#include <stdexcept>

#include "data/variable.hpp"
#include "sem/predictors/predictor_starts.hpp"

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
  if (!(total > 0)) throw std::runtime_error("The predictor '" + setup.variable->name + "' does not vary.");
  start_means(state_, true, total);
  finish();
}

void OneVar::take_values(arma::Col<double> const& values) {
  state_.components[0]->setScore(values);
}

}  // namespace tovik::sem
