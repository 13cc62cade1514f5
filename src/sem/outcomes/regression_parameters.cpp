// Parameters of a regression that are driven or read from outside.

#include <algorithm>
#include <cmath>
#include <utility>

#include "sem/outcomes/regression.hpp"
#include "sem/scan/blas.hpp"
#include "support/error.hpp"

namespace tovik::sem {

std::shared_ptr<estimator::constraint> Regression::handle(double* address, unsigned at_level,
                                                          double variance) const {
  estimator::parameterT<double> parameter;
  parameter.value = *address;
  parameter.level = at_level;
  parameter.links = {address};
  return std::make_shared<estimator::constraint>(rng, parameter, variance);
}

arma::Mat<double> Regression::betaCovB(const arma::Mat<double>& data, const unsigned& index) const {
  if (index >= betas_.n_elem) throw error_debug("The outcome has no such coefficient.");
  arma::Col<double> scratch;
  arma::uword const n = level == 0 ? data.n_rows : cluster.own_rows[0]->n_elem;
  const double* column = scan_->terms().terms.x.at(index, data, unit_rows(), scratch);
  arma::Mat<double> out(1, 1);
  out(0, 0) =
      1.0 / (scan::dot(n, column, column) / residual_variance() + scan_->terms().prior.precision(index));
  return out;
}

double Regression::coefficient_variance(arma::uword j) const {
  return 1.0 / scan_->terms().prior.precision(j);
}

double Regression::compute_LL_node(const double&, const arma::Mat<double>& data) const {
  const double sum = log_likelihood_from_products();
  return std::isnan(sum) ? logLiklihood(data) : sum;
}

std::shared_ptr<estimator::constraint> Regression::driven_coefficient(unsigned index) {
  if (index >= betas_.n_elem) throw error_debug("The outcome has no such coefficient.");
  scan_->hold(index);
  split_coefficients();
  auto out = handle(betas_.memptr() + index, level);
  driven_.add(index);
  out->refresh.emplace_back([this] { follow_labels(); });
  out->likelihoods.push_back(coefficient_term());
  return out;
}

estimator::constraint::term Regression::coefficient_term() {
  return {link != nullptr ? static_cast<const void*>(link.get()) : source(),
          [this](const double& x, const arma::Mat<double>& data) { return compute_LL_node(x, data); }};
}

std::shared_ptr<estimator::constraint> Regression::moved_intercept() {
  if (!has_intercept || !arma::any(free == 0) || !scan_->terms().prior.is_flat()) return nullptr;
  auto out = handle(betas_.memptr(), level);
  out->refresh.emplace_back([this] { driven_.anchor(betas_); });
  return out;
}

double Regression::log_prior_of_drawn() const {
  const scan::coefficient_prior& prior = scan_->terms().prior;
  double sum = 0.0;
  for (arma::uword j : free) {
    const double e = betas_(j) - prior.mean(j);
    sum -= 0.5 * prior.precision(j) * e * e;
  }
  return sum;
}

// Going along leaves a density as it is only where the coefficients that do have a flat prior, or where it
// counts.
void Regression::connectDriven(const arma::Mat<double>& data) {
  if (driven_.empty()) return;
  const auto& columns = scan_->terms().terms.x;
  if (columns.all_static() && driven_.connected()) return;
  arma::uword const n = level == 0 ? data.n_rows : cluster.own_rows[0]->n_elem;
  arma::Mat<double> X(n, columns.size(), arma::fill::zeros);
  arma::Col<double> scratch;
  for (arma::uword j = 0; j < X.n_cols; ++j) {
    const bool known = !driven_.holds(j) && arma::any(fixed == j);
    if (known) continue;
    std::copy_n(columns.at(j, data, unit_rows(), scratch), n, X.colptr(j));
  }
  const bool follow = carries_prior_ || scan_->terms().prior.is_flat();
  driven_.connect(X, follow ? free : arma::Col<arma::uword>(), betas_);
}

double* Regression::covariance_element(unsigned index, unsigned L) {
  if (L >= Sigma.size() || index >= Sigma[L].n_elem)
    throw error_debug("The outcome has no such random effect.");
  return Sigma[L].memptr() + index;
}

std::shared_ptr<estimator::constraint> Regression::constraint(const parameter_type& kind,
                                                              const unsigned& index,
                                                              const unsigned& at_level) {
  switch (kind) {
    case parameter_type::coefficient:
      return driven_coefficient(index);
    case parameter_type::random_covariance:
      return handle(covariance_element(index, at_level), at_level);
    case parameter_type::coef_var:
      return handle(&coef_var, level);
    case parameter_type::total_var:
      return handle(&total_var, level);
    case parameter_type::slope_total:
      return handle(&slope_total, level);
    case parameter_type::icept_total:
      return handle(&icept_total, level);
    case parameter_type::phantom_correlation:
      return driven_correlation(index, at_level);
    default:
      return own_constraint(kind, index);
  }
}

void Regression::addLogScale(LogScale*) {
  throw error_debug("Cannot form variance link.");
}

std::shared_ptr<estimator::constraint> Regression::driven_correlation(unsigned index, unsigned place) {
  if (place >= parts_.size() || index >= parts_[place].loadings.size())
    throw error_debug("The outcome has no such phantom.");
  auto out = handle(&parts_[place].loadings.rho(index), place);
  out->refresh.emplace_back([this, place] { refresh_phantoms(place); });
  // The density of random effects is another term than that of the units.
  const void* term = place == 0 ? source() : &parts_[place];
  out->likelihoods.emplace_back(term, [this, place](const double& x, const arma::Mat<double>& data) {
    return place == 0 ? compute_LL_correlation(x, data)
                      : compute_LL_correlation_L(x, data, static_cast<int>(place) - 1);
  });
  return out;
}

}  // namespace tovik::sem
