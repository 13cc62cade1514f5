// How a normal outcome is connected to other models.

#include "sem/outcomes/normal.hpp"
#include "sem/scan/blas.hpp"
#include "support/error.hpp"
#include "support/not_available.hpp"

namespace tovik::sem {

void Normal::addIndicator(arma::Col<arma::uword> const& cols, indicator_type const& kind) {
  if (cols.is_empty()) return;
  if (kind != indicator_type::random_effect)
    throw error_debug("A normal outcome publishes no latent residual.");
  not_available::refuse("A random effect as a variable of another equation");
}

void Normal::addLL(estimator::likelihood* l, likelihood_type const& kind) {
  std::unique_ptr<estimator::likelihood> owned(l);
  if (kind == likelihood_type::random_effect) {
    us_ll = std::move(owned);
    return;
  }
  if (owned != nullptr && missing)
    not_available::refuse("An incomplete outcome that predicts another variable");
  ll = std::move(owned);
}

void Normal::addDist(std::shared_ptr<autosolver::solver<autosolver::normal>> const&,
                     distribution_type const& kind) {
  if (kind != distribution_type::fixed) throw error_debug("Unable to set autosolver for Normal.");
  not_available::refuse("A solved distribution for missing values");
}

void Normal::addTransform(evaluate::pair const& pair) {
  if (pair.flag) not_available::refuse("A transformed outcome");
}

void Normal::setCentering(estimator::covariate_link* link_) {
  centering.reset(link_);
}

void Normal::addMulti(std::shared_ptr<Multi> const&) {
  not_available::refuse("A block of outcomes with correlated residuals");
}

arma::Mat<double> Normal::betaCovB(arma::Mat<double> const& data, unsigned const& index) const {
  if (index >= betas_.n_elem) throw error_debug("The outcome has no such coefficient.");
  arma::Col<double> scratch;
  arma::uword const n = level == 0 ? data.n_rows : cluster.own_rows[0]->n_elem;
  double const* column = scan_->terms().terms.x.at(index, data, unit_rows(), scratch);
  arma::Mat<double> out(1, 1);
  out(0, 0) = sigma2 / scan::dot(n, column, column);
  return out;
}

std::shared_ptr<estimator::constraint> Normal::constraint(parameter_type const& kind, unsigned const&,
                                                          unsigned const&) {
  estimator::parameterT<double> parameter;
  switch (kind) {
    case parameter_type::residual_variance_read:
      parameter.links = {&sigma2};
      break;
    case parameter_type::coef_var:
      parameter.links = {&coef_var};
      break;
    case parameter_type::total_var:
      parameter.links = {&total_var};
      break;
    case parameter_type::slope_total:
      parameter.links = {&slope_total};
      break;
    case parameter_type::icept_total:
      parameter.links = {&icept_total};
      break;
    case parameter_type::coefficient:
    case parameter_type::random_covariance:
    case parameter_type::residual_variance:
    case parameter_type::phantom_correlation:
      not_available::refuse("A parameter with a label");
    default:
      throw error_debug("Unrecognized constraint for Normal model.");
  }
  parameter.value = *parameter.links.front();
  parameter.level = level;
  return std::make_shared<estimator::constraint>(rng, parameter);
}

estimator::likelihood_function Normal::likelihoodFunc(likelihood_type const& kind) const {
  using units_of = arma::Col<arma::uword>;
  if (kind == likelihood_type::random_effect) {
    return {this, [this](arma::Mat<double> const& data, int const& at) {
              return compute_Us_LL(data, at - static_cast<int>(level) - 1);
            }};
  }
  return {this, [this](arma::Mat<double> const& data, int const& at) { return logLiklihood(data, at); },
          [this](arma::Mat<double> const& data, int const& at, units_of const& units, double* out) {
            addLogLiklihood(data, at, units, out);
          }};
}

autosolver::contribution<autosolver::normal> Normal::distributionFunc(distribution_type const&,
                                                                      autosolver::solution const&,
                                                                      int const&) const {
  throw error_debug("Unable to get autosolver function for Normal.");
}

autosolver::contribution<autosolver::normal_1D> Normal::distributionFunc(distribution_type const&,
                                                                         autosolver::solution const&) const {
  throw error_debug("Unable to get autosolver function for Normal.");
}

autosolver::contribution<autosolver::inv_gamma> Normal::distributionFunc(distribution_type const&) const {
  throw error_debug("Unable to get autosolver function for Normal.");
}

}  // namespace tovik::sem
