#include "sem/chain/mcmc.hpp"

#include <algorithm>
#include <utility>

#include "data/variable_list.hpp"
#include "model/model_list.hpp"
#include "sem/chain/mcmc_checks.hpp"
#include "sem/chain/saved_columns.hpp"
#include "sem/ensemble/availability.hpp"
#include "sem/ensemble/likelihood_lists.hpp"
#include "sem/ensemble/likelihood_totals.hpp"
#include "sem/ensemble/outcomes.hpp"
#include "sem/ensemble/predictor_readers.hpp"
#include "sem/predictors/centered_copy.hpp"
#include "sem/predictors/predictor_set.hpp"
#include "sem/wiring/weights.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

template <class Test>
bool any_proposal(const Outcomes* outcomes, const predictor_set& predictors, Test test) {
  const auto any_of = [&](const estimator::tune_results& results) {
    return std::any_of(results.begin(), results.end(), test);
  };
  if (outcomes != nullptr) {
    const auto all = outcomes->acceptance();
    if (std::any_of(all.begin(), all.end(), any_of)) return true;
  }
  return std::any_of(predictors.models().begin(), predictors.models().end(),
                     [&](const auto& v) { return any_of(v->tuneResults()); });
}

std::vector<arma::uword> as_vector(const arma::Col<arma::uword>& columns) {
  return {columns.begin(), columns.end()};
}

}  // namespace

Mcmc::Mcmc(const VariableList& variables, const arma::Mat<double>& data, const arma::Col<arma::uword>& ids,
           const Random& rng, const int& xprior, const double& ICCcutoff,
           std::shared_ptr<const saved_columns> saved, bool scaled)
    : rng_(std::make_shared<Random>(rng)),
      working_(data, as_vector(ids)),
      saved_(saved != nullptr ? std::move(saved) : keep_saved_columns(variables, data)),
      missing_(summarise_missing(variables, data, working_)),
      predictors_(std::make_unique<predictor_set>()),
      xprior_(xprior),
      icc_cutoff_(ICCcutoff) {
  if (saved_->values.n_rows != data.n_rows) throw error_debug("The saved columns are those of other data.");
  working_.weights = estimator::sampling_weights(variables, working_);
  if (scaled) working_.observed = std::make_shared<const arma::Mat<double>>(working_.data);
  predictors_ = std::make_unique<predictor_set>(variables, working_, rng_,
                                                predictor_set::options{xprior, ICCcutoff, scaled});
}

Mcmc::Mcmc(const VariableList& variables, const arma::Mat<double>& data, const Random& rng, const int& xprior,
           const double& ICCcutoff, std::shared_ptr<const saved_columns> saved, bool scaled)
    : Mcmc(variables, data, arma::Col<arma::uword>(identifier_columns(variables)), rng, xprior, ICCcutoff,
           std::move(saved), scaled) {}

Mcmc::~Mcmc() = default;

void Mcmc::addOutcomes(const VariableList& variables, const ModelList& models, const priors& prior) {
  check_available(models);
  if (!models.empty()) {
    check_cluster_means(models, predictors());
    outcomes_ = std::make_unique<Outcomes>(working_, predictors(), models, working_.data, rng_, prior);
    link_centered_copies();
    wire_predictors(predictors(), *outcomes_, working_.units(), working_.data);
  }
  working_.observed.reset();
  list_output(variables, models);
}

/// Every outcome whose values move writes the copy that other equations read.
void Mcmc::link_centered_copies() {
  for (const auto& v : predictors()) {
    if (!v->means_only() || v->value_columns().is_empty()) continue;
    centered_copies_.push_back(std::make_unique<centered_copy>(*v, working_));
    estimator::covariate_link const link = centered_copies_.back()->link();
    link.update(working_.data);
    std::vector<std::pair<unsigned, std::unique_ptr<estimator::covariate_link>>> links;
    for (unsigned i = 0; i < outcomes_->n_outcomes(); ++i) {
      const estimator::Outcome& model = outcomes_->outcome(i);
      if (model.missing && has_likelihood(model) && arma::any(model.y == centered_copies_.back()->column()))
        links.emplace_back(i, std::make_unique<estimator::covariate_link>(link));
    }
    outcomes_->linkVariables(std::move(links));
  }
}

