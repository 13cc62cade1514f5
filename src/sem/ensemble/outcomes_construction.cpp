// How the models of a chain are made, wired and started.

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "evaluate/value.hpp"
#include "model/model_list.hpp"
#include "model/row_table.hpp"
#include "sem/ensemble/factory.hpp"
#include "sem/ensemble/label_plan.hpp"
#include "sem/ensemble/latent_starts.hpp"
#include "sem/ensemble/likelihood_lists.hpp"
#include "sem/ensemble/make_block.hpp"
#include "sem/ensemble/outcomes.hpp"
#include "sem/ensemble/random_effect_links.hpp"
#include "sem/ensemble/solvers.hpp"
#include "sem/ensemble/starts.hpp"
#include "sem/ensemble/written_columns.hpp"
#include "sem/outcomes/computation.hpp"
#include "sem/outcomes/log_scale.hpp"
#include "sem/outcomes/multi_scale.hpp"
#include "sem/phantoms/phantom_links.hpp"
#include "sem/predictors/variable.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

using model_ptr = std::shared_ptr<estimator::Outcome>;
using predictor_models = std::vector<std::unique_ptr<Variable>>;

/// The copies of outcomes that their means-only models centre.
std::vector<following_columns> centered_copies(const predictor_models& predictors) {
  std::vector<following_columns> out;
  for (const auto& v : predictors) {
    if (v->means_only() && !v->value_columns().is_empty())
      out.push_back({v->variable().column, v->value_columns()});
  }
  return out;
}

/// An outcome with data of its own.
bool has_data(const Model& model) {
  return model::has_predictors(model.kind()) && model.kind() != model::kind::log_variance;
}

/// Each variance model goes to the equation whose residual variance it models.
void link_variance_models(const ModelList& list, const std::vector<model_ptr>& models) {
  for (const auto& [owner, variance] : list.scale_pairs()) {
    auto* equation = dynamic_cast<Regression*>(models.at(owner).get());
    auto* scale = dynamic_cast<LogScale*>(models.at(variance).get());
    if (equation == nullptr || scale == nullptr) throw error_debug("Cannot form variance link.");
    if (equation->link != nullptr)
      equation->link->addLogScale(scale, equation->link->position_of(*equation));
    else
      equation->addLogScale(scale);
  }
}

/// For each variance model the place of its equation; of other models their own.
std::vector<std::size_t> variance_owners(const ModelList& list) {
  std::vector<std::size_t> out(list.size());
  std::iota(out.begin(), out.end(), std::size_t{0});
  for (const auto& [owner, variance] : list.scale_pairs()) out[variance] = owner;
  return out;
}

/// The identifiers of the clusters above the outcome, the nearest level first.
std::vector<std::string> level_names(const Model& model) {
  std::vector<std::string> out;
  for (int level = model.levels - 1; level >= 0; --level) {
    for (const auto& cluster : model.clusters)
      if (cluster->level == static_cast<unsigned>(level)) out.push_back(cluster->name);
  }
  return out;
}

std::vector<std::string> coefficient_names(const std::vector<model::row>& rows) {
  std::vector<std::string> out;
  for (const model::row& row : rows)
    if (row.section == model::row_section::fixed) out.push_back(row.label);
  return out;
}

/// What a user reads of the model in messages.
std::string message_name(const Model& model) {
  if (is_phantom(model)) return Model::correlationParse(model);
  if (!model.is_multi()) return model.name();
  std::string out;
  for (const model::anyVariable& member : model.fixed) out += (out.empty() ? "" : " <-> ") + member.name();
  return out;
}

bool writes(const Model& model, unsigned column) {
  const std::vector<unsigned> own = model.yind();
  return std::find(own.begin(), own.end(), column) != own.end();
}

/// Of the equations of one outcome the first draws its missing values; the others take them as they come, and
/// their densities stand in its likelihood list.
bool imputes(const ModelList& list, std::size_t i) {
  for (std::size_t j = 0; j < i; ++j) {
    if (!model::speaks_of_variables(list[j].kind()) || list[j].kind() == model::kind::log_variance) continue;
    for (unsigned column : list[i].yind())
      if (writes(list[j], column)) return false;
  }
  return true;
}

}  // namespace

