#include "sem/predictors/multivar_component.hpp"

#include <algorithm>
#include <stdexcept>

namespace tovik::sem {

arma::Col<double> lower_triangle(arma::Mat<double> const& S) {
  arma::Col<double> out(S.n_rows * (S.n_rows + 1) / 2);
  arma::uword at = 0;
  for (arma::uword j = 0; j < S.n_cols; ++j)
    for (arma::uword i = j; i < S.n_rows; ++i) out[at++] = S(i, j);
  return out;
}

MultivarComponent::MultivarComponent(component_setup const& setup)
    : Component(setup),
      Sigma_(setup.dim, setup.dim, arma::fill::eye),
      precision_(setup.dim, setup.dim, arma::fill::eye) {
  if (setup.n_units < 2 * setup.dim + setup.n_predictors + 1)
    throw std::runtime_error("There are too few units for the predictors of a level.");
}

/// A share of the diagonal is added, so that few units or proportional columns do not start it singular.
void MultivarComponent::startVariance(arma::Mat<double> const& deviations, double least) {
  Sigma_ = arma::symmatl(arma::cov(deviations));
  for (arma::uword k = 0; k < Sigma_.n_rows; ++k) Sigma_(k, k) = std::max(least, Sigma_(k, k)) * 1.05;
}

void MultivarComponent::draw(level_scores& level, arma::Col<arma::uword> const& x,
                             arma::Col<arma::uword> const& own) {
  drawCoefficients(level, x, own, Sigma_);
  step_.draw(prior, residuals(level, x, own), *rng, precision_, Sigma_);
  for (arma::uword k = 0; k < Sigma_.n_rows; ++k) Sigma_(k, k) = std::max(floor, Sigma_(k, k));
}

arma::uword MultivarComponent::n_estimated() const {
  return gamma.n_elem + dim() * (dim() + 1) / 2;
}

arma::Col<double> MultivarComponent::variances() const {
  return lower_triangle(Sigma_);
}

}  // namespace tovik::sem
