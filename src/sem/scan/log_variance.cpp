#include "sem/scan/log_variance.hpp"

#include <algorithm>
#include <cmath>

#include "sem/scan/blas.hpp"
#include "sem/scan/small_cholesky.hpp"

namespace tovik::sem::scan {

void log_variance_step::begin(const arma::Mat<double>& V, const coefficient_prior& prior,
                              const log_variance_terms& terms, double bound, const arma::Mat<double>& g) {
  V_ = &V;
  prior_ = &prior;
  terms_ = terms;
  bound_ = bound;
  l_.set_size(V.n_rows);
  candidate_.set_size(V.n_rows);
  score_.set_size(V.n_rows);
  multiply(1.0, V, g.memptr(), 0.0, l_.memptr());
  here_ = log_density(l_, g);
}

/// Minus infinity or NaN where there is none.
double log_variance_step::log_density(const arma::Col<double>& l, const arma::Mat<double>& g) const {
  double logs = 0.0, squares = 0.0, crosses = 0.0, prior = 0.0;
  for (arma::uword i = 0; i < l.n_elem; ++i) {
    const double x = std::max(l(i), bound_);
    logs += x;
    squares += terms_.squares[i] * std::exp(-x);
  }
  for (arma::uword i = 0; terms_.cross != nullptr && i < l.n_elem; ++i)
    crosses += terms_.cross[i] * std::exp(-0.5 * std::max(l(i), bound_));
  for (arma::uword j = 0; !prior_->is_flat() && j < g.n_elem; ++j) {
    const double d = g(j) - prior_->mean(j);
    prior += prior_->precision(j) * d * d;
  }
  return -0.5 * (terms_.count * logs + (squares - 2.0 * crosses) / terms_.left + prior);
}

// The predictors stay, and V g moves along one column: one pass over the units for a coefficient.
void log_variance_step::walk(const arma::Col<arma::uword>& which, std::vector<estimator::tune_obj>& tune,
                             Random& rng, arma::Mat<double>& g) {
  const arma::uword n = l_.n_elem;
  for (arma::uword j : which) {
    const double before = g(j), change = tune[j].value * rng.rnorm();
    const double* v = V_->colptr(j);
    for (arma::uword i = 0; i < n; ++i) candidate_(i) = l_(i) + change * v[i];
    g(j) = before + change;
    const double there = log_density(candidate_, g);
    ++tune[j].total;
    if (std::log(rng.runif()) <= there - here_) {
      ++tune[j].accepted;
      l_.swap(candidate_);
      here_ = there;
    } else {
      g(j) = before;
    }
  }
}

/// H = information V'V + prior precisions, of the coefficients `which`.
bool log_variance_step::factor(const arma::Col<arma::uword>& which) {
  const arma::uword q = which.n_elem, n = l_.n_elem;
  T_.set_size(q, q);
  for (arma::uword j = 0; j < q; ++j) {
    for (arma::uword i = 0; i <= j; ++i)
      T_(i, j) = terms_.information * dot(n, V_->colptr(which(i)), V_->colptr(which(j)));
    T_(j, j) += prior_->precision(which(j));
  }
  return T_.is_finite() && reverse_cholesky(T_.memptr(), q, singular_share(n));
}

void log_variance_step::scoring(const arma::Col<arma::uword>& which, const arma::Col<double>& l,
                                const arma::Mat<double>& g, arma::Col<double>& step) {
  for (arma::uword i = 0; i < l.n_elem; ++i) {
    score_(i) = 0.0;
    if (!(l(i) > bound_)) continue;
    double square = terms_.squares[i] * std::exp(-l(i));
    if (terms_.cross != nullptr) square -= terms_.cross[i] * std::exp(-0.5 * l(i));
    score_(i) = 0.5 * (square / terms_.left - terms_.count);
  }
  step.set_size(which.n_elem);
  for (arma::uword k = 0; k < which.n_elem; ++k) {
    const arma::uword j = which(k);
    step(k) = dot(l.n_elem, V_->colptr(j), score_.memptr()) - prior_->precision(j) * (g(j) - prior_->mean(j));
  }
  solve_upper(T_.memptr(), step.n_elem, step.memptr());
  solve_upper_transposed(T_.memptr(), step.n_elem, step.memptr());
}

bool log_variance_step::leap(const arma::Col<arma::uword>& which, Random& rng, arma::Mat<double>& g,
                             bool& proposed) {
  const arma::uword q = which.n_elem;
  proposed = q > 0 && factor(which);
  if (!proposed) return false;
  scoring(which, l_, g, step_);
  d_.set_size(q);
  rng.fill_randn(d_.memptr(), q);
  double forth = 0.0, back = 0.0;
  for (double z : d_) forth += z * z;
  solve_upper_transposed(T_.memptr(), q, d_.memptr());
  d_ += step_;
  kept_ = g;
  for (arma::uword k = 0; k < q; ++k) g(which(k)) += d_(k);
  multiply(1.0, *V_, g.memptr(), 0.0, candidate_.memptr());
  const double there = log_density(candidate_, g);
  scoring(which, candidate_, g, back_);
  // Back from the proposal, the step there leaves -(d + back) for the normal part.
  back_ += d_;
  for (arma::uword j = 0; j < q; ++j) {
    double sum = 0.0;
    for (arma::uword i = 0; i <= j; ++i) sum += T_(i, j) * back_(i);
    back += sum * sum;
  }
  const bool moves = std::log(rng.runif()) <= there - here_ - 0.5 * (back - forth);
  if (!moves) {
    g = kept_;
    return false;
  }
  l_.swap(candidate_);
  here_ = there;
  return true;
}

}  // namespace tovik::sem::scan
