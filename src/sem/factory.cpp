#include "sem/factory.hpp"

#include <vector>

#include "data/levels.hpp"
#include "model/model.hpp"
#include "sem/outcomes/normal.hpp"

namespace tovik::sem {

namespace {

arma::Col<arma::uword> columns_of(std::vector<unsigned> const& positions) {
  arma::Col<arma::uword> out(positions.size());
  for (std::size_t k = 0; k < positions.size(); ++k) out[k] = positions[k];
  return out;
}

void set_fixed(normal_setup& setup, Model const& model) {
  const std::vector<model::parameter> coefficients = model.fixedParameters();
  std::vector<unsigned> positions;
  std::vector<double> values;
  for (std::size_t j = 0; j < coefficients.size(); ++j) {
    if (!coefficients[j].is_fixed()) continue;
    positions.push_back(static_cast<unsigned>(j));
    values.push_back(coefficients[j].value());
  }
  setup.fixed = columns_of(positions);
  setup.fixed_values = arma::Col<double>(values);
  setup.estimate_resid = !model.variance.is_fixed();
  if (model.variance.is_fixed()) setup.resid_value = model.variance.value();
}

std::shared_ptr<estimator::Outcome> make_normal(Model const& model, outcome_context const& context) {
  normal_setup setup;
  setup.y = model.yind().at(0);
  setup.x = columns_of(model.xind());
  for (std::vector<unsigned> const& level : model.zind()) setup.z.push_back(columns_of(level));
  for (bool intercept : model.hasRandomIntercept()) setup.icept.push_back(intercept ? 1 : 0);
  setup.mutable_columns = context.mutable_columns;
  setup.level = outcome_level(model, *context.working);
  setup.cluster = context.working->clusters(setup.level);
  setup.n_levels = static_cast<unsigned>(model.levels);
  setup.missing_units = context.working->missing_units(*context.data, setup.y, setup.level);
  setup.has_intercept = !model.fixed.empty() && model.fixed.front().is_intercept();
  setup.prior = context.prior;
  set_fixed(setup, model);
  return std::make_shared<Normal>(context.estimator, setup);
}

}  // namespace

unsigned outcome_level(Model const& model, working_data const& working) {
  return sampler_level(working.n_levels() - 1, static_cast<unsigned>(model.levels));
}

std::shared_ptr<estimator::Outcome> make_outcome(Model const& model, outcome_context const& context) {
  return make_normal(model, context);
}

}  // namespace tovik::sem
