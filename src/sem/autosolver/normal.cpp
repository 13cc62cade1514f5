#include "sem/autosolver/normal.hpp"

#include <cmath>
#include <limits>
#include <utility>

#include "random/random.hpp"
#include "support/error.hpp"

namespace tovik::sem::autosolver {

normal::normal(arma::Col<double> mean_, arma::Col<double> variance_)
    : mean(std::move(mean_)), variance(std::move(variance_)), is_empty_(false) {
  if (mean.n_elem != variance.n_elem) throw error_debug("Distribution Mean and Variance not same elements");
}

normal::normal(arma::Col<double> mean_, double variance_) : mean(std::move(mean_)), is_empty_(false) {
  variance.set_size(mean.n_elem);
  variance.fill(variance_);
}

void normal::set_size(arma::uword n) {
  mean.set_size(n);
  variance.set_size(n);
  is_empty_ = false;
}

namespace {

// With the mean m and the variance v so far, the product has the variance v / (1 + v q) and the mean
// (m + v d) / (1 + v q).
inline void take_factor(double q, double d, double& mean, double& variance) {
  if (q == 0.0) return;
  const double v = variance;
  if (std::isfinite(v)) {
    const double shrink = 1.0 / (1.0 + v * q);
    mean = (mean + v * d) * shrink;
    variance = v * shrink;
  } else {
    mean = d / q;
    variance = 1.0 / q;
  }
}

}  // namespace

void normal::expect_size(arma::uword n) {
  if (is_empty_) {
    set_size(n);
    mean.zeros();
    variance.fill(std::numeric_limits<double>::infinity());
  }
  if (mean.n_elem != n) throw error_debug("Distribution Mean and Variance not same elements");
}

void normal::multiply(const double* q, const double* d, arma::uword n) {
  expect_size(n);
  for (arma::uword k = 0; k < n; ++k) take_factor(q[k], d[k], mean[k], variance[k]);
}

void normal::multiply(double q, double slope, const double* e, arma::uword n) {
  expect_size(n);
  for (arma::uword k = 0; k < n; ++k) take_factor(q, slope * e[k], mean[k], variance[k]);
}

arma::Col<double> normal::draw(Random* rng) const {
  arma::Col<double> out(mean.n_elem);
  rng->fill_randn(out.memptr(), out.n_elem);
  for (arma::uword k = 0; k < out.n_elem; ++k) out[k] = mean[k] + std::sqrt(variance[k]) * out[k];
  return out;
}

arma::Col<double> normal::draw(const arma::Col<arma::uword>& rows, Random* rng) const {
  arma::Col<double> out(rows.n_elem);
  rng->fill_randn(out.memptr(), out.n_elem);
  for (arma::uword k = 0; k < rows.n_elem; ++k)
    out(k) = mean(rows(k)) + std::sqrt(variance(rows(k))) * out(k);
  return out;
}

}  // namespace tovik::sem::autosolver
