// The parameters of a regression under sampling weights.

#include <cmath>

#include "sem/outcomes/regression.hpp"
#include "sem/scan/blas.hpp"
#include "sem/wiring/weights.hpp"

namespace tovik::sem {

/// The draws of coefficients, effects and covariance matrices are those of one density, so that some of them
/// may be integrated out of the draws of others.
bool Regression::has_one_density() const {
  return sampling() == nullptr || !sampling()->of_clusters();
}

void Regression::weigh(const arma::Col<double>& by, arma::Col<double>& values) const {
  for (arma::uword i = 0; i < values.n_elem; ++i) values(i) *= by(i);
}

double Regression::squares_of(const double* e) const {
  if (sampling() == nullptr) return scan::dot(n_units, e, e);
  const arma::Col<double>& w = sampling()->rows;
  double sum = 0.0;
  for (arma::uword i = 0; i < n_units; ++i) sum += w(i) * e[i] * e[i];
  return sum;
}

double Regression::residual_squares() {
  return sampling() == nullptr ? scan_->sum_of_squares(betas_, u) : squares_of(scan_->r().memptr());
}

void Regression::weigh_phantoms() {
  for (unsigned place = 0; place < parts_.size(); ++place)
    parts_[place].weigh(place == 0 ? &sampling()->rows : sampling()->of_level(place - 1));
}

/// The rows of u times sqrt(h), so that their squares and products are sum h u u'.
const arma::Mat<double>& Regression::effects_by_weight(unsigned L) {
  const arma::Col<double>* h = sampling() == nullptr ? nullptr : sampling()->of_level(L);
  if (h == nullptr) return u[L];
  weighted_effects_.set_size(u[L].n_rows, u[L].n_cols);
  for (arma::uword c = 0; c < h->n_elem; ++c) {
    const double root = std::sqrt((*h)(c));
    for (arma::uword j = 0; j < u[L].n_cols; ++j) weighted_effects_(c, j) = root * u[L](c, j);
  }
  return weighted_effects_;
}

}  // namespace tovik::sem
