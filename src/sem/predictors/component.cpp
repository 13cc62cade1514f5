#include "sem/predictors/component.hpp"

#include <algorithm>
#include <string>

#include "sem/scan/blas.hpp"
#include "sem/scan/residual_variance.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {

[[noreturn]] void unsupported() {
  throw error_debug("A level regression was asked for what its kind of scores does not have.");
}

/// "variable 'x'", "variable 'x' at level 2".
std::string subject(const component_setup& setup) {
  std::string const at = setup.level == 0 ? "" : " at level " + std::to_string(setup.level);
  return "variable '" + setup.name + "'" + at;
}

}  // namespace

void require_units(const component_setup& setup, arma::uword least) {
  if (setup.n_units >= least) return;
  throw error("ERROR: There are too few units for the predictor model of " + subject(setup) +
              ".\n       It has " + std::to_string(setup.n_units) + " units and needs " +
              std::to_string(least) + ". Specify fewer variables in model.");
}

Component::Component(const component_setup& setup)
    : rng(setup.rng),
      gamma(setup.n_predictors, setup.dim, arma::fill::zeros),
      score(setup.n_units, setup.dim, arma::fill::zeros),
      prior(setup.prior),
      unit(setup.unit),
      subject_(subject(setup)),
      coefficients_(setup.n_predictors, scan::coefficient_prior::ridge(setup.gamma_prior)) {
  require_units(setup, setup.n_predictors + 3);
}

void Component::setScore(const arma::Mat<double>& scores) {
  if (scores.n_rows != score.n_rows || scores.n_cols != score.n_cols)
    throw error_debug("Scores do not have the shape of their level.");
  score = scores;
}

void Component::setScore(const arma::Mat<double>& scores, const arma::Col<arma::uword>& units) {
  if (scores.n_rows != units.n_elem || scores.n_cols != score.n_cols)
    throw error_debug("Scores do not have the shape of their level.");
  for (arma::uword k = 0; k < score.n_cols; ++k)
    for (arma::uword i = 0; i < units.n_elem; ++i) score(units[i], k) = scores(i, k);
}

void Component::startVariance(const arma::Mat<double>& deviations, double least) {
  sigma2 = std::max(least, arma::as_scalar(arma::var(deviations)));
}

const arma::Mat<double>& Component::SigmaE() const {
  unsupported();
}

arma::Mat<double> Component::covariance() const {
  return arma::Mat<double>(1, 1, arma::fill::value(sigma2));
}

void Component::setCovariance(const arma::Mat<double>& Sigma) {
  sigma2 = arma::as_scalar(Sigma);
}

void Component::drawLatent(const arma::Mat<double>&) {}

arma::Col<arma::uword> Component::categorize(const arma::Mat<double>&) const {
  unsupported();
}

const arma::Col<double>& Component::thresholds() const {
  unsupported();
}

estimator::tune_results Component::tuneResults() const {
  unsupported();
}

void Component::tune() {
  unsupported();
}

arma::uword Component::n_estimated() const {
  return gamma.n_elem + 1;
}

arma::Col<double> Component::variances() const {
  return {sigma2};
}

void Component::addRegression(const level_scores& level, const arma::Col<arma::uword>& x,
                              arma::Mat<double>& out) const {
  for (arma::uword k = 0; k < gamma.n_cols; ++k)
    for (arma::uword j = 0; j < x.n_elem; ++j)
      scan::add_scaled(out.n_rows, gamma(j, k), level.data().colptr(x[j]), out.colptr(k));
}

arma::Mat<double> Component::regression(const level_scores& level, const arma::Col<arma::uword>& x) const {
  arma::Mat<double> out(level.n_units(), gamma.n_cols, arma::fill::zeros);
  addRegression(level, x, out);
  return out;
}

arma::Mat<double> Component::regression(const level_scores& level, const arma::Col<arma::uword>& x,
                                        const arma::Col<arma::uword>& units) const {
  arma::Mat<double> out(units.n_elem, gamma.n_cols, arma::fill::zeros);
  for (arma::uword j = 0; j < x.n_elem; ++j) {
    const double* const w = level.data().colptr(x[j]);
    for (arma::uword k = 0; k < gamma.n_cols; ++k)
      for (arma::uword i = 0; i < units.n_elem; ++i) out(i, k) += gamma(j, k) * w[units[i]];
  }
  return out;
}

