#include "sem/scan/log_variance_shear.hpp"

#include <algorithm>
#include <cmath>

#include "sem/scan/blas.hpp"
#include "sem/scan/small_cholesky.hpp"

namespace tovik::sem::scan {

void log_variance_shear::begin(const arma::Mat<double>& V, const arma::Mat<double>& g,
                               const arma::Col<arma::uword>& which, const coefficient_prior& prior,
                               double bound, const double* x) {
  prior_ = &prior;
  bound_ = bound;
  g_.set_size(g.n_elem);
  std::copy_n(g.memptr(), g.n_elem, g_.memptr());
  a_.zeros(g.n_elem);
  if (regress(V, which, x))
    for (arma::uword k = 0; k < which.n_elem; ++k) a_(which(k)) = work_(k);
  for (arma::Col<double>* of_units : {&l_, &along_, &roots_}) of_units->set_size(V.n_rows);
  multiply(1.0, V, g_.memptr(), 0.0, l_.memptr());
  multiply(2.0, V, a_.memptr(), 0.0, along_.memptr());
}

bool log_variance_shear::regress(const arma::Mat<double>& V, const arma::Col<arma::uword>& which,
                                 const double* x) {
  const arma::uword q = which.n_elem, n = V.n_rows;
  if (q == 0) return false;
  T_.set_size(q, q);
  work_.set_size(q);
  for (arma::uword j = 0; j < q; ++j) {
    for (arma::uword i = 0; i <= j; ++i) T_(i, j) = dot(n, V.colptr(which(i)), V.colptr(which(j)));
    work_(j) = dot(n, V.colptr(which(j)), x);
  }
  if (!work_.is_finite() || !reverse_cholesky(T_.memptr(), q, singular_share(n))) return false;
  solve_upper(T_.memptr(), q, work_.memptr());
  solve_upper_transposed(T_.memptr(), q, work_.memptr());
  return work_.is_finite();
}

double log_variance_shear::at(double d) {
  double logs = 0.0, prior = 0.0;
  for (arma::uword i = 0; i < l_.n_elem; ++i) {
    const double l = std::max(l_(i) + d * along_(i), bound_);
    logs += l;
    roots_(i) = std::exp(-0.5 * l);
  }
  for (arma::uword j = 0; !prior_->is_flat() && j < g_.n_elem; ++j) {
    const double from_mean = g_(j) + 2.0 * d * a_(j) - prior_->mean(j);
    prior += prior_->precision(j) * from_mean * from_mean;
  }
  return -0.5 * (logs + prior);
}

void log_variance_shear::move(double d, arma::Mat<double>& g) const {
  for (arma::uword j = 0; j < g.n_elem; ++j) g(j) = g_(j) + 2.0 * d * a_(j);
}

}  // namespace tovik::sem::scan
