#include "sem/scan/thresholds.hpp"

#include <cmath>
#include <limits>
#include <string>

#include "random/densities.hpp"
#include "sem/scan/log_product.hpp"
#include "sem/scan/normal_tail.hpp"
#include "sem/wiring/settings.hpp"
#include "support/error.hpp"

namespace tovik::sem::scan {

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

}  // namespace

double interval_mass(double a, double b) {
  constexpr double root = 0.70710678118654752440;
  return a > 0.0 ? 0.5 * (std::erfc(a * root) - std::erfc(b * root))
                 : 0.5 * (std::erfc(-b * root) - std::erfc(-a * root));
}

double log_interval(double a, double b) {
  return std::log(interval_mass(a, b));
}

void drawTail(arma::Col<double>& z, double bound, bool upper, Random& rng) {
  for (double& value : z) value = rng.trNorm(value, bound, 1.0, upper);
}

void drawMid(arma::Col<double>& z, double lower, double upper, Random& rng) {
  for (double& value : z) value = rng.trNorm(value, lower, upper, 1.0);
}

thresholds::thresholds(const arma::Col<arma::uword>& counts)
    : tau(counts.n_elem > 0 ? counts.n_elem - 1 : 0, arma::fill::zeros),
      tuning(5.8, estimator::tune_obj::kind_type::threshold) {
  if (counts.n_elem < 2) throw error_debug("An ordinal variable needs two categories.");
  tuning.upper = 0.4;
  tuning.lower = 0.3;
  tuning.target = 0.35;
  if (tau.n_elem > 1) tuning.what = "Tau 2";
  if (tau.n_elem > 2) tuning.what += " to Tau " + std::to_string(tau.n_elem);
  if (tau.n_elem == 1) return;
  // An empty category would put two thresholds in one place.
  arma::Col<double> n = arma::conv_to<arma::Col<double>>::from(counts);
  if (n.min() == 0.0) n += 0.5;
  const double total = arma::accu(n);
  double sum = 0.0;
  for (arma::uword k = 0; k < tau.n_elem; ++k) {
    sum += n[k];
    tau[k] = iPhi(sum / total);
  }
  tau -= tau[0];
}

arma::uword thresholds::categorize(double score) const {
  if (std::isnan(score)) throw error_debug("ERROR: Unable to categorize latent value.");
  arma::uword k = 0;
  while (k < tau.n_elem && score > tau[k]) ++k;
  return k;
}

/// From below: each within its lower neighbour as proposed and its upper one as it is.
arma::Col<double> thresholds::propose(double s, Random& rng) const {
  arma::uword const K = tau.n_elem;
  arma::Col<double> t(K, arma::fill::zeros);
  for (arma::uword k = 1; k + 1 < K; ++k) t[k] = rng.trNorm(tau[k], t[k - 1], tau[k + 1], s);
  t[K - 1] = rng.trNorm(tau[K - 1], t[K - 2], s, false);
  return t;
}

/// log q(tau | t) - log q(t | tau): the normal kernels cancel and the masses of the truncations stay. A
/// threshold that t has left behind, t_{k+1} <= tau_k, could not be proposed from t.
double thresholds::log_proposal_ratio(const arma::Col<double>& t, double s) const {
  arma::uword const K = tau.n_elem;
  double sum = 0.0;
  for (arma::uword k = 1; k + 1 < K; ++k) {
    if (t[k + 1] <= tau[k]) return -infinity;
    sum += log_interval((t[k - 1] - tau[k]) / s, (tau[k + 1] - tau[k]) / s) -
           log_interval((tau[k - 1] - t[k]) / s, (t[k + 1] - t[k]) / s);
  }
  return sum + log_interval((t[K - 2] - tau[K - 1]) / s, infinity) -
         log_interval((tau[K - 2] - t[K - 1]) / s, infinity);
}

