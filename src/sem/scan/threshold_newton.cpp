#include "sem/scan/threshold_newton.hpp"

#include <cmath>
#include <limits>

#include "sem/scan/log_product.hpp"
#include "sem/scan/normal_tail.hpp"

namespace tovik::sem::scan {

namespace {

constexpr double no_bound = std::numeric_limits<double>::infinity();

}  // namespace

/// The units of one category. With a, b the standardised bounds of a unit, M the mass between them and r(z) =
/// phi(z) / M, the log mass has the derivatives r(b) / s and -r(a) / s for the upper and the lower threshold,
/// and H gains r(b) (b + r(b)), r(a) (r(a) - a) and, beside the diagonal, -r(a) r(b), all over s^2.
struct threshold_newton::side_sums {
  double g_lower = 0.0, g_upper = 0.0, h_lower = 0.0, h_upper = 0.0, h_both = 0.0;

  template <bool has_lower, bool has_upper>
  static side_sums of(double lower, double upper, const arma::Col<arma::uword>& members, const double* mean,
                      const double* sd, const double* weights, log_product& mass) {
    constexpr double density_at_0 = 0.39894228040143267794;
    side_sums out;
    for (arma::uword i : members) {
      const double w = sd == nullptr ? 1.0 : 1.0 / sd[i];
      const double a = has_lower ? (lower - mean[i]) * w : -no_bound;
      const double b = has_upper ? (upper - mean[i]) * w : no_bound;
      const normal_tail below = has_lower ? normal_tail(std::fabs(a)) : normal_tail::at_infinity();
      const normal_tail above = has_upper ? normal_tail(std::fabs(b)) : normal_tail::at_infinity();
      const double M = mass_between(a, below, b, above), per_mass = density_at_0 * w / M;
      const double times = weights == nullptr ? 1.0 : weights[i];
      weights == nullptr ? mass.times(M) : mass.times(M, times);
      const double ra = below.kernel * per_mass, rb = above.kernel * per_mass;
      if constexpr (has_lower) {
        out.g_lower -= times * ra;
        out.h_lower += times * ra * (ra - a * w);
      }
      if constexpr (has_upper) {
        out.g_upper += times * rb;
        out.h_upper += times * rb * (rb + b * w);
      }
      out.h_both -= times * ra * rb;
    }
    return out;
  }
};

void threshold_newton::expansion::add(const side_sums& of, arma::uword k) {
  if (k > 0) {
    g[k - 1] += of.g_lower;
    diagonal[k - 1] += of.h_lower;
  }
  if (k < cuts.n_elem) {
    g[k] += of.g_upper;
    diagonal[k] += of.h_upper;
  }
  if (k > 0 && k < cuts.n_elem) beside[k - 1] = of.h_both;
}

bool threshold_newton::expansion::at(const std::vector<arma::Col<arma::uword>>& members, const double* mean,
                                     const double* sd, const free_location* location, const double* weights) {
  arma::uword const K = cuts.n_elem, first = location == nullptr ? 1 : 0;
  g.zeros(K);
  diagonal.zeros(K);
  beside.zeros(K);
  log_product mass;
  double of_first = 0.0;
  if (first == 0) {
    add(side_sums::of<false, true>(0.0, cuts[0], members[0], mean, sd, weights, mass), 0);
    of_first = mass.value();
  }
  for (arma::uword k = 1; k < K; ++k)
    add(side_sums::of<true, true>(cuts[k - 1], cuts[k], members[k], mean, sd, weights, mass), k);
  add(side_sums::of<true, false>(cuts[K - 1], 0.0, members[K], mean, sd, weights, mass), K);
  value = mass.value();
  log_likelihood = value - of_first;
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
                            const double* mean, const double* sd, Random& rng, free_location* location,
                            const double* weights) {
  arma::uword const K = tau.n_elem, first = location == nullptr ? 1 : 0;
  here_.cuts = tau;
  ++total;
  log_likelihood = std::numeric_limits<double>::quiet_NaN();
  if (!here_.at(members, mean, sd, location, weights)) return false;
  log_likelihood = here_.log_likelihood;
  here_.newton_step(first, step_);
  d_.zeros(K);
  for (arma::uword k = first; k < K; ++k) d_[k] = rng.rnorm();
  for (arma::uword k = K; k-- > first;)
    d_[k] = (d_[k] - (k + 1 < K ? here_.under[k] * d_[k + 1] : 0.0)) / here_.root[k];
  const double u = rng.runif();
  there_.cuts = here_.cuts + step_ + d_;
  for (arma::uword k = 1; k < K; ++k)
    if (!(there_.cuts[k] > there_.cuts[k - 1])) return false;
  if (!there_.at(members, mean, sd, location, weights)) return false;
  double ratio = there_.value - here_.value - here_.log_proposal(first, d_);
  there_.newton_step(first, step_);
  d_ = here_.cuts - there_.cuts - step_;
  ratio += there_.log_proposal(first, d_);
  if (!(std::log(u) <= ratio)) return false;
  const double shift = there_.cuts[0];
  for (arma::uword k = 0; k < K; ++k) tau[k] = there_.cuts[k] - shift;
  tau[0] = 0.0;
  if (location != nullptr) location->intercept -= shift;
  log_likelihood = there_.log_likelihood;
  ++accepted;
  return true;
}

}  // namespace tovik::sem::scan
