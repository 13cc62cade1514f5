#include "sem/ensemble/factory.hpp"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "data/levels.hpp"
#include "evaluate/defines.hpp"
#include "evaluate/parser.hpp"
#include "evaluate/value.hpp"
#include "model/compute.hpp"
#include "model/model.hpp"
#include "sem/outcomes/block_member.hpp"
#include "sem/outcomes/computation.hpp"
#include "sem/outcomes/factor.hpp"
#include "sem/outcomes/log_scale.hpp"
#include "sem/outcomes/logistic.hpp"
#include "sem/outcomes/nbinomial.hpp"
#include "sem/outcomes/nominal.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/outcomes/normal_hev.hpp"
#include "sem/outcomes/ordinal.hpp"
#include "sem/outcomes/parameter.hpp"
#include "sem/outcomes/rstar.hpp"
#include "sem/outcomes/scaled.hpp"
#include "sem/outcomes/weighted.hpp"
#include "sem/outcomes/yjt.hpp"
#include "sem/phantoms/phantom.hpp"
#include "sem/phantoms/phantom_links.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"
#include "support/text.hpp"

namespace tovik::sem {

namespace {

arma::Col<arma::uword> columns_of(const std::vector<unsigned>& positions) {
  arma::Col<arma::uword> out(positions.size());
  for (std::size_t k = 0; k < positions.size(); ++k) out[k] = positions[k];
  return out;
}

std::vector<estimator::compute> computed_columns(Model::trees terms) {
  std::vector<estimator::compute> out;
  for (auto& term : terms) {
    for (auto& tree : term) out.push_back(bound_column(std::move(tree)));
  }
  return out;
}

void set_computed(equation_setup& setup, const Model& model, const outcome_context& context) {
  if (model.fixed_compute.empty() && model.random_compute.empty()) return;
  if (context.cells == nullptr) throw error_debug("Could not find parameter name in map.");
  setup.x_compute = computed_columns(model.xindCompute(*context.cells));
  for (Model::trees& level : model.zindCompute(*context.cells))
    setup.z_compute.push_back(computed_columns(std::move(level)));
}

void set_fixed(equation_setup& setup, const Model& model) {
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

/// What every kind of regression needs to know of its equation.
equation_setup equation_of(const Model& model, const outcome_context& context) {
  equation_setup setup;
  setup.y = model.yind().at(0);
  setup.x = columns_of(model.xind());
  for (const std::vector<unsigned>& level : model.zind()) setup.z.push_back(columns_of(level));
  for (bool intercept : model.hasRandomIntercept()) setup.icept.push_back(intercept ? 1 : 0);
  setup.mutable_columns = context.mutable_columns;
  setup.level = outcome_level(model, *context.working);
  setup.cluster = context.working->clusters(setup.level);
  setup.n_levels = static_cast<unsigned>(model.levels);
  setup.missing_units = context.working->missing_units(*context.data, setup.y, setup.level);
  setup.has_intercept = !model.fixed.empty() && model.fixed.front().is_intercept();
  setup.imputes = context.imputes;
  setup.prior = context.prior;
  setup.phantoms = phantoms_of(model);
  set_fixed(setup, model);
  set_computed(setup, model, context);
  return setup;
}

/// A kind, or its form with sampling weights where its level has any.
template <class Kind, class... Args>
std::shared_ptr<Kind> make_weighted(const outcome_context& context, data::type type,
                                    const equation_setup& setup, const Args&... args) {
  const auto& weights = context.working->weights;
  if (weights.empty() || weights.at(setup.level) == nullptr) return std::make_shared<Kind>(args...);
  return std::make_shared<weighted<Kind>>(weights[setup.level],
                                          Regression::parts_of(context.estimator, type, setup), args...);
}

std::shared_ptr<estimator::Outcome> make_normal(const Model& model, const outcome_context& context) {
  constexpr data::type type = data::type::continuous;
  const equation_setup setup = equation_of(model, context);
  std::shared_ptr<Normal> out;
  if (model.link == model::link::scale)
    out = std::make_shared<NormalScale>(context.estimator, type, setup);
  else if (context.in_block)
    out = make_weighted<MultiNormal>(context, type, setup, context.estimator, type, setup);
  else if (model.link == model::link::hev)
    out = std::make_shared<NormalHev>(context.estimator, setup);
  else
    out = make_weighted<Normal>(context, type, setup, context.estimator, setup);
  if (model.outcomes.front().is_transformed()) out->addTransform(model.pair());
  return out;
}

std::shared_ptr<estimator::Outcome> make_factor(const Model& model, const outcome_context& context) {
  constexpr data::type type = data::type::latent;
  const equation_setup setup = Factor::without_values(equation_of(model, context));
  if (model.link == model::link::scale) return std::make_shared<FactorScale>(context.estimator, type, setup);
  if (context.in_block)
    return make_weighted<MultiFactor>(context, type, setup, context.estimator, type, setup);
  return make_weighted<Factor>(context, type, setup, context.estimator, setup);
}

/// An outcome under a Yeo-Johnson transformation, whose parameter starts with the other values.
std::shared_ptr<estimator::Outcome> make_yeo_johnson(const Model& model, const outcome_context& context) {
  equation_setup setup = equation_of(model, context);
  setup.response_moves = true;
  const model::parameter& lambda = model.outcomes.front().lambda;
  const double start = lambda.is_fixed() ? lambda.value() : 1.0;
  const auto make = [&]<class Kind>(std::type_identity<Kind>, data::type type) {
    return std::make_shared<yjt<Kind>>(context.estimator, type, setup, start, !lambda.is_fixed());
  };
  const bool scaled = model.link == model::link::yjt_scale;
  if (model.kind() == model::kind::latent) {
    setup = Factor::without_values(std::move(setup));
    if (scaled) return make(std::type_identity<FactorScale>(), data::type::latent);
    return make(std::type_identity<Factor>(), data::type::latent);
  }
  if (scaled) return make(std::type_identity<NormalScale>(), data::type::continuous);
  return make(std::type_identity<Normal>(), data::type::continuous);
}

/// For an outcome of categories or counts, whose response is drawn.
equation_setup latent_equation_of(const Model& model, const outcome_context& context, double prior_variance) {
  equation_setup setup = equation_of(model, context);
  setup.response_moves = true;
  setup.coefficients = scan::coefficient_prior::ridge(prior_variance);
  return setup;
}

/// Which of the values each unit has; 0 for a unit without one.
arma::Col<arma::uword> categories_of(const equation_setup& setup, const arma::Mat<double>& data,
                                     const arma::Col<double>& values) {
  const arma::Col<arma::uword>& rows = *setup.cluster.own_rows[0];
  arma::Col<arma::uword> out(rows.n_elem, arma::fill::zeros);
  for (arma::uword i = 0; i < rows.n_elem; ++i) {
    const double cell = data(rows[i], setup.y);
    if (std::isnan(cell)) continue;
    const auto* at = std::lower_bound(values.begin(), values.end(), cell);
    if (at == values.end() || *at != cell) throw error_debug("A value is none of the categories.");
    out[i] = static_cast<arma::uword>(at - values.begin());
  }
  return out;
}

std::shared_ptr<estimator::Outcome> make_ordinal(const Model& model, const outcome_context& context) {
  const equation_setup setup = latent_equation_of(model, context, Ordinal::priBeta);
  // Each equation has a propensity of its own, which the imputations of another would have to stay with.
  if (!context.imputes && !setup.missing_units.is_empty())
    not_available::refuse("A second equation of an incomplete ordinal outcome ('" + model.name() + "')");
  const data::variable& y = *model.outcomes.front().variable;
  ordered_values observed;
  observed.values = arma::Col<double>(y.values);
  observed.of_unit = categories_of(setup, *context.data, observed.values);
  observed.n_reported = model.n_thresholds();
  constexpr data::type type = data::type::ordinal;
  std::shared_ptr<Ordinal> out;
  if (model.link == model::link::scale)
    out = std::make_shared<OrdinalScale>(context.estimator, type, setup, observed);
  else
    out = make_weighted<Ordinal>(context, type, setup, context.estimator, setup, observed);
  // Of several equations the first publishes.
  if (context.imputes && !y.latent.empty())
    out->addIndicator({y.latent.front()}, indicator_type::latent_residual);
  return out;
}

std::shared_ptr<estimator::Outcome> make_missing_indicator(const Model& model,
                                                           const outcome_context& context) {
  const equation_setup setup = latent_equation_of(model, context, Rstar::priBeta);
  return std::make_shared<Rstar>(context.estimator, setup, categories_of(setup, *context.data, {0.0, 1.0}),
                                 model.n_thresholds());
}

std::shared_ptr<estimator::Outcome> make_logistic(const Model& model, const outcome_context& context) {
  auto out =
      std::make_shared<Logistic>(context.estimator, latent_equation_of(model, context, Logistic::priBeta));
  if (model.outcomes.front().is_transformed()) out->addTransform(model.pair());
  return out;
}

std::shared_ptr<estimator::Outcome> make_count(const Model& model, const outcome_context& context) {
  return std::make_shared<NBinomial>(context.estimator,
                                     latent_equation_of(model, context, Logistic::priBeta));
}

std::shared_ptr<estimator::Outcome> make_nominal(const Model& model, const outcome_context& context) {
  const data::variable& y = *model.outcomes.front().variable;
  std::vector<unsigned> columns;
  for (const auto& code : y.dummies) columns.push_back(code->column);
  return std::make_shared<Nominal>(context.estimator, latent_equation_of(model, context, Logistic::priBeta),
                                   nominal_codes{y.values, columns_of(columns)});
}

std::shared_ptr<estimator::Outcome> make_log_scale(const Model& model, const outcome_context& context) {
  if (model.link != model::link::log_variance) throw error_debug("Invalid Link for LogScale model!");
  std::vector<std::string> names;
  for (const model::row& row : model.rows())
    if (row.section == model::row_section::fixed) names.push_back(row.label);
  return std::make_shared<LogScale>(context.estimator, equation_of(model, context), names);
}

std::shared_ptr<estimator::Outcome> make_phantom(const Model& model, const outcome_context& context) {
  phantom_setup setup;
  setup.column = model.yind().at(0);
  setup.level = outcome_level(model, *context.working);
  setup.cluster = context.working->clusters(setup.level);
  setup.n_levels = static_cast<unsigned>(model.levels);
  setup.fixed = model.variance.is_fixed();
  if (setup.fixed) setup.value = model.variance.value();
  return std::make_shared<Phantom>(context.estimator, setup);
}

std::shared_ptr<estimator::Outcome> make_parameter(const Model& model, const outcome_context& context) {
  return std::make_shared<Parameter>(context.estimator, estimator::cluster(),
                                     parse_distribution(model.prior.name), model.prior.first,
                                     model.prior.second);
}

std::shared_ptr<estimator::Outcome> make_computation(const Model& model, const outcome_context& context) {
  constexpr const char* unknown = "Could not find parameter name in map.";
  if (context.cells == nullptr) throw error_debug(unknown);
  evaluate::defines names;
  std::vector<model::parameter_info> read;
  for (const std::string& token : model::expression_names(model.computation)) {
    const auto entry = context.cells->find(to_lower(token));
    if (entry == context.cells->end()) throw error_debug(unknown);
    names.define_var(entry->first, entry->second.slot);
    read.push_back(entry->second);
  }
  auto tree = evaluate::ast(model.computation, names);
  for (const model::parameter_info& info : read) tree->register_var(info.cell.get(), info.slot);
  if (tree->has_unbound_var()) throw error_debug(unknown);
  return std::make_shared<Computation>(context.estimator, std::move(tree));
}

}  // namespace

estimator::compute bound_column(std::unique_ptr<evaluate::node> tree) {
  if (tree->has_unbound_var()) throw error_debug("Could not find parameter name in map.");
  return estimator::compute(std::move(tree));
}

unsigned outcome_level(const Model& model, const working_data& working) {
  return sampler_level(working.n_levels() - 1, static_cast<unsigned>(model.levels));
}

std::shared_ptr<estimator::Outcome> make_outcome(const Model& model, const outcome_context& context) {
  if (is_phantom(model)) return make_phantom(model, context);
  if (model::has_lambda(model.link)) return make_yeo_johnson(model, context);
  switch (model.kind()) {
    case model::kind::parameter:
      return make_parameter(model, context);
    case model::kind::computation:
      return make_computation(model, context);
    case model::kind::ordinal:
      return model.link == model::link::logit ? make_logistic(model, context) : make_ordinal(model, context);
    case model::kind::nominal:
      return make_nominal(model, context);
    case model::kind::missing:
      return make_missing_indicator(model, context);
    case model::kind::count:
      return make_count(model, context);
    case model::kind::log_variance:
      return make_log_scale(model, context);
    case model::kind::latent:
      return make_factor(model, context);
    default:
      return make_normal(model, context);
  }
}

}  // namespace tovik::sem