/// The first category's bounds do not move.
double thresholds::log_likelihood_ratio(const arma::Col<double>& t,
                                        const std::vector<arma::Col<arma::uword>>& members,
                                        const double* mean, const double* sd) const {
  arma::uword const K = tau.n_elem;
  double sum = 0.0;
  for (arma::uword k = 1; k <= K; ++k) {
    const double t_lower = t[k - 1], tau_lower = tau[k - 1];
    const double t_upper = k < K ? t[k] : infinity, tau_upper = k < K ? tau[k] : infinity;
    for (arma::uword i : members[k]) {
      const double m = mean[i], s = sd == nullptr ? 1.0 : sd[i];
      const double gain = std::log(interval_mass((t_lower - m) / s, (t_upper - m) / s) /
                                   interval_mass((tau_lower - m) / s, (tau_upper - m) / s));
      sum += weights == nullptr ? gain : weights[i] * gain;
    }
  }
  return sum;
}

bool thresholds::move(const std::vector<arma::Col<arma::uword>>& members, const double* mean, arma::uword n,
                      Random& rng, const double* sd, double here) {
  if (tau.n_elem < 2) return false;
  rests_ = sampler_settings::newton_thresholds && !rests_;
  if (rests_) return false;
  if (members.size() != n_categories()) throw error_debug("Every category needs its set of units.");
  if (!std::isnan(here))
    return move(n, rng,
                [&](const arma::Col<double>& t) { return log_likelihood(t, members, mean, sd) - here; });
  return move(n, rng, [&](const arma::Col<double>& t) { return log_likelihood_ratio(t, members, mean, sd); });
}

double thresholds::log_likelihood(const arma::Col<double>& t,
                                  const std::vector<arma::Col<arma::uword>>& members, const double* mean,
                                  const double* sd) const {
  arma::uword const K = tau.n_elem;
  log_product mass;
  for (arma::uword k = 1; k <= K; ++k) {
    for (arma::uword i : members[k]) {
      const double m = mean[i], w = sd == nullptr ? 1.0 : 1.0 / sd[i], a = (t[k - 1] - m) * w;
      const double b = k < K ? (t[k] - m) * w : infinity;
      const double M = mass_between(a, normal_tail(std::fabs(a)), b,
                                    k < K ? normal_tail(std::fabs(b)) : normal_tail::at_infinity());
      weights == nullptr ? mass.times(M) : mass.times(M, weights[i]);
    }
  }
  return mass.value();
}

bool thresholds::leap(const std::vector<arma::Col<arma::uword>>& members, const double* mean, Random& rng,
                      const double* sd, free_location* location) {
  newton.log_likelihood = std::numeric_limits<double>::quiet_NaN();
  if (!sampler_settings::newton_thresholds || (tau.n_elem < 2 && location == nullptr)) return false;
  if (members.size() != n_categories()) throw error_debug("Every category needs its set of units.");
  return newton.move(tau, members, mean, sd, rng, location, weights);
}

double thresholds::proposal_scale(arma::uword n) const {
  return std::sqrt(tuning.value / static_cast<double>(n));
}

/// A ratio of two vanishing probabilities tells nothing: it counts as 1.
bool thresholds::decide(const arma::Col<double>& t, double log_ratio, Random& rng) {
  ++tuning.total;
  const double u = rng.runif();
  const bool accepted = std::isnan(log_ratio) || u <= std::exp(std::min(0.0, log_ratio));
  if (!accepted || log_ratio == -infinity) return false;
  tau = t;
  ++tuning.accepted;
  return true;
}

double thresholds::draw(arma::uword k, double mean, Random& rng, double sd) const {
  if (k == 0) return rng.trNorm(mean, tau[0], sd, true);
  if (k == tau.n_elem) return rng.trNorm(mean, tau[k - 1], sd, false);
  return rng.trNorm(mean, tau[k - 1], tau[k], sd);
}

void thresholds::draw(const std::vector<arma::Col<arma::uword>>& members, const double* mean, double* scores,
                      Random& rng, const double* sd) const {
  arma::uword const K = tau.n_elem;
  const auto category = [&](arma::uword k) {
    for (arma::uword i : members[k]) scores[i] = draw(k, mean[i], rng, sd == nullptr ? 1.0 : sd[i]);
  };
  category(0);
  category(K);
  for (arma::uword k = 1; k < K; ++k) category(k);
}

void thresholds::adapt() {
  if (tau.n_elem > 1) tuning.tune();
}

}  // namespace tovik::sem::scan