const arma::Mat<double>& Component::residuals(const level_scores& level, const arma::Col<arma::uword>& x,
                                              const arma::Col<arma::uword>& own) {
  residuals_.set_size(level.n_units(), own.n_elem);
  for (arma::uword k = 0; k < own.n_elem; ++k) {
    std::copy(level.data().begin_col(own[k]), level.data().end_col(own[k]), residuals_.begin_col(k));
    for (arma::uword j = 0; j < x.n_elem; ++j)
      scan::add_scaled(residuals_.n_rows, -gamma(j, k), level.data().colptr(x[j]), residuals_.colptr(k));
  }
  return residuals_;
}

void Component::drawCoefficients(level_scores& level, const arma::Col<arma::uword>& x,
                                 const arma::Col<arma::uword>& own, const arma::Mat<double>& Sigma) {
  arma::uword const p = x.n_elem, dim = own.n_elem;
  if (p != gamma.n_rows || dim != gamma.n_cols)
    throw error_debug("A level regression has other predictors than it was built for.");
  if (p == 0) return;
  level.products(x, x, G_);
  level.products(x, own, H_);
  coefficients_.draw(G_, H_, level.n_units(), Sigma, *rng, gamma);
}

/// e'e - 2 g'W'e + g'W'W g by products that are known. Where the regression leaves next to nothing their
/// difference has few digits, and the residuals are taken.
double Component::sumOfSquares(level_scores& level, const arma::Col<arma::uword>& x,
                               const arma::Col<arma::uword>& own) {
  constexpr double cancelled = 1e-4;
  level.products(own, own, own_square_);
  const double all = own_square_(0, 0);
  double ss = all;
  for (arma::uword j = 0; j < x.n_elem; ++j)
    ss += gamma[j] * (scan::dot(x.n_elem, G_.colptr(j), gamma.memptr()) - 2.0 * H_[j]);
  if (ss > cancelled * all) return ss;
  const arma::Mat<double>& r = residuals(level, x, own);
  return scan::dot(r.n_rows, r.memptr(), r.memptr());
}

void Component::draw(level_scores& level, const arma::Col<arma::uword>& x,
                     const arma::Col<arma::uword>& own) {
  drawCoefficients(level, x, own, covariance());
  const double n = static_cast<double>(level.n_units());
  const double ss = sumOfSquares(level, x, own);
  // Deviations that all vanish leave no scale for the priors without a sum of squares of their own.
  if (!(ss > 0.0) && prior != 1) {
    sigma2 = floor;
    if (!(sigma2 > 0.0))
      throw error("ERROR: The values of " + subject_ + " do not vary.\n       Remove it and rerun.");
    return;
  }
  sigma2 = std::max(floor, 1.0 / scan::draw_precision(prior, n, ss, *rng, unit));
}

// --- several columns ---------------------------------------------------------------------------------------

arma::Col<double> lower_triangle(const arma::Mat<double>& S) {
  arma::Col<double> out(S.n_rows * (S.n_rows + 1) / 2);
  arma::uword at = 0;
  for (arma::uword j = 0; j < S.n_cols; ++j)
    for (arma::uword i = j; i < S.n_rows; ++i) out[at++] = S(i, j);
  return out;
}

MultivarComponent::MultivarComponent(const component_setup& setup)
    : Component(setup),
      Sigma_(setup.dim, setup.dim, arma::fill::eye),
      precision_(setup.dim, setup.dim, arma::fill::eye) {
  require_units(setup, 2 * setup.dim + setup.n_predictors + 1);
}

/// A share of the diagonal is added, so that few units or proportional columns do not start it singular.
void MultivarComponent::startVariance(const arma::Mat<double>& deviations, double least) {
  Sigma_ = arma::symmatl(arma::cov(deviations));
  for (arma::uword k = 0; k < Sigma_.n_rows; ++k) Sigma_(k, k) = std::max(least, Sigma_(k, k)) * 1.05;
}

void MultivarComponent::draw(level_scores& level, const arma::Col<arma::uword>& x,
                             const arma::Col<arma::uword>& own) {
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
