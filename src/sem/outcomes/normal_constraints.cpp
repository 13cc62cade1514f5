// Parameters of a normal outcome that are driven or read from outside.

#include <algorithm>
#include <cmath>
#include <utility>

#include "random/constants.hpp"
#include "sem/outcomes/normal.hpp"
#include "sem/scan/blas.hpp"
#include "support/error.hpp"

namespace tovik::sem {

namespace {


estimator::parameterT<double> at(double* address, unsigned level) {
  estimator::parameterT<double> out;
  out.value = *address;
  out.level = level;
  out.links = {address};
  return out;
}

}  // namespace

arma::Mat<double> Normal::betaCovB(arma::Mat<double> const& data, unsigned const& index) const {
  if (index >= betas_.n_elem) throw error_debug("The outcome has no such coefficient.");
  arma::Col<double> scratch;
  arma::uword const n = level == 0 ? data.n_rows : cluster.own_rows[0]->n_elem;
  double const* column = scan_->terms().terms.x.at(index, data, unit_rows(), scratch);
  arma::Mat<double> out(1, 1);
  out(0, 0) = sigma2 / scan::dot(n, column, column);
  return out;
}

double Normal::compute_LL_node(double const&, arma::Mat<double> const& data) const {
  if (link == nullptr && parts_[0].empty()) {
    double const ss = scan_->squares(betas_, u);
    double const v = residVar();
    if (!std::isnan(ss)) return -0.5 * (static_cast<double>(n_units) * (log_2_pi + std::log(v)) + ss / v);
  }
  return logLiklihood(data);
}

std::shared_ptr<estimator::constraint> Normal::driven_coefficient(unsigned index) {
  if (index >= betas_.n_elem) throw error_debug("The outcome has no such coefficient.");
  scan_->hold(index);
  free = scan_->terms().free;
  fixed = scan_->terms().fixed;
  auto out = std::make_shared<estimator::constraint>(rng, at(betas_.memptr() + index, level));
  driven_.add(index);
  out->refresh.emplace_back([this] { driven_.follow(betas_); });
  out->likelihoods.emplace_back(
      link != nullptr ? static_cast<void const*>(link.get()) : this,
      [this](double const& x, arma::Mat<double> const& data) { return compute_LL_node(x, data); });
  return out;
}

std::shared_ptr<estimator::constraint> Normal::moved_intercept() {
  if (!has_intercept || !arma::any(free == 0)) return nullptr;
  auto out = std::make_shared<estimator::constraint>(rng, at(betas_.memptr(), level));
  out->refresh.emplace_back([this] { driven_.anchor(betas_); });
  return out;
}

void Normal::connectDriven(arma::Mat<double> const& data) {
  if (driven_.empty() || link != nullptr) return;
  auto const& columns = scan_->terms().terms.x;
  if (columns.all_static() && driven_.connected()) return;
  arma::uword const n = level == 0 ? data.n_rows : cluster.own_rows[0]->n_elem;
  arma::Mat<double> X(n, columns.size(), arma::fill::zeros);
  arma::Col<double> scratch;
  for (arma::uword j = 0; j < X.n_cols; ++j) {
    bool const known = !driven_.holds(j) && arma::any(fixed == j);
    if (known) continue;
    std::copy_n(columns.at(j, data, unit_rows(), scratch), n, X.colptr(j));
  }
  driven_.connect(X, free, betas_);
}

std::shared_ptr<estimator::constraint> Normal::driven_variance() {
  if (link != nullptr) throw error_debug("Cannot constrain residual variance has multivariate link.");
  estimate_resid = false;
  double const n = static_cast<double>(n_units);
  double const spread = 2.0 * sigma2 * sigma2 / (n - 2.0);
  auto out = std::make_shared<estimator::constraint>(rng, at(&sigma2, level),
                                                     n > 2.0 && std::isfinite(spread) ? spread : 1.0);
  if (!parts_[0].empty()) out->refresh.emplace_back([this] { refresh_phantoms(0); });
  out->likelihoods.emplace_back(
      this, [this](double const& x, arma::Mat<double> const& data) { return residVarAR(x, data); });
  return out;
}

double* Normal::covariance_element(unsigned index, unsigned L) {
  if (L >= Sigma.size() || index >= Sigma[L].n_elem)
    throw error_debug("The outcome has no such random effect.");
  return Sigma[L].memptr() + index;
}

std::shared_ptr<estimator::constraint> Normal::constraint(parameter_type const& kind, unsigned const& index,
                                                          unsigned const& at_level) {
  switch (kind) {
    case parameter_type::coefficient:
      return driven_coefficient(index);
    case parameter_type::residual_variance:
      return driven_variance();
    case parameter_type::random_covariance:
      return std::make_shared<estimator::constraint>(rng, at(covariance_element(index, at_level), at_level));
    case parameter_type::residual_variance_read:
      return std::make_shared<estimator::constraint>(rng, at(&sigma2, level));
    case parameter_type::coef_var:
      return std::make_shared<estimator::constraint>(rng, at(&coef_var, level));
    case parameter_type::total_var:
      return std::make_shared<estimator::constraint>(rng, at(&total_var, level));
    case parameter_type::slope_total:
      return std::make_shared<estimator::constraint>(rng, at(&slope_total, level));
    case parameter_type::icept_total:
      return std::make_shared<estimator::constraint>(rng, at(&icept_total, level));
    case parameter_type::phantom_correlation:
      return driven_correlation(index, at_level);
    default:
      throw error_debug("Unrecognized constraint for Normal model.");
  }
}

std::shared_ptr<estimator::constraint> Normal::driven_correlation(unsigned index, unsigned place) {
  if (place >= parts_.size() || index >= parts_[place].loadings.size())
    throw error_debug("The outcome has no such phantom.");
  auto out = std::make_shared<estimator::constraint>(rng, at(&parts_[place].loadings.rho(index), place));
  out->refresh.emplace_back([this, place] { refresh_phantoms(place); });
  // The density of random effects is another term than that of the units.
  void const* source = place == 0 ? static_cast<void const*>(this) : &parts_[place];
  out->likelihoods.emplace_back(source, [this, place](double const& x, arma::Mat<double> const& data) {
    return place == 0 ? compute_LL_correlation(x, data)
                      : compute_LL_correlation_L(x, data, static_cast<int>(place) - 1);
  });
  return out;
}

void Normal::refreshShares(arma::Mat<double> const& data) {
  scan_->reread_parameters(data);
  update_shares();
}

}  // namespace tovik::sem
