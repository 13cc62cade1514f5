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

std::vector<unsigned char> flags(arma::uword n, const arma::Col<arma::uword>& set) {
  std::vector<unsigned char> out(n, 0);
  for (arma::uword i : set) out.at(i) = 1;
  return out;
}

void check_ordered_categories(const arma::Col<arma::uword>& categories, arma::uword n,
                              arma::uword n_categories) {
  if (categories.n_elem != n || (n > 0 && categories.max() >= n_categories))
    throw error_debug("Categories of an ordinal variable do not fit.");
}

arma::Col<arma::uword> count(const arma::Col<arma::uword>& categories, arma::uword n_categories,
                             const std::vector<unsigned char>& left_out) {
  arma::Col<arma::uword> out(n_categories, arma::fill::zeros);
  for (arma::uword i = 0; i < categories.n_elem; ++i)
    if (!left_out[i]) ++out[categories[i]];
  return out;
}

}  // namespace

OrdComponent::OrdComponent(const component_setup& setup, arma::Col<arma::uword> categories,
                           arma::uword n_categories, const arma::Col<arma::uword>& missing)
    : Component(with_gamma_prior(setup, gammaPrior)),
      categories_(std::move(categories)),
      imputed_(flags(setup.n_units, missing)),
      none_(setup.n_units, 0) {
  if (dim() != 1) throw error_debug("An ordinal variable has one column of scores.");
  check_ordered_categories(categories_, n_units(), n_categories);
  counts_ = count(categories_, n_categories, imputed_);
  tau_ = scan::thresholds(counts_);
  sort_units(imputed_, observed_members_);
}

double OrdComponent::startMean() const {
  const double n = static_cast<double>(arma::accu(counts_)), first = static_cast<double>(counts_[0]);
  return -iPhi((first + 0.5) / (n + 1.0));
}

void OrdComponent::startScores(const arma::Mat<double>& mean) {
  if (mean.n_rows != n_units()) throw error_debug("Means do not have the shape of their level.");
  unit_sets all;
  sort_units(none_, all);
  tau_.draw(all.by_category, mean.memptr(), score.memptr(), *rng);
}

void OrdComponent::setScore(const arma::Mat<double>& scores, const arma::Col<arma::uword>& units) {
  Component::setScore(scores, units);
  for (arma::uword i = 0; i < units.n_elem; ++i) {
    if (!imputed_.at(units[i])) throw error_debug("An observed category cannot be imputed.");
    categories_[units[i]] = tau_.categorize(scores(i, 0));
  }
  stale_ = true;
}

void OrdComponent::setCategories(const arma::Col<arma::uword>& categories, const arma::Mat<double>& mean) {
  check_ordered_categories(categories, n_units(), tau_.n_categories());
  if (mean.n_rows != n_units()) throw error_debug("Means do not have the shape of their level.");
  categories_ = categories;
  imputed_.assign(n_units(), 0);
  sort_units(imputed_, observed_members_);
  stale_ = true;
  for (arma::uword i = 0; i < n_units(); ++i)
    if (tau_.categorize(score[i]) != categories_[i]) score[i] = tau_.draw(categories_[i], mean[i], *rng);
}

/// In rising order, those with a flag left out.
void OrdComponent::sort_units(const std::vector<unsigned char>& left_out, unit_sets& out) const {
  arma::uword const K = tau_.n_categories();
  const arma::Col<arma::uword> counts = count(categories_, K, left_out);
  out.units.resize(categories_.n_elem);
  out.by_category.clear();
  out.by_category.reserve(K);
  arma::Col<arma::uword> at(K);
  for (arma::uword k = 0, begin = 0; k < K; begin += counts[k++]) {
    at[k] = begin;
    out.by_category.emplace_back(out.units.data() + begin, counts[k], false, true);
  }
  for (arma::uword i = 0; i < categories_.n_elem; ++i)
    if (!left_out[i]) out.units[at[categories_[i]]++] = i;
}

const std::vector<arma::Col<arma::uword>>& OrdComponent::members() {
  if (!heed_missing) return observed_members_.by_category;
  if (stale_) sort_units(none_, all_members_);
  stale_ = false;
  return all_members_.by_category;
}

/// The units whose categories the thresholds heed are those whose scores move with them: the scores of other
/// units are free, and the thresholds' conditional distribution does not involve them.
void OrdComponent::drawLatent(const arma::Mat<double>& mean) {
  if (mean.n_rows != n_units() || mean.n_cols != 1)
    throw error_debug("Means do not have the shape of their level.");
  const auto& sets = members();
  const bool moved = tau_.move(sets, mean.memptr(), n_units(), *rng);
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
