// The Metropolis-Hastings step of a correlation that a phantom carries.

#include <boost/math/special_functions/beta.hpp>
#include <cmath>
#include <limits>

#include "random/random.hpp"
#include "sem/phantoms/phantom.hpp"
#include "sem/wiring/proposals.hpp"

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
  const double p = 0.5 * (x + 1.0);
  if (!(p > 0.0 && p < 1.0)) return -std::numeric_limits<double>::infinity();
  if (!has_prior_) return 0.0;
  return std::log(boost::math::ibeta_derivative(0.5 * c_, 0.5 * c_, p));
}

double Phantom::correlation::log_jacobian(double x) {
  return std::log1p(-x * x);
}

// With z = artanh(rho) and drho = (1 - rho^2) dz.
void Phantom::correlation::draw(const arma::Mat<double>& data) {
  if (held_ || n_links == 0) return;
  const double old = value;
  const double candidate = std::tanh(std::atanh(old) + tune.value * std::sqrt(variance) * rng->rnorm());
  double change = log_prior(candidate) - log_prior(old) + log_jacobian(candidate) - log_jacobian(old);
  change -= log_density(data);
  change += move_to(candidate, data);
  ++tune.total;
  if (std::log(rng->runif()) <= change)
    ++tune.accepted;
  else
    write(old);
}

template <class F>
void Phantom::correlation::in_steps(const arma::Mat<double>& data, F f) {
  const double before = value;
  constraint walk;
  walk.value = std::atanh(before);
  walk.tune = tune;
  walk.variance = variance;
  walk.add_once({nullptr, [this](const double& z, const arma::Mat<double>& at) {
                   double const x = std::tanh(z);
                   double const own = log_prior(x) + log_jacobian(x);
                   return std::isfinite(own) ? own + move_to(x, at) : own;
                 }});
  f(walk, data);
  tune = walk.tune;
  variance = walk.variance;
  write(before);
}

void Phantom::correlation::find_proposal(const arma::Mat<double>& data) {
  if (held_) return;
  in_steps(data, [](constraint& walk, const arma::Mat<double>& at) {
    walk.variance = proposal_variance(walk, at, walk.variance);
  });
}

void Phantom::correlation::adapt(const arma::Mat<double>& data) {
  if (held_ || tune.total == 0) return;
  in_steps(data, adapt_proposal);
}

}  // namespace tovik::sem
