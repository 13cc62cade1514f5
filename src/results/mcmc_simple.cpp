// Conditional effects of one chain.

#include <algorithm>
#include <deque>
#include <memory>

#include "model/model.hpp"
#include "results/moderator_deviation.hpp"
#include "results/simple_slopes.hpp"
#include "sem/chain/mcmc.hpp"
#include "sem/ensemble/outcomes.hpp"
#include "sem/predictors/variable.hpp"
#include "support/error.hpp"

namespace tovik::sem {

/// The chain's copy of the effects, and the deviations that they read.
struct Mcmc::chain_slopes {
  SimpleList list;
  std::deque<ModeratorDeviation> deviations;  // effects hold addresses into them
};

namespace {

bool holds(const arma::Col<arma::uword>& columns, arma::uword column) {
  return std::find(columns.begin(), columns.end(), column) != columns.end();
}

/// True for a column of values or of means that a model of the variable writes.
bool writes(const Variable& model, arma::uword column) {
  if (holds(model.value_columns(), column)) return true;
  for (unsigned d = 1; d < model.n_levels - model.level; ++d) {
    if (model.isDeviation(d) && holds(model.mean_columns(d), column)) return true;
  }
  return false;
}

}  // namespace

void Mcmc::addSimpleSlopes(const SimpleList& list) {
  if (list.empty()) return;
  if (!outcomes_) throw error_debug("NO OUTCOME HAS BEEN SPECIFIED!");
  simple_ = std::make_shared<chain_slopes>();
  simple_->list = list;
  for (ModelSlopes& model : simple_->list) {
    const estimator::Outcome& outcome = outcomes_->outcome(model.model);
    for (SimpleSlopes& effect : model.effects) {
      std::vector<const double*> units;
      for (const moderator& m : effect.moderators()) {
        if (m.in_sd) {
          deviation_source source = m.source;
          source.latent = std::any_of(predictors().begin(), predictors().end(), [&](const auto& predictor) {
            return writes(*predictor, source.column);
          });
          simple_->deviations.emplace_back(source, working_);
        }
        units.push_back(m.in_sd ? simple_->deviations.back().value() : nullptr);
      }
      effect.bind(outcomes_->betas(model.model), outcome.x, outcome.x_compute, working_.data.n_cols,
                  std::move(units));
    }
  }
}

void Mcmc::computeSimpleSlopes() {
  if (!simple_) return;
  for (ModeratorDeviation& deviation : simple_->deviations) deviation.update();
  for (ModelSlopes& model : simple_->list) {
    for (SimpleSlopes& effect : model.effects) effect.compute();
  }
}

arma::Col<double> Mcmc::getSimpleSlopes() const {
  return simple_ ? simple_->list.estimates() : arma::Col<double>();
}

const SimpleList* Mcmc::simpleSlopes() const {
  return simple_ ? &simple_->list : nullptr;
}

unsigned Mcmc::printSimpleSlopes(std::FILE* stream, const unsigned& model, const Model&,
                                 const arma::Mat<double>& table,
                                 const std::vector<std::string>& labels) const {
  return print_simple_slopes(stream, simple_ ? simple_->list : SimpleList(), model, table, labels);
}

}  // namespace tovik::sem
