#include "sem/scan/threshold_newton.hpp"

#include <cmath>
#include <limits>

#include "sem/scan/thresholds.hpp"

namespace tovik::sem::scan {

namespace {

constexpr double no_bound = std::numeric_limits<double>::infinity();

/// phi(z) without its constant; 0 at infinity.
double kernel_of_normal(double z) {
  return std::exp(-0.5 * z * z);
}

/// The logarithm of a product, taken of many factors at once.
class log_product {
 public:
  void times(double factor) {
    if (factor < tiny) {
      sum_ += std::log(factor);
      return;
    }
    product_ *= factor;
    if (product_ < tiny) {
      sum_ += std::log(product_);
      product_ = 1.0;
    }
  }
  double value() const { return sum_ + std::log(product_); }

 private:
  static constexpr double tiny = 1e-150;
  double sum_ = 0.0, product_ = 1.0;
};

}  // namespace

// With a, b the standardised bounds of a unit, M the mass between them and r(z) = phi(z) / M, the log mass has
// the derivatives r(b) / s and -r(a) / s for the upper and the lower threshold, and H gains
// r(b) (b + r(b)), r(a) (r(a) - a) and, beside the diagonal, -r(a) r(b), all over s^2.
bool threshold_newton::expansion::at(const std::vector<arma::Col<arma::uword>>& members, const double* mean,
                                     const double* sd, const free_location* location) {
  constexpr double density_at_0 = 0.39894228040143267794;
  arma::uword const K = cuts.n_elem, first = location == nullptr ? 1 : 0;
  g.zeros(K);
  diagonal.zeros(K);
  beside.zeros(K);
  log_product mass;
  for (arma::uword k = first; k <= K; ++k) {
    const bool has_lower = k > 0, has_upper = k < K;
    const double lower = has_lower ? cuts[k - 1] : -no_bound, upper = has_upper ? cuts[k] : no_bound;
    double g_lower = 0.0, g_upper = 0.0, h_lower = 0.0, h_upper = 0.0, h_both = 0.0;
    for (arma::uword i : members[k]) {
      const double w = sd == nullptr ? 1.0 : 1.0 / sd[i];
      const double a = (lower - mean[i]) * w, b = (upper - mean[i]) * w, M = interval_mass(a, b);
      const double per_mass = density_at_0 * w / M;
      mass.times(M);
      const double ra = has_lower ? kernel_of_normal(a) * per_mass : 0.0;
      const double rb = has_upper ? kernel_of_normal(b) * per_mass : 0.0;
      if (has_lower) {
        g_lower -= ra;
        h_lower += ra * (ra - a * w);
      }
      if (has_upper) {
        g_upper += rb;
        h_upper += rb * (rb + b * w);
      }
      h_both -= ra * rb;
    }
    if (has_lower) {
      g[k - 1] += g_lower;
      diagonal[k - 1] += h_lower;
    }
    if (has_upper) {
      g[k] += g_upper;
      diagonal[k] += h_upper;
    }
    if (has_lower && has_upper) beside[k - 1] = h_both;
  }
  value = mass.value();
  if (location != nullptr) {
    const double e = location->intercept - cuts[0] - location->mean;
    value -= 0.5 * location->precision * e * e;
    g[0] += location->precision * e;
    diagonal[0] += location->precision;
  }
  return std::isfinite(value) && factor(first);
}

// H = R R' with two diagonals: `root`, and `under` it.
bool threshold_newton::expansion::factor(arma::uword first) {
  arma::uword const K = cuts.n_elem;
  root.set_size(K);
  under.zeros(K);
  for (arma::uword k = first; k < K; ++k) {
    if (k > first) under[k - 1] = beside[k - 1] / root[k - 1];
    const double square = diagonal[k] - (k > first ? under[k - 1] * under[k - 1] : 0.0);
    if (!(square > 0.0) || !std::isfinite(square)) return false;
    root[k] = std::sqrt(square);
  }
  return true;
}

void threshold_newton::expansion::newton_step(arma::uword first, arma::Col<double>& step) const {
  arma::uword const K = cuts.n_elem;
  step.zeros(K);
  for (arma::uword k = first; k < K; ++k)
    step[k] = (g[k] - (k > first ? under[k - 1] * step[k - 1] : 0.0)) / root[k];
  for (arma::uword k = K; k-- > first;)
    step[k] = (step[k] - (k + 1 < K ? under[k] * step[k + 1] : 0.0)) / root[k];
}

double threshold_newton::expansion::log_proposal(arma::uword first, const arma::Col<double>& d) const {
  arma::uword const K = cuts.n_elem;
  double sum = 0.0;
  for (arma::uword k = first; k < K; ++k) {
    const double e = root[k] * d[k] + (k + 1 < K ? under[k] * d[k + 1] : 0.0);  // of R'd
    sum += std::log(root[k]) - 0.5 * e * e;
  }
  return sum;
}

bool threshold_newton::move(arma::Col<double>& tau, const std::vector<arma::Col<arma::uword>>& members,
                            const double* mean, const double* sd, Random& rng, free_location* location) {
  arma::uword const K = tau.n_elem, first = location == nullptr ? 1 : 0;
  here_.cuts = tau;
  ++total;
  if (!here_.at(members, mean, sd, location)) return false;
  here_.newton_step(first, step_);
  d_.zeros(K);
  for (arma::uword k = first; k < K; ++k) d_[k] = rng.rnorm();
  for (arma::uword k = K; k-- > first;) d_[k] = (d_[k] - (k + 1 < K ? here_.under[k] * d_[k + 1] : 0.0)) / here_.root[k];
  const double u = rng.runif();
  there_.cuts = here_.cuts + step_ + d_;
  for (arma::uword k = 1; k < K; ++k)
    if (!(there_.cuts[k] > there_.cuts[k - 1])) return false;
  if (!there_.at(members, mean, sd, location)) return false;
  double ratio = there_.value - here_.value - here_.log_proposal(first, d_);
  there_.newton_step(first, step_);
  d_ = here_.cuts - there_.cuts - step_;
  ratio += there_.log_proposal(first, d_);
  if (!(std::log(u) <= ratio)) return false;
  const double shift = there_.cuts[0];
  for (arma::uword k = 0; k < K; ++k) tau[k] = there_.cuts[k] - shift;
  tau[0] = 0.0;
  if (location != nullptr) location->intercept -= shift;
  ++accepted;
  return true;
}

}  // namespace tovik::sem::scan
