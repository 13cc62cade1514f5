// The Metropolis-Hastings step of a correlation that a phantom carries.

#include <boost/math/special_functions/beta.hpp>
#include <boost/math/special_functions/erf.hpp>
#include <cmath>
#include <limits>

#include "sem/outcomes/phantom.hpp"
#include "sem/random.hpp"

namespace tovik::sem {

Phantom::correlation::correlation(Random* generator, double c) : c_(c) {
  rng = generator;
}

estimator::constraint Phantom::correlation::make_constraint() const {
  estimator::parameterT<double> parameter;
  parameter.value = value;
  parameter.level = level;
  parameter.links = {const_cast<double*>(&value)};
  return {rng, parameter};
}

double Phantom::correlation::log_prior(double x) const {
  double const p = 0.5 * (x + 1.0);
  if (!(p > 0.0 && p < 1.0)) return -std::numeric_limits<double>::infinity();
  if (!has_prior_) return 0.0;
  return std::log(boost::math::ibeta_derivative(0.5 * c_, 0.5 * c_, p));
}

double Phantom::correlation::log_proposal(double x, double from, double sd) {
  double const z = (x - from) / sd;
  double const root = std::sqrt(0.5) / sd;
  // Phi(b) - Phi(a) for a < 0 < b.
  double const mass = 0.5 * (boost::math::erf((1.0 - from) * root) + boost::math::erf((1.0 + from) * root));
  return -(0.5 * z * z + 0.9189385332046728) - std::log(mass * sd);
}

double Phantom::correlation::propose(double sd) {
  for (std::uint32_t k = 0; k < Random::trunc_norm_max_niter; ++k) {
    double const candidate = value + sd * rng->rnorm();
    if (candidate >= -1.0 && candidate < 1.0) return candidate;
  }
  return rng->trNorm(value, -1.0, 1.0, sd);
}

void Phantom::correlation::draw(arma::Mat<double> const& data) {
  if (held_ || n_links == 0) return;
  double const sd = tune.value * std::sqrt(variance);
  double const old = value;
  double const candidate = propose(sd);
  double change = log_prior(candidate) - log_prior(old) + log_proposal(old, candidate, sd) -
                  log_proposal(candidate, old, sd);
  change -= log_density(data);
  write(candidate);
  change += log_density(data);
  ++tune.total;
  if (std::log(rng->runif()) <= change)
    ++tune.accepted;
  else
    write(old);
}

}  // namespace tovik::sem
