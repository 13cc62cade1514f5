#include "sem/ensemble/outcomes.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "sem/ensemble/joint_likelihood.hpp"
#include "sem/outcomes/computation.hpp"
#include "sem/wiring/proposals.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

using model_ptr = std::shared_ptr<estimator::Outcome>;

/// The columns that `get` gives for each model, one below the other.
template <class Get>
arma::Col<double> stacked(const std::vector<model_ptr>& models, Get get) {
  if (models.size() == 1) return get(*models.front());
  std::vector<arma::Col<double>> parts;
  arma::uword n = 0;
  for (const model_ptr& model : models) {
    parts.push_back(get(*model));
    n += parts.back().n_elem;
  }
  arma::Col<double> out(n);
  double* to = out.memptr();
  for (const arma::Col<double>& part : parts) to = std::copy(part.begin(), part.end(), to);
  return out;
}

/// The matrices that `get` gives for each model, side by side.
template <class Get>
arma::Mat<double> join_columns(const std::vector<model_ptr>& models, arma::uword n_rows, Get get) {
  arma::Mat<double> out(n_rows, 0);
  for (const model_ptr& model : models) out.insert_cols(out.n_cols, get(*model));
  return out;
}

}  // namespace

Outcomes::~Outcomes() = default;

void Outcomes::draw(arma::Mat<double>& data) {
  const auto drawn_first = [](const estimator::Outcome& model) {
    return optimize_draws && data::isLatent(model.type);
  };
  for (factor_moves& moves : factor_moves_) moves.draw(data, *rng_);
  for (collapsed_factor& factor : collapsed_factors_) factor.draw(data, *rng_);
  for (const auto& block : blocks_) block->draw(data);
  for (const model_ptr& model : models) {
    if (drawn_first(*model)) model->draw(data);
  }
  for (const model_ptr& model : models) {
    if (!drawn_first(*model)) model->draw(data);
  }
  for (const auto& constraint : constraints) constraint->draw(data);
  // Models took their shares before the shared parameters moved, and factors before the phantoms that move
  // their variances: one report must not mix two states.
  if (!constraints.empty() || has_phantoms_) {
    for (const model_ptr& model : models) model->refreshShares(data);
  }
  for (Computation* node : computations_) node->update();
}

void Outcomes::tune() {
  for (const model_ptr& model : models) {
    model->tune();
    model->connectDriven(working_.data);  // imputed values have moved since
  }
  for (const auto& constraint : constraints) {
    if (!constraint->walks()) continue;
    constraint->connect();
    const double rate = constraint->tune.rate();
    adapt_proposal(*constraint, working_.data);
    if (estimator::constraint::print_debug)
      std::printf("multiplier=%7.4f; stddev=%7.4f; probs=%6.3f;\n", constraint->tune.value,
                  constraint->tune.value * std::sqrt(constraint->variance), rate);
  }
}

void Outcomes::adapt() {
  if (proposals_.empty()) {
    for (const model_ptr& model : models) model->addProposals(proposals_);
    for (const auto& constraint : constraints)
      if (!constraint->links.empty()) proposals_.push_back(&constraint->tune);
  }
  for (estimator::tune_obj* proposal : proposals_) proposal->adapt();
}

void Outcomes::tune_check() {
  for (std::size_t i = 0; i < models.size(); ++i) {
    estimator::tune_results results = models[i]->tuneResults();
    results.label = names_[i];
    results.check();
  }
  for (const auto& constraint : constraints) {
    estimator::tune_results result{constraint->tune};
    const auto record = constraint_map.find(constraint->name);
    result.label = record == constraint_map.end() ? constraint->name : record->second.name;
    result.check();
  }
}

std::vector<estimator::tune_results> Outcomes::acceptance() const {
  std::vector<estimator::tune_results> out;
  for (const model_ptr& model : models) out.push_back(model->tuneResults());
  for (const auto& constraint : constraints) {
    const auto record = constraint_map.find(constraint->name);
    if (record == constraint_map.end()) throw error_debug("Cannot find Parameter.");
    if (record->second.derived || !constraint->walks()) continue;  // drawn, not proposed
    out.push_back({constraint->tune});
    out.back().label = record->second.name;
  }
  return out;
}

