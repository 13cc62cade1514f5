#include "sem/outcomes/logistic.hpp"

#include <algorithm>
#include <cmath>

#include "support/error.hpp"

namespace tovik::sem {

Logistic::Logistic(const Estimator* estimator_, const equation_setup& setup)
    : Outcome(parts_of(estimator_, data::type::ordinal, setup)),
      polya_gamma_regression(estimator_, data::type::ordinal, setup) {
  refresh_phantoms(0);
}

void Logistic::set_offset(const arma::Col<double>* offset) {
  if (offset == nullptr) {
    offset_.reset();
    return;
  }
  if (offset->n_elem != n_units) throw error_debug("The offset does not match the units.");
  offset_.set_size(n_units);
  std::copy_n(offset->memptr(), n_units, offset_.memptr());
}

void Logistic::draw(arma::Mat<double>& data, const arma::Col<double>* offset) {
  set_offset(offset);
  polya_gamma_regression::draw(data);
}

bool Logistic::make_ready(arma::Mat<double>& data) {
  set_offset(nullptr);
  return polya_gamma_regression::make_ready(data);
}

void Logistic::draw_candidates(const arma::Mat<double>& data, const arma::Col<arma::uword>& units,
                               std::vector<double>& out) {
  predictor_at(data, units, out.data());
  for (arma::uword k = 0; k < units.n_elem; ++k)
    out[k] = rng->runif() < scan::logistic(out[k] - offset(units(k))) ? 1.0 : 0.0;
}

std::shared_ptr<estimator::constraint> Logistic::own_constraint(const parameter_type& kind,
                                                                const unsigned& index) {
  if (kind == parameter_type::residual_variance_read) return handle(&unexplained_, level);
  return Regression::own_constraint(kind, index);
}

// 0, of which nothing is left, where the correlations leave nothing.
double Logistic::correlated_variance() const {
  const phantom_loadings& here = part(0).loadings;
  double left = 1.0;
  for (arma::uword k = 0; k < here.size(); ++k) left -= std::fabs(here.rho(k));
  return left > 0.0 ? scan::logistic_variance / left : 0.0;
}

arma::Mat<double> Logistic::compute_predicted_prob(const arma::Mat<double>& data) const {
  return compute_predicted(data);
}

}  // namespace tovik::sem