Outcomes::Outcomes(const working_data& working, const predictor_models& predictors, const ModelList& list,
                   arma::Mat<double>& data, const std::shared_ptr<Random>& rng, const priors& prior)
    : working_(working), rng_(rng) {
  cells_ = list.generate_map();
  build_models(list, predictors, data, prior);
  link_phantoms(list, models, data);
  has_phantoms_ = std::any_of(list.begin(), list.end(), is_phantom);
  set_starts(list, data, prior);
  check_phantoms(list, models);
  link_random_effects(list, models, working_.units(), data);
  wire_likelihood_lists(models, working_.units(), data, centered_copies(predictors));
  if (use_autosolver) solve_variables({list, models, cells_, *rng_});
  tie_labels(list, data, prior);
  if (use_autosolver && sampler_settings::move_factors) {
    const std::vector<plain_factor> factors = plain_factors(list, models);
    factor_moves_ = moves_of_factors(factors);
    if (sampler_settings::collapse_factors) collapsed_factors_ = collapsed_factors(factors);
  }
  bind_definitions(list);
  const model::row_table rows(list);
  check_rows(list, rows, data);
  check_propriety(list, rows, data);
  residual_correlations_ = residual_correlations(list, models, working_);
  tie_likelihoods();
}

void Outcomes::build_models(const ModelList& list, const predictor_models& predictors,
                            const arma::Mat<double>& data, const priors& prior) {
  outcome_context context;
  context.estimator = this;
  context.working = &working_;
  context.data = &data;
  context.prior = prior;
  context.cells = &cells_;
  context.mutable_columns = written_columns(list, data);
  mark_written(predictors, context.mutable_columns);
  const std::vector<bool> in_block = block_members(list);
  const bool any_block = std::find(in_block.begin(), in_block.end(), true) != in_block.end();
  const std::vector<planned_label> labels = any_block ? plan_labels(list) : std::vector<planned_label>();
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list[i].is_multi()) {
      models.push_back(make_block(list, list[i], models, this, prior, labels));
    } else {
      context.imputes = imputes(list, i);
      context.in_block = in_block[i];
      models.push_back(make_outcome(list[i], context));
    }
    names_.push_back(message_name(list[i]));
  }
  link_variance_models(list, models);
}

void Outcomes::tie_labels(const ModelList& list, const arma::Mat<double>& data, const priors& prior) {
  computations_ = computations_of(models);
  wired_labels wired = wire_labels({list, models, cells_, data, *rng_, prior});
  blocks_ = std::move(wired.blocks);
  if (use_autosolver) solve_labels({list, models, cells_, *rng_}, prior, wired.labels);
  for (drawn_label& label : wired.labels) {
    constraint_map[label.constraint->name] = {label.name, label.appearances, false};
    constraints.push_back(std::move(label.constraint));
  }
}

void Outcomes::bind_definitions(const ModelList& list) {
  for (auto& [name, tree] : list.get_evaluates()) {
    for (const auto& [key, info] : cells_) tree->register_var(info.cell.get(), info.slot);
    if (tree->has_unbound_var()) throw error_debug("Could not find parameter name in map.");
    definitions_.push_back(std::move(tree));
  }
}

