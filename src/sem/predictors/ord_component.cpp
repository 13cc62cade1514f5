#include "sem/predictors/ord_component.hpp"

#include <utility>

#include "random/densities.hpp"
#include "sem/wiring/settings.hpp"
#include "support/error.hpp"

namespace tovik::sem {

double& OrdComponent::gammaPrior = categorical_priors::predictor_ordinal_gamma;

namespace {

component_setup with_gamma_prior(component_setup setup, double gamma_prior) {
  setup.gamma_prior = gamma_prior;
  return setup;
}

}  // namespace

OrdComponent::OrdComponent(const component_setup& setup, arma::Col<arma::uword> categories,
                           arma::uword n_categories, const arma::Col<arma::uword>& missing)
    : Component(with_gamma_prior(setup, gammaPrior)),
      sets_(std::move(categories), n_categories, missing),
      tau_(sets_.observed_counts()) {
  if (dim() != 1) throw error_debug("An ordinal variable has one column of scores.");
  if (sets_.n_units() != n_units()) throw error_debug("Categories of an ordinal variable do not fit.");
}

double OrdComponent::startMean() const {
  const double n = static_cast<double>(arma::accu(sets_.observed_counts())),
               first = static_cast<double>(sets_.observed_counts()[0]);
  return -iPhi((first + 0.5) / (n + 1.0));
}

void OrdComponent::startScores(const arma::Mat<double>& mean) {
  if (mean.n_rows != n_units()) throw error_debug("Means do not have the shape of their level.");
  tau_.draw(sets_.all(), mean.memptr(), score.memptr(), *rng);
}

void OrdComponent::setScore(const arma::Mat<double>& scores, const arma::Col<arma::uword>& units) {
  Component::setScore(scores, units);
  for (arma::uword i = 0; i < units.n_elem; ++i) sets_.impute(units[i], tau_.categorize(scores(i, 0)));
}

void OrdComponent::setCategories(const arma::Col<arma::uword>& categories, const arma::Mat<double>& mean) {
  if (mean.n_rows != n_units()) throw error_debug("Means do not have the shape of their level.");
  sets_.observe(categories);
  for (arma::uword i = 0; i < n_units(); ++i)
    if (tau_.categorize(score[i]) != sets_[i]) score[i] = tau_.draw(sets_[i], mean[i], *rng);
}

/// The units whose categories the thresholds heed are those whose scores move with them: the scores of other
/// units are free, and the thresholds' conditional distribution does not involve them.
void OrdComponent::drawLatent(const arma::Mat<double>& mean) {
  if (mean.n_rows != n_units() || mean.n_cols != 1)
    throw error_debug("Means do not have the shape of their level.");
  const auto& sets = heed_missing ? sets_.all() : sets_.observed();
  const bool leapt = tau_.leap(sets, mean.memptr(), *rng);
  const bool moved =
      tau_.move(sets, mean.memptr(), n_units(), *rng, nullptr, tau_.newton.log_likelihood) || leapt;
  if (moved || tau_.tau.n_elem < 2) tau_.draw(sets, mean.memptr(), score.memptr(), *rng);
}

void OrdComponent::draw(level_scores& level, const arma::Col<arma::uword>& x,
                        const arma::Col<arma::uword>& own) {
  drawCoefficients(level, x, own, arma::Mat<double>(1, 1, arma::fill::ones));
}

arma::Col<arma::uword> OrdComponent::categorize(const arma::Mat<double>& scores) const {
  arma::Col<arma::uword> out(scores.n_rows);
  for (arma::uword i = 0; i < scores.n_rows; ++i) out[i] = tau_.categorize(scores(i, 0));
  return out;
}

estimator::tune_results OrdComponent::tuneResults() const {
  if (tau_.tau.n_elem < 2) return {};
  return {tau_.tuning};
}

arma::uword OrdComponent::n_estimated() const {
  return gamma.n_elem + tau_.tau.n_elem - 1;
}

}  // namespace tovik::sem
