// What the equations together say of the data.

#include <algorithm>
#include <memory>
#include <utility>

#include "sem/ensemble/joint_likelihood.hpp"
#include "sem/ensemble/likelihood_lists.hpp"
#include "sem/ensemble/outcomes.hpp"
#include "sem/ensemble/tied_models.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

using model_ptr = std::shared_ptr<estimator::Outcome>;

bool has_random_effects(const estimator::Outcome& model) {
  for (unsigned L = 0; L < model.n_levels; ++L) {
    if (model.n_random(L) > 0) return true;
  }
  return false;
}

/// Its conditional density counts units by sampling weights, its marginal density does not.
bool is_weighted(const estimator::Outcome& model) {
  const auto* equation = dynamic_cast<const Regression*>(&model);
  return equation != nullptr && equation->sampling() != nullptr;
}

/// The density of a member is that of its block.
bool counts(const estimator::Outcome& model) {
  return has_likelihood(model) && model.link == nullptr;
}

}  // namespace

arma::Col<double> Outcomes::logLiklihood(const arma::Mat<double>& data, int level) const {
  arma::Col<double> out(working_.n_units(static_cast<unsigned>(level)), arma::fill::zeros);
  for (const model_ptr& model : models) {
    if (!counts(*model) || static_cast<int>(model->level) > level) continue;
    out += model->logLiklihood(data, level);
  }
  return out;
}

double Outcomes::logLiklihood(const arma::Mat<double>& data) const {
  double sum = 0.0;
  for (const model_ptr& model : models) {
    if (counts(*model)) sum += model->logLiklihood(data);
  }
  return sum;
}

arma::Col<double> Outcomes::computeLL(const arma::Mat<double>& data, int level) const {
  return logLiklihood(data, level);
}

double Outcomes::computeLL(const arma::Mat<double>& data) const {
  return logLiklihood(data);
}

void Outcomes::tie_likelihoods() {
  tied_ = tied_models(models);
  joint_.resize(models.size());
  for (std::size_t i = 0; i < models.size(); ++i) {
    if (std::count(tied_.begin(), tied_.end(), i) < 2) continue;
    std::vector<const Regression*> members;
    for (std::size_t j = 0; j < models.size(); ++j) {
      const auto* equation = dynamic_cast<const Regression*>(models[j].get());
      if (tied_[j] == i && equation != nullptr) members.push_back(equation);
    }
    joint_[i] = std::make_unique<joint_likelihood>(std::move(members), working_);
  }
}

arma::uword Outcomes::n_top_units() const {
  return working_.n_units(working_.n_levels() - 1);
}

std::vector<std::size_t> Outcomes::likelihood_models() const {
  std::vector<std::size_t> out;
  for (std::size_t i = 0; i < models.size(); ++i)
    if (has_likelihood(*models[i]) && tied_[i] == i) out.push_back(i);
  return out;
}

bool Outcomes::integrates_out(std::size_t model) const {
  return joint_[model] != nullptr ? joint_[model]->has_effects() : has_random_effects(*models[model]);
}

std::unique_ptr<estimator::block_likelihood> Outcomes::blockLiklihood(std::size_t model,
                                                                      const arma::Mat<double>& data) const {
  if (joint_[model] != nullptr || models[model]->level + 1 != working_.n_levels()) return nullptr;
  return models[model]->blockLiklihood(data);
}

/// Of all models whose density stands at this one.
void Outcomes::add_log_jacobians(std::size_t model, const arma::Mat<double>& data,
                                 arma::Col<double>& out) const {
  for (std::size_t j = 0; j < models.size(); ++j)
    if (tied_[j] == model) models[j]->addLogJacobian(data, out);
}

arma::Col<double> Outcomes::conditional_of(std::size_t model, const arma::Mat<double>& data) const {
  arma::Col<double> out = joint_[model] != nullptr ? joint_[model]->conditional(data)
                                                   : models[model]->observed_logLiklihood(
                                                         data, static_cast<int>(working_.n_levels()) - 1);
  add_log_jacobians(model, data, out);
  return out;
}

arma::Col<double> Outcomes::marginal_of(std::size_t model, const arma::Mat<double>& data) const {
  try {
    arma::Col<double> out = joint_[model] != nullptr ? joint_[model]->marginal(data)
                                                     : models[model]->observed_marginal_logLiklihood(data);
    add_log_jacobians(model, data, out);
    return out;
  } catch (const numeric_error&) {
    // A covariance matrix on the edge of positive definiteness: the fit statistics leave the marginal block
    // out, the run goes on.
    arma::Col<double> lost(n_top_units());
    lost.fill(arma::datum::nan);
    return lost;
  }
}

void Outcomes::add_likelihood(std::size_t model, const arma::Mat<double>& data, arma::Col<double>* marginal,
                              arma::Col<double>& conditional) const {
  const arma::Col<double> given = conditional_of(model, data);
  conditional += given;
  if (marginal == nullptr) return;
  if (integrates_out(model) || is_weighted(*models[model]))
    *marginal += marginal_of(model, data);
  else
    *marginal += given;
}

arma::Cube<double> Outcomes::likelihood(const arma::Mat<double>& data) const {
  const auto counted = std::count_if(models.begin(), models.end(),
                                     [](const model_ptr& model) { return has_likelihood(*model); });
  const arma::uword n_models = static_cast<arma::uword>(counted);
  arma::Cube<double> out(n_top_units(), 2, n_models + 1);
  out.zeros();
  arma::uword slice = 0;
  for (std::size_t i = 0; i < models.size(); ++i) {
    if (!has_likelihood(*models[i])) continue;
    if (tied_[i] == i) {
      out.slice(slice).col(1) = conditional_of(i, data);
      const bool differs = integrates_out(i) || is_weighted(*models[i]);
      out.slice(slice).col(0) = differs ? marginal_of(i, data) : out.slice(slice).col(1);
      out.slice(n_models) += out.slice(slice);
    }
    ++slice;
  }
  return out;
}

arma::uword Outcomes::n_unobserved() const {
  arma::uword out = 0;
  for (const model_ptr& model : models) out += model->n_unobserved();
  return out;
}

}  // namespace tovik::sem
