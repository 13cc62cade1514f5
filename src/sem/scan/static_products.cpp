#include "sem/scan/static_products.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "sem/scan/blas.hpp"

namespace tovik::sem::scan {

void static_products::build(const arma::Mat<double>& X, const gram& G, coefficient_step& step,
                            const arma::Col<double>& y, double v, const double* b, const arma::Mat<double>* z,
                            const estimator::selector* clusters, const cluster_products* A) {
  arma::uword const k = X.n_cols;
  G_ = &G;
  A_ = A;
  base_ = arma::Col<double>(b, k);
  shift_.zeros(k);
  h_.zeros(k);
  xe_ = X.t() * y;
  step.mean(G.values(), xe_.memptr(), v, base_.memptr());
  arma::Col<double> e = y - X * base_;
  // One step of refinement: the base need not be exact, but then it is to rounding.
  arma::Col<double> correction(k, arma::fill::zeros);
  xe_ = X.t() * e;
  step.mean(G.values(), xe_.memptr(), v, correction.memptr(), base_.memptr());
  base_ += correction;
  e = y - X * base_;
  xe_ = X.t() * e;
  ee_ = arma::dot(e, e);
  P_.clear();
  if (z != nullptr) {
    const row_scale one;
    for (arma::uword j = 0; j < z->n_cols; ++j) {
      P_.emplace_back(clusters->size(), k);
      for (arma::uword l = 0; l < k; ++l)
        cluster_sums(z->colptr(j), X.colptr(l), *clusters, one, P_.back().colptr(l));
    }
    cluster_sums(*z, e.memptr(), *clusters, one, ze_);
    t_ = ze_;
  }
  built_ = true;
}

void static_products::draw_coefficients(coefficient_step& step, double v, const arma::Mat<double>* u,
                                        Random& rng, double* b) {
  condition_on(b);
  std::copy_n(xe_.memptr(), h_.n_elem, h_.memptr());
  if (u != nullptr)
    for (std::size_t j = 0; j < P_.size(); ++j)
      multiply_transposed(-1.0, P_[j], u->colptr(j), 1.0, h_.memptr());
  step.draw(G_->values(), h_.memptr(), v, rng, shift_.memptr(), base_.memptr());
  for (arma::uword j : step.free()) b[j] = base_(j) + shift_(j);
}

bool static_products::draw_integrated(integrated_step& step, double w, const arma::Mat<double>& K,
                                      arma::uword n_units, Random& rng, double* b) {
  condition_on(b);
  if (!step.draw(A_->values(), P_, ze_, G_->values(), xe_.memptr(), w, K, n_units, rng, shift_.memptr(),
                 base_.memptr()))
    return false;
  for (arma::uword j = 0; j < shift_.n_elem; ++j) b[j] = base_(j) + shift_(j);
  return true;
}

void static_products::condition_on(const double* b) {
  for (arma::uword j = 0; j < shift_.n_elem; ++j) shift_(j) = b[j] - base_(j);
}

const arma::Mat<double>& static_products::effect_sums() {
  for (std::size_t j = 0; j < P_.size(); ++j) {
    std::copy_n(ze_.colptr(j), ze_.n_rows, t_.colptr(j));
    multiply(-1.0, P_[j], shift_.memptr(), 1.0, t_.colptr(j));
  }
  return t_;
}

double static_products::sum_of_squares(const arma::Mat<double>* u) const {
  arma::uword const k = shift_.n_elem;
  const auto& G = G_->values();
  double dGd = 0.0;
  for (arma::uword j = 0; j < k; ++j) {
    double sum = 0.0;
    for (arma::uword i = 0; i < j; ++i) sum += G(i, j) * shift_(i);
    dGd += shift_(j) * (2.0 * sum + G(j, j) * shift_(j));
  }
  const double linear = 2.0 * dot(k, shift_.memptr(), xe_.memptr());
  double ut = 0.0, uAu = 0.0;
  if (u != nullptr && !P_.empty()) {
    ut = dot(u->n_elem, u->memptr(), t_.memptr());
    uAu = quadratic_form(A_->values(), *u);
  }
  const double total = ee_ - linear + dGd - 2.0 * ut + uAu;
  const double size = ee_ + std::fabs(linear) + dGd + 2.0 * std::fabs(ut) + uAu;
  return total > 1e-9 * size ? total : std::numeric_limits<double>::quiet_NaN();
}

}  // namespace tovik::sem::scan
