#include "sem/scan/covariance_walk.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "sem/scan/small_cholesky.hpp"
#include "sem/scan/thresholds.hpp"
#include "support/error.hpp"

namespace tovik::sem::scan {

namespace {
constexpr double infinity = std::numeric_limits<double>::infinity();
}  // namespace

void covariance_walk::set_target(double n, const arma::Mat<double>& S, int prior,
                                 const arma::Col<double>& scales) {
  if (prior < 1 || prior > 3) throw error_debug("Unknown prior for a covariance matrix.");
  n_ = n;
  S_ = S;
  prior_ = prior;
  scales_ = scales;
}

bool covariance_walk::start(const arma::Mat<double>& Sigma) {
  Sigma_ = Sigma;
  Omega_.set_size(Sigma.n_rows, Sigma.n_cols);
  candidate_ = Sigma;
  const double target = log_target(Sigma);
  if (target == -infinity) return false;
  accept(target);
  return true;
}

/// Factor, log determinant and inverse of a matrix. False unless it is positive definite.
bool covariance_walk::factor(const arma::Mat<double>& Sigma) {
  arma::uword const p = Sigma.n_rows;
  factor_.set_size(p, p);
  std::copy_n(Sigma.memptr(), p * p, factor_.memptr());
  if (!reverse_cholesky(factor_.memptr(), p)) return false;
  candidate_log_det_ = log_determinant(factor_.memptr(), p);
  candidate_inverse_.set_size(p, p);
  column_.set_size(p);
  for (arma::uword j = 0; j < p; ++j) {
    column_.zeros();
    column_(j) = 1.0;
    solve_upper(factor_.memptr(), p, column_.memptr());
    solve_upper_transposed(factor_.memptr(), p, column_.memptr());
    std::copy_n(column_.memptr(), p, candidate_inverse_.colptr(j));
  }
  return true;
}

double covariance_walk::prior_of(double log_det, const arma::Mat<double>& precision) const {
  const double p = static_cast<double>(precision.n_rows);
  switch (prior_) {
    case 1: {
      double trace = 0.0;
      for (arma::uword j = 0; j < precision.n_rows; ++j) trace += scales_(j) * precision(j, j);
      return -(p + 1.0) * log_det - 0.5 * trace;
    }
    case 3:
      return -0.5 * (p + 1.0) * log_det;
    default:
      return 0.0;
  }
}

double covariance_walk::log_prior() const {
  return prior_of(log_det_, Omega_);
}

double covariance_walk::log_target(const arma::Mat<double>& Sigma) {
  if (!factor(Sigma)) return -infinity;
  double trace = 0.0;
  for (arma::uword k = 0; k < S_.n_elem; ++k) trace += S_.memptr()[k] * candidate_inverse_.memptr()[k];
  return -0.5 * (n_ * candidate_log_det_ + trace) + prior_of(candidate_log_det_, candidate_inverse_);
}

/// The matrix that was evaluated last becomes the current one.
void covariance_walk::accept(double candidate_target) {
  std::copy_n(candidate_.memptr(), candidate_.n_elem, Sigma_.memptr());
  std::copy_n(candidate_inverse_.memptr(), Omega_.n_elem, Omega_.memptr());
  log_det_ = candidate_log_det_;
  current_ = candidate_target;
}

void covariance_walk::decide(double log_ratio, double candidate_target, estimator::tune_obj& tune,
                             Random& rng) {
  ++tune.total;
  if (!(std::log(rng.runif()) <= log_ratio)) return;
  ++tune.accepted;
  accept(candidate_target);
}

double covariance_walk::log_mass(const interval& within, double x, double sd) {
  return log_interval((within.lower - x) / sd, (within.upper - x) / sd);
}

bool covariance_walk::propose(const interval& within, double x, double sd, Random& rng, unsigned most_draws,
                              double& candidate) {
  for (unsigned k = 0;; ++k) {
    candidate = x + sd * rng.rnorm();
    if (candidate > within.lower && candidate < within.upper) return true;
    if (k >= most_draws) return false;
  }
}

void covariance_walk::draw_variance(arma::uword j, estimator::tune_obj& tune, Random& rng,
                                    unsigned most_draws) {
  const double old = Sigma_(j, j);
  const interval within{old - 1.0 / Omega_(j, j), infinity};
  double x = old;
  if (!propose(within, old, tune.value, rng, most_draws, x)) {
    ++tune.total;
    return;
  }
  std::copy_n(Sigma_.memptr(), Sigma_.n_elem, candidate_.memptr());
  candidate_(j, j) = x;
  const double target = log_target(candidate_);
  decide(target - current_ + log_mass(within, old, tune.value) - log_mass(within, x, tune.value), target,
         tune, rng);
}

// With a covariance c_jk = rho_jk sqrt(c_jj c_kk) the move (c_jj, c_jk) -> (f c_jj, sqrt(f) c_jk) has the
// Jacobian f^(q / 2) beside the step of c_jj itself, q the number of such elements.
void covariance_walk::draw_scale(arma::uword j, arma::uword n_free, estimator::tune_obj& tune, Random& rng,
                                 unsigned most_draws) {
  const double old = Sigma_(j, j);
  const interval within{0.0, infinity};
  double x = old;
  if (!propose(within, old, tune.value, rng, most_draws, x)) {
    ++tune.total;
    return;
  }
  std::copy_n(Sigma_.memptr(), Sigma_.n_elem, candidate_.memptr());
  const double factor = std::sqrt(x / old);
  for (arma::uword k = 0; k < candidate_.n_rows; ++k)
    if (k != j) candidate_(j, k) = candidate_(k, j) = factor * candidate_(k, j);
  candidate_(j, j) = x;
  const double target = log_target(candidate_);
  decide(target - current_ + log_mass(within, old, tune.value) - log_mass(within, x, tune.value) +
             0.5 * static_cast<double>(n_free) * std::log(x / old),
         target, tune, rng);
}

covariance_walk::interval covariance_walk::admissible(arma::uword i, arma::uword j) const {
  const double a = Omega_(i, i), b = Omega_(j, j), c = Omega_(i, j), det = a * b - c * c;
  const double middle = Sigma_(i, j) + c / det, half = std::sqrt(a * b) / det;
  return {middle - half, middle + half};
}

void covariance_walk::draw_covariance(arma::uword i, arma::uword j, estimator::tune_obj& tune, Random& rng,
                                      unsigned most_draws) {
  const double old = Sigma_(i, j);
  const interval within = admissible(i, j);
  double x = old;
  if (!propose(within, old, tune.value, rng, most_draws, x)) {
    ++tune.total;
    return;
  }
  std::copy_n(Sigma_.memptr(), Sigma_.n_elem, candidate_.memptr());
  candidate_(i, j) = candidate_(j, i) = x;
  const double target = log_target(candidate_);
  decide(target - current_ + log_mass(within, old, tune.value) - log_mass(within, x, tune.value), target,
         tune, rng);
}

}  // namespace tovik::sem::scan
