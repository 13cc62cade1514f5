#include "sem/outcomes.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "evaluate/value.hpp"
#include "model/model_list.hpp"
#include "sem/factory.hpp"
#include "sem/mcmc.hpp"
#include "sem/starts.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"

namespace tovik::sem {

namespace {

using model_ptr = std::shared_ptr<estimator::Outcome>;

/// False for models that are no regression of data: free and computed parameters, log variances.
bool has_likelihood(estimator::Outcome const& model) {
  const int type = static_cast<int>(model.type);
  return type != model_type::parameter && type != model_type::computation && type != model_type::log_scale;
}

bool has_random_effects(estimator::Outcome const& model) {
  for (unsigned L = 0; L < model.n_levels; ++L) {
    if (model.n_random(L) > 0) return true;
  }
  return false;
}

/// The columns that `get` gives for each model, one below the other.
template <class Get>
arma::Col<double> join(std::vector<model_ptr> const& models, Get get) {
  if (models.size() == 1) return get(*models.front());
  std::vector<arma::Col<double>> parts;
  arma::uword n = 0;
  for (model_ptr const& model : models) {
    parts.push_back(get(*model));
    n += parts.back().n_elem;
  }
  arma::Col<double> out(n);
  double* to = out.memptr();
  for (arma::Col<double> const& part : parts) to = std::copy(part.begin(), part.end(), to);
  return out;
}

/// The matrices that `get` gives for each model, side by side.
template <class Get>
arma::Mat<double> join_columns(std::vector<model_ptr> const& models, arma::uword n_rows, Get get) {
  arma::Mat<double> out(n_rows, 0);
  for (model_ptr const& model : models) out.insert_cols(out.n_cols, get(*model));
  return out;
}

/// Two models of one outcome would both write its missing values.
void check_one_writer(ModelList const& list, working_data const& working, arma::Mat<double> const& data) {
  for (std::size_t i = 0; i < list.size(); ++i) {
    for (std::size_t j = i + 1; j < list.size(); ++j) {
      const unsigned column = list[i].yind().at(0);
      if (column != list[j].yind().at(0)) continue;
      if (working.missing_units(data, column, outcome_level(list[i], working)).n_elem == 0) continue;
      not_available::refuse("A second equation for the incomplete outcome '" + list[i].name() + "'");
    }
  }
}

}  // namespace

Outcomes::Outcomes(Mcmc const* mcmc, ModelList const& list, arma::Mat<double>& data,
                   std::shared_ptr<Random> const& rng, priors const& prior)
    : mcmc_(mcmc), rng_(rng) {
  check_one_writer(list, mcmc_->working(), data);
  cells_ = list.generate_map();
  build_models(list, data, prior);
  set_starts(list, data);
  check_rows(list, data);
}

Outcomes::~Outcomes() = default;

void Outcomes::build_models(ModelList const& list, arma::Mat<double> const& data, priors const& prior) {
  working_data const& working = mcmc_->working();
  outcome_context context;
  context.estimator = this;
  context.working = &working;
  context.data = &data;
  context.prior = prior;
  context.mutable_columns.assign(data.n_cols, false);
  for (Model const& model : list) {
    const unsigned column = model.yind().at(0);
    if (working.missing_units(data, column, outcome_level(model, working)).n_elem > 0) {
      context.mutable_columns[column] = true;
    }
  }
  for (Model const& model : list) models.push_back(make_outcome(model, context));
}

/// All starts come from the observed values, so they are computed before any missing cell is filled.
void Outcomes::set_starts(ModelList const& list, arma::Mat<double>& data) {
  working_data const& working = mcmc_->working();
  std::vector<arma::Col<double>> starts;
  std::vector<outcome_moments> moments;
  for (Model const& model : list) {
    const estimator::cluster structure = working.clusters(outcome_level(model, working));
    moments.push_back(observed_moments(model, data, structure));
    starts.push_back(generateStarts(model, data, structure, rng_->start_scale, rng_->start_shift));
  }
  for (std::size_t i = 0; i < list.size(); ++i) {
    const unsigned column = list[i].yind().at(0);
    const unsigned level = outcome_level(list[i], working);
    const arma::Col<arma::uword> missing = working.missing_units(data, column, level);
    working.write(data, column, level, missing, draw_missing(moments[i], missing.n_elem, *rng_));
  }
  for (std::size_t i = 0; i < list.size(); ++i) models[i]->addStarts(starts[i]);
}

/// Everything downstream finds a value by the position of its name.
void Outcomes::check_rows(ModelList const& list, arma::Mat<double> const& data) const {
  for (std::size_t i = 0; i < list.size(); ++i) {
    Model const& model = list[i];
    const std::size_t names = model.n_rows();
    const std::size_t values = models[i]->params(data).n_elem;
    if (names == values) continue;
    throw error_debug("Model '" + model.command() + "' has " + std::to_string(names) + " names for " +
                      std::to_string(values) + " values.");
  }
}

void Outcomes::draw(arma::Mat<double>& data) {
  const auto drawn_first = [](estimator::Outcome const& model) {
    return optimize_draws && data::isLatent(model.type);
  };
  for (model_ptr const& model : models) {
    if (drawn_first(*model)) model->draw(data);
  }
  for (model_ptr const& model : models) {
    if (!drawn_first(*model)) model->draw(data);
  }
  for (auto const& constraint : constraints) constraint->draw(data);
}

void Outcomes::tune() {
  for (model_ptr const& model : models) model->tune();
  for (auto const& constraint : constraints) {
    if (!constraint->links.empty()) constraint->tune.tune();
  }
}

void Outcomes::tune_check() {
  for (model_ptr const& model : models) model->tuneResults().check();
  for (auto const& constraint : constraints) estimator::tune_results{constraint->tune}.check();
}

std::vector<estimator::tune_results> Outcomes::acceptance() const {
  std::vector<estimator::tune_results> out;
  for (model_ptr const& model : models) out.push_back(model->tuneResults());
  for (auto const& constraint : constraints) {
    const auto record = constraint_map.find(constraint->name);
    if (record == constraint_map.end()) throw error_debug("Cannot find Parameter.");
    if (record->second.derived || record->second.appearances <= 1) continue;
    out.push_back({constraint->tune});
    out.back().label = record->second.name;
  }
  return out;
}

arma::Col<double> Outcomes::params() const {
  return join(models, [](estimator::Outcome const& model) { return model.params(); });
}

arma::Col<double> Outcomes::params(arma::Mat<double> const& data) const {
  return join(models, [&](estimator::Outcome const& model) { return model.params(data); });
}

arma::Col<double> Outcomes::params(unsigned const& model) const {
  return models.at(model)->params();
}

arma::Col<double> Outcomes::computations() const {
  return {};
}

arma::uword Outcomes::n_params() const {
  arma::uword n = 0;
  for (model_ptr const& model : models) n += model->params().n_elem;
  return n;
}

arma::uword Outcomes::n_params(arma::Mat<double> const& data) const {
  arma::uword n = 0;
  for (model_ptr const& model : models) n += model->params(data).n_elem;
  return n;
}

arma::uword Outcomes::n_params(unsigned const& model) const {
  return models.at(model)->params().n_elem;
}

arma::uword Outcomes::n_estimated() const {
  arma::uword n = constraints.size();
  for (model_ptr const& model : models) n += model->n_estimated();
  return n;
}

arma::uword Outcomes::n_computations() const {
  return computations().n_elem;
}
arma::uword Outcomes::n_correlations() const {
  return 0;
}
arma::uword Outcomes::n_defines() const {
  return 0;
}

/// Continuous outcomes hold their values in the data as they are.
void Outcomes::categorize_nominal(arma::Mat<double>&, arma::Mat<double> const&) const {}

arma::Col<double> Outcomes::logLiklihood(arma::Mat<double> const& data, int level) const {
  arma::Col<double> out(mcmc_->n_units(static_cast<unsigned>(level)), arma::fill::zeros);
  for (model_ptr const& model : models) {
    if (!has_likelihood(*model) || static_cast<int>(model->level) > level) continue;
    out += model->logLiklihood(data, level);
  }
  return out;
}

double Outcomes::logLiklihood(arma::Mat<double> const& data) const {
  double sum = 0.0;
  for (model_ptr const& model : models) {
    if (has_likelihood(*model)) sum += model->logLiklihood(data);
  }
  return sum;
}

arma::Col<double> Outcomes::computeLL(arma::Mat<double> const& data, int level) const {
  return logLiklihood(data, level);
}

double Outcomes::computeLL(arma::Mat<double> const& data) const {
  return logLiklihood(data);
}

arma::Mat<double> const& Outcomes::betas(unsigned const& model) const {
  return models.at(model)->betas();
}

std::vector<double> Outcomes::getMissingPercents() const {
  std::vector<double> out;
  for (model_ptr const& model : models) {
    for (double share : model->getMissingPercents()) out.push_back(100.0 * share);
  }
  return out;
}

arma::Col<arma::uword> Outcomes::indicators() const {
  return {};
}

arma::Mat<double> Outcomes::latent(arma::Mat<double> const& data) const {
  return join_columns(models, data.n_rows,
                      [&](estimator::Outcome const& model) { return model.latent(data); });
}

arma::Mat<double> Outcomes::residual(arma::Mat<double> const& data) const {
  return join_columns(models, data.n_rows,
                      [&](estimator::Outcome const& model) { return model.residual(data); });
}

arma::Mat<double> Outcomes::predicted(arma::Mat<double> const& data) const {
  return join_columns(models, data.n_rows,
                      [&](estimator::Outcome const& model) { return model.predicted(data); });
}

arma::Mat<double> Outcomes::defines(arma::Mat<double> const& data) const {
  return arma::Mat<double>(data.n_rows, 0);
}

arma::Col<double> Outcomes::correlations(arma::Mat<double> const&) const {
  return {};
}

void Outcomes::fill_marginal(arma::Cube<double>& out, arma::Mat<double> const& data, arma::uword slice,
                             estimator::Outcome const& model) const {
  if (!has_random_effects(model)) {  // nothing to integrate out
    out.slice(slice).col(0) = out.slice(slice).col(1);
    return;
  }
  try {
    out.slice(slice).col(0) = model.marginal_logLiklihood(data);
  } catch (std::runtime_error const&) {
    // A covariance matrix on the edge of positive definiteness: the fit statistics leave the marginal block
    // out, the run goes on.
    out.slice(slice).col(0).fill(arma::datum::nan);
  }
}

arma::Cube<double> Outcomes::likelihood(arma::Mat<double> const& data) const {
  const auto counted = std::count_if(models.begin(), models.end(),
                                     [](model_ptr const& model) { return has_likelihood(*model); });
  const arma::uword n_models = static_cast<arma::uword>(counted);
  const unsigned top = mcmc_->n_levels() - 1;
  arma::Cube<double> out(mcmc_->n_units(top), 2, n_models + 1);
  out.slice(n_models).zeros();
  arma::uword slice = 0;
  for (model_ptr const& model : models) {
    if (!has_likelihood(*model)) continue;
    out.slice(slice).col(1) = model->logLiklihood(data, static_cast<int>(top));
    fill_marginal(out, data, slice, *model);
    out.slice(n_models) += out.slice(slice);
    ++slice;
  }
  return out;
}

void Outcomes::linkVariables(std::vector<std::pair<unsigned, estimator::covariate_link*>> const& links) {
  for (auto const& [model, link] : links) models.at(model)->setCentering(link);
}

std::vector<arma::uword> Outcomes::imputed_columns() const {
  std::vector<arma::uword> out;
  for (model_ptr const& model : models) {
    if (model->missing) out.insert(out.end(), model->y.begin(), model->y.end());
  }
  return out;
}

}  // namespace tovik::sem
