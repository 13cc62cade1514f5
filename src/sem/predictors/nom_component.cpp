#include "sem/predictors/nom_component.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "sem/predictors/component.hpp"
#include "sem/wiring/settings.hpp"
#include "support/error.hpp"

namespace tovik::sem {

double& NomComponent::gammaPrior = categorical_priors::predictor_nominal_gamma;

namespace {

component_setup with_prior(component_setup setup, double gamma_prior) {
  setup.gamma_prior = gamma_prior;
  return setup;
}

void check_categories(const arma::Col<arma::uword>& categories, arma::uword n, arma::uword dim) {
  if (categories.n_elem != n || (n > 0 && categories.max() > dim))
    throw error_debug("Categories of a nominal variable do not fit.");
}

arma::uword category_of(const arma::Mat<double>& scores, arma::uword row) {
  arma::uword best = 0;
  for (arma::uword c = 1; c < scores.n_cols; ++c)
    if (scores(row, c) > scores(row, best)) best = c;
  if (std::isnan(scores(row, best))) throw error_debug("ERROR: Unable to categorize latent value.");
  return scores(row, best) > 0.0 ? best + 1 : 0;
}

}  // namespace

NomComponent::NomComponent(const component_setup& setup, arma::Col<arma::uword> categories,
                           const arma::Col<arma::uword>& missing)
    : Component(with_prior(setup, gammaPrior)),
      categories_(std::move(categories)),
      Sigma_(0.5 * (arma::Mat<double>(setup.dim, setup.dim, arma::fill::eye) +
                    arma::Mat<double>(setup.dim, setup.dim, arma::fill::ones))) {
  check_categories(categories_, n_units(), dim());
  std::vector<unsigned char> imputed(n_units(), 0);
  for (arma::uword i : missing) imputed.at(i) = 1;
  observed_.set_size(n_units() - missing.n_elem);
  for (arma::uword i = 0, k = 0; i < n_units(); ++i)
    if (!imputed[i]) observed_[k++] = i;
  for (arma::uword i = 0; i < n_units(); ++i) startScores(i);
}

void NomComponent::startScores(arma::uword unit) {
  for (arma::uword c = 0; c < dim(); ++c) score(unit, c) = categories_[unit] == c + 1 ? 0.5 : -0.5;
}

void NomComponent::setScore(const arma::Mat<double>& scores, const arma::Col<arma::uword>& units) {
  Component::setScore(scores, units);
  for (arma::uword i = 0; i < units.n_elem; ++i) categories_[units[i]] = category_of(scores, i);
}

void NomComponent::setCategories(const arma::Col<arma::uword>& categories) {
  check_categories(categories, n_units(), dim());
  categories_ = categories;
  observed_ = arma::regspace<arma::Col<arma::uword>>(0, n_units() - 1);
  for (arma::uword i = 0; i < n_units(); ++i)
    if (category_of(score, i) != categories_[i]) startScores(i);
}

void NomComponent::drawLatent(const arma::Mat<double>& mean) {
  completeLatentDraws(mean);
}

void NomComponent::completeLatentDraws(const arma::Mat<double>& mean) {
  if (mean.n_rows != n_units() || mean.n_cols != dim())
    throw error_debug("Means do not have the shape of their level.");
  for (arma::uword unit : observed_) drawUnit(unit, mean);
}

/// inv(Sigma) = 2 (I - 11' / (D + 1)): a difference has, given the others, the mean mu_c plus their mean
/// excess sum_{k != c} (Z_k - mu_k) / D, and the variance (D + 1) / (2 D).
void NomComponent::drawUnit(arma::uword unit, const arma::Mat<double>& mean) {
  arma::uword const D = dim(), category = categories_[unit];
  const double d = static_cast<double>(D), sd = std::sqrt((d + 1.0) / (2.0 * d));
  double excess = 0.0;
  for (arma::uword k = 0; k < D; ++k) excess += score(unit, k) - mean(unit, k);
  for (arma::uword c = 0; c < D; ++c) {
    double& z = score(unit, c);
    excess -= z - mean(unit, c);
    const double m = mean(unit, c) + excess / d;
    if (category == c + 1) {
      double bound = 0.0;
      for (arma::uword k = 0; k < D; ++k)
        if (k != c) bound = std::max(bound, score(unit, k));
      z = rng->trNorm(m, bound, sd, false);
    } else {
      z = rng->trNorm(m, category == 0 ? 0.0 : score(unit, category - 1), sd, true);
    }
    excess += z - mean(unit, c);
  }
}

void NomComponent::draw(level_scores& level, const arma::Col<arma::uword>& x,
                        const arma::Col<arma::uword>& own) {
  drawCoefficients(level, x, own, Sigma_);
}

arma::Col<arma::uword> NomComponent::categorize(const arma::Mat<double>& scores) const {
  arma::Col<arma::uword> out(scores.n_rows);
  for (arma::uword i = 0; i < scores.n_rows; ++i) out[i] = category_of(scores, i);
  return out;
}

arma::Col<double> NomComponent::variances() const {
  return lower_triangle(Sigma_);
}

}  // namespace tovik::sem
