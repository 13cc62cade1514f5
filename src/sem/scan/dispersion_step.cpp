#include "sem/scan/dispersion_step.hpp"

#include <algorithm>
#include <cmath>

#include "random/negative_binomial.hpp"

namespace tovik::sem::scan {

// Counts repeat: the logarithm of a gamma function is taken once for each that differs.
double dispersion_step::log_likelihood(const negative_binomial& law, const arma::Col<double>& y,
                                       const arma::Col<double>& eta) const {
  double sum = 0.0;
  for (auto from = sorted_.begin(); from != sorted_.end();) {
    const auto to = std::upper_bound(from, sorted_.end(), *from);
    sum += static_cast<double>(to - from) * law.log_ratio(*from);
    from = to;
  }
  for (arma::uword i = 0; i < y.n_elem; ++i) sum += law.kernel(y(i), eta(i));
  return sum;
}

bool dispersion_step::move(const arma::Col<double>& y, const arma::Col<double>& eta, Random& rng,
                           estimator::tune_obj& tune, negative_binomial& law) {
  if (!y.is_finite() || !eta.is_finite()) throw negative_binomial_failure();
  sorted_.assign(y.begin(), y.end());
  std::sort(sorted_.begin(), sorted_.end());
  const double now = log_likelihood(law, y, eta);
  if (!std::isfinite(now)) throw negative_binomial_failure();
  const double candidate = law.size() * std::exp(tune.value * rng.rnorm()), u = rng.runif();
  ++tune.total;
  if (!(candidate >= least && candidate <= most)) return false;
  const negative_binomial there(candidate);
  const double change = log_likelihood(there, y, eta) - now + log_prior(there.size()) - log_prior(law.size());
  if (!(std::log(u) <= change)) return false;
  ++tune.accepted;
  law = there;
  return true;
}

}  // namespace tovik::sem::scan
