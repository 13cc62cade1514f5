#include "sem/factory.hpp"

#include <string>

#include "data/levels.hpp"
#include "model/model.hpp"
#include "sem/outcomes/normal.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"

namespace tovik::sem {

namespace {

arma::Col<arma::uword> columns_of(std::vector<unsigned> const& positions) {
  arma::Col<arma::uword> out(positions.size());
  for (std::size_t k = 0; k < positions.size(); ++k) out[k] = positions[k];
  return out;
}

/// "An ordinal outcome", "A count outcome", ...
std::string kind_name(Model const& model) {
  if (model.outcomes.size() != 1) return "An equation with several outcomes";
  switch (model.outcomes.front().variable->type) {
    case data::type::ordinal:
      return "An ordinal outcome";
    case data::type::count:
      return "A count outcome";
    case data::type::nominal:
      return "A nominal outcome";
    case data::type::latent:
      return "A latent outcome";
    case data::type::phantom:
      return "A phantom outcome";
    default:
      return "An outcome of this kind";
  }
}

std::string see(Model const& model) {
  return " ('" + model.name() + "')";
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

void check_terms(Model const& model) {
  if (!model.fixed_compute.empty() || !model.random_compute.empty()) {
    not_available::refuse("A computed term in an equation" + see(model));
  }
  if (!model.phantoms.empty()) not_available::refuse("A residual correlation" + see(model));
  for (std::int32_t c = 0; c < model.levels; ++c) {
    for (model::parameter const& p : model.randomParameters(static_cast<unsigned>(c))) {
      if (p.is_fixed()) not_available::refuse("A fixed variance of a random effect" + see(model));
    }
  }
}

}  // namespace

unsigned outcome_level(Model const& model, working_data const& working) {
  return sampler_level(working.n_levels() - 1, static_cast<unsigned>(model.levels));
}

void check_kind(Model const& model) {
  using model::link;
  if (model.outcomes.size() != 1 || model.kind() != static_cast<int>(data::type::continuous) ||
      model.outcomes.front().type != model::type::variable) {
    not_available::refuse(kind_name(model) + see(model));
  }
  switch (model.link) {
    case link::identity:
      break;
    case link::weighted:
    case link::yjt:
    case link::yjt_scale:
    case link::scale:
    case link::log_variance:
    case link::hev:
      not_available::refuse("The link '" + model::link_str(model.link) + "'" + see(model));
    default:
      throw error_debug("Invalid Link for normal model!");
  }
  check_terms(model);
}

std::shared_ptr<estimator::Outcome> make_outcome(Model const& model, outcome_context const& context) {
  check_kind(model);
  return make_normal(model, context);
}

}  // namespace tovik::sem