void Mcmc::restore(const arma::Col<double>& parameters) {
  arma::uword first = outcomes_ ? outcomes_->n_params() : 0;
  if (parameters.n_elem != first + predictors_->n_params())
    throw error_debug("Starting values do not match the parameters.");
  if (first > 0) outcomes_->restore(parameters.head(first), working_.data);
  for (const auto& v : predictors()) {
    if (v->numParams() == 0) continue;
    v->restore(parameters.subvec(first, first + v->numParams() - 1));
    v->publish(working_.data);
    first += v->numParams();
  }
}

void Mcmc::oneRep() {
  if (outcomes_) outcomes_->draw(working_.data);
  predictors_->draw(working_.data);
  for (const auto& copy : centered_copies_) copy->take();
}

void Mcmc::tune() const {
  if (outcomes_) outcomes_->tune();
  for (const auto& v : predictors()) v->tune(outcomes_ != nullptr);
}

void Mcmc::adapt() const {
  if (outcomes_) outcomes_->adapt();
  if (predictor_proposals_.empty())
    for (const auto& v : predictors()) v->addProposals(predictor_proposals_);
  for (estimator::tune_obj* proposal : predictor_proposals_) proposal->adapt();
}

void Mcmc::tune_check() const {
  if (outcomes_) outcomes_->tune_check();
  for (const auto& v : predictors()) v->tuneResults().check();
}

bool Mcmc::tune_warning() const {
  return any_proposal(outcomes_.get(), *predictors_, [](const auto& proposal) { return proposal.failed(); });
}

bool Mcmc::hasTuningInfo() const {
  return any_proposal(outcomes_.get(), *predictors_, [](const auto& proposal) { return proposal.total > 0; });
}

arma::Col<double> Mcmc::getParams() const {
  if (!outcomes_) return predictors_->params();
  if (predictors().empty()) return outcomes_->params(working_.data);
  return arma::join_cols(outcomes_->params(working_.data), predictors_->params());
}

arma::Col<double> Mcmc::getParams(const unsigned& i) const {
  if (!outcomes_) throw error_debug("There are no outcome models.");
  return outcomes_->params(i);
}

arma::uword Mcmc::getTotalParams() const {
  return (outcomes_ ? outcomes_->n_params(working_.data) : 0) + predictors_->n_params();
}

arma::uword Mcmc::getTotalParams(const unsigned& level) const {
  return predictors_->n_params(level);
}
arma::uword Mcmc::getCovariateModelNumParams() const {
  return predictors_->n_params();
}
arma::uword Mcmc::getCovariateEstimatedNParams() const {
  return predictors_->n_estimated();
}

arma::Cube<double> Mcmc::getLikelihoods() const {
  return outcomes_ ? outcomes_->likelihood(working_.data) : arma::Cube<double>();
}

std::unique_ptr<likelihood_totals> Mcmc::getLikelihoodTotals() const {
  return outcomes_ ? std::make_unique<likelihood_totals>(*outcomes_, working_.data) : nullptr;
}

arma::uword Mcmc::getUnobservedCells() const {
  return outcomes_ ? outcomes_->n_unobserved() : 0;
}

arma::Col<double> Mcmc::getCorrelations() const {
  return outcomes_ ? outcomes_->correlations(working_.data) : arma::Col<double>();
}

arma::uword Mcmc::getNumberCorrelations() const {
  return outcomes_ ? outcomes_->n_correlations() : 0;
}

const std::vector<std::unique_ptr<Variable>>& Mcmc::predictors() const {
  return predictors_->models();
}
const std::vector<std::string>& Mcmc::predictor_column_names() const {
  return predictors_->column_names();
}
const std::vector<excluded_level>& Mcmc::excluded_predictors() const {
  return predictors_->excluded();
}

const estimator::weights* Mcmc::weights(const int& level) const {
  if (working_.weights.empty()) throw error("ERROR: Cannot use sampling weights when none have been set.");
  return working_.weights.at(static_cast<std::size_t>(level)).get();
}

estimator::cluster Mcmc::clusters(const int& level) const {
  return working_.clusters(static_cast<unsigned>(level));
}

}  // namespace tovik::sem