/// All starts come from the observed values, so they are computed before any missing cell is filled; those of
/// latent variables first, which are covariates of other equations.
void Outcomes::set_starts(const ModelList& list, arma::Mat<double>& data, const priors& prior) {
  std::vector<arma::Col<double>> starts;
  std::vector<std::vector<outcome_moments>> moments;
  const latent_starts latent(list, working_, data);
  latent.write(data, *rng_);
  for (std::size_t i = 0; i < list.size(); ++i) {
    const Model& model = list[i];
    if (!has_data(model)) {
      starts.emplace_back(is_phantom(model) ? 1 : 0, arma::fill::zeros);
      moments.emplace_back();
      continue;
    }
    const estimator::cluster structure = working_.clusters(outcome_level(model, working_));
    moments.push_back(latent.is_latent(i) ? std::vector<outcome_moments>{latent.moments(i)}
                                          : observed_moments(model, data, structure));
    const outcome_moments& own = moments.back().front();
    starts.push_back(generateStarts(model, own, rng_->start_scale, rng_->start_shift,
                                    models[i]->covariate_squares(data),
                                    latent.slopes(i, std::sqrt(own.variance))));
  }
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (!has_data(list[i])) continue;
    const unsigned level = outcome_level(list[i], working_);
    const std::vector<unsigned> columns = list[i].yind();
    for (std::size_t k = 0; k < columns.size(); ++k) {
      const arma::Col<arma::uword> missing = working_.missing_units(data, columns[k], level);
      working_.write(data, columns[k], level, missing,
                     draw_missing(list[i], moments[i].at(k), missing.n_elem, *rng_));
    }
  }
  // A variance model starts where the variance of its outcome does.
  const std::vector<std::size_t> owners = variance_owners(list);
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (owners[i] == i) continue;
    starts[i] =
        generateStarts(list[i], moments.at(owners[i]).front(), rng_->start_scale, rng_->start_shift, {});
    models[i]->addStarts(starts[i]);
  }
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (!has_data(list[i]) && !is_phantom(list[i])) continue;
    models[i]->addStarts(starts[i]);
    models[i]->publish(data);
    if (prior.scaled && working_.observed != nullptr && !moments[i].empty())
      models[i]->scale_priors(moments[i].front().variance, *working_.observed);
  }
  for (const model_ptr& model : models)
    if (auto* block = dynamic_cast<Multi*>(model.get())) block->start();
}

/// Members of a block stand on their own variances first, then on those of its matrix.
void Outcomes::restore(const arma::Col<double>& values, arma::Mat<double>& data) {
  if (values.n_elem != n_params()) throw error_debug("Starting values do not match the parameters.");
  // Its rows are means over units, from which the variances of the members cannot be told.
  for (const model_ptr& model : models)
    if (dynamic_cast<const MultiScale*>(model.get()) != nullptr)
      throw error("ERROR: Starting values are not supported for correlated outcomes with a variance model.");
  for (const bool blocks : {false, true}) {
    arma::uword first = 0;
    for (const model_ptr& model : models) {
      const arma::uword n = model->n_params();
      const bool is_block = dynamic_cast<Multi*>(model.get()) != nullptr;
      const bool computed = dynamic_cast<Computation*>(model.get()) != nullptr;
      if (n > 0 && !computed && is_block == blocks) {
        model->addStarts(values.subvec(first, first + n - 1));
        if (!is_block) model->publish(data);
      }
      first += n;
    }
  }
  // All places of a label have the same value by now.
  for (const auto& constraint : constraints) {
    if (!constraint->links.empty()) constraint->write(*constraint->links.front());
  }
  for (Computation* node : computations_) node->update();
}

/// Everything downstream finds a value by the position of its name.
void Outcomes::check_rows(const ModelList& list, const model::row_table& rows,
                          const arma::Mat<double>& data) const {
  for (std::size_t i = 0; i < list.size(); ++i) {
    const Model& model = list[i];
    const std::size_t names = rows.count(i);
    const std::size_t values = models[i]->params(data).n_elem;
    if (names == values) continue;
    throw error_debug("Model '" + model.command() + "' has " + std::to_string(names) + " names for " +
                      std::to_string(values) + " values.");
  }
}

void Outcomes::check_propriety(const ModelList& list, const model::row_table& rows,
                               const arma::Mat<double>& data) const {
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (!model::has_predictors(list[i].kind())) continue;
    const estimator::Outcome::equation_names names = {list[i].name(), level_names(list[i]),
                                                      coefficient_names(rows.rows(i))};
    models[i]->check_design(data, names);
    models[i]->check_propriety(data, names);
  }
}

}  // namespace tovik::sem