arma::Col<double> Outcomes::params() const {
  return stacked(models, [](const estimator::Outcome& model) { return model.params(); });
}

arma::Col<double> Outcomes::params(const arma::Mat<double>& data) const {
  return stacked(models, [&](const estimator::Outcome& model) { return model.params(data); });
}

arma::Col<double> Outcomes::params(const unsigned& model) const {
  return models.at(model)->params();
}

arma::Col<double> Outcomes::computations() const {
  arma::Col<double> out(computations_.size());
  for (std::size_t k = 0; k < computations_.size(); ++k) out[k] = *computations_[k]->ptr();
  return out;
}

arma::uword Outcomes::n_params() const {
  arma::uword n = 0;
  for (const model_ptr& model : models) n += model->params().n_elem;
  return n;
}

arma::uword Outcomes::n_params(const arma::Mat<double>& data) const {
  arma::uword n = 0;
  for (const model_ptr& model : models) n += model->params(data).n_elem;
  return n;
}

arma::uword Outcomes::n_params(const unsigned& model) const {
  return models.at(model)->params().n_elem;
}

arma::uword Outcomes::n_estimated() const {
  arma::uword n = constraints.size();
  for (const model_ptr& model : models) n += model->n_estimated();
  return n;
}

arma::uword Outcomes::n_computations() const {
  return computations_.size();
}
arma::uword Outcomes::n_correlations() const {
  return residual_correlations_.size();
}
arma::uword Outcomes::n_defines() const {
  return definitions_.size();
}

void Outcomes::categorize_nominal(arma::Mat<double>& raw, const arma::Mat<double>& data) const {
  for (const model_ptr& model : models) model->categorize(raw, data);
}

const arma::Mat<double>& Outcomes::betas(const unsigned& model) const {
  return models.at(model)->betas();
}

std::vector<double> Outcomes::getMissingPercents() const {
  std::vector<double> out;
  for (const model_ptr& model : models) {
    for (double share : model->getMissingPercents()) out.push_back(100.0 * share);
  }
  return out;
}

arma::Col<arma::uword> Outcomes::indicators() const {
  arma::Col<arma::uword> out;
  for (const model_ptr& model : models) out = arma::join_cols(out, model->published());
  return out;
}

arma::Mat<double> Outcomes::latent(const arma::Mat<double>& data) const {
  return join_columns(models, data.n_rows,
                      [&](const estimator::Outcome& model) { return model.latent(data); });
}

arma::Mat<double> Outcomes::residual(const arma::Mat<double>& data) const {
  return join_columns(models, data.n_rows,
                      [&](const estimator::Outcome& model) { return model.residual(data); });
}

arma::Mat<double> Outcomes::predicted(const arma::Mat<double>& data) const {
  return join_columns(models, data.n_rows,
                      [&](const estimator::Outcome& model) { return model.predicted(data); });
}

arma::Mat<double> Outcomes::defines(const arma::Mat<double>& data) const {
  arma::Mat<double> out(data.n_rows, definitions_.size());
  for (std::size_t k = 0; k < definitions_.size(); ++k) out.col(k) = definitions_[k]->eval(data);
  return out;
}

arma::Col<double> Outcomes::correlations(const arma::Mat<double>& data) const {
  return residual_correlations_.values(data);
}

void Outcomes::linkVariables(
    std::vector<std::pair<unsigned, std::unique_ptr<estimator::covariate_link>>> links) {
  for (auto& [model, link] : links) models.at(model)->setCentering(std::move(link));
}

std::vector<arma::uword> Outcomes::imputed_columns() const {
  std::vector<arma::uword> out;
  for (const model_ptr& model : models) {
    if (model->missing) out.insert(out.end(), model->y.begin(), model->y.end());
  }
  return out;
}

}  // namespace tovik::sem
