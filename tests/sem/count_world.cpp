#include "sem/count_world.hpp"

#include <cmath>

#include "sem/scan/dispersion_step.hpp"

namespace tovik::tests {

sem::equation_setup counted(sem::equation_setup setup, double prior_variance) {
  setup.coefficients = sem::scan::coefficient_prior::ridge(prior_variance);
  setup.response_moves = true;
  return setup;
}

// The density of log r is r^shape exp(-rate r), at most that of r = shape / rate.
double draw_prior_dispersion(Random& rng) {
  using step = sem::scan::dispersion_step;
  const double low = std::log(step::least), high = std::log(step::most);
  const double peak = step::log_prior(step::shape / step::rate);
  for (;;) {
    const double r = std::exp(low + (high - low) * rng.runif());
    if (std::log(rng.runif()) <= step::log_prior(r) - peak) return r;
  }
}

arma::Col<double> simulate_counts(const arma::Col<double>& eta, double r, Random& rng) {
  return rng.rnbin(r, r / (r + arma::exp(eta)));
}

void draw_counts(World& world, const sem::NBinomial& model, Random& rng) {
  const arma::Col<double> eta = arma::log(model.compute_predicted(world.data));
  world.write(model.level, model.y(0), simulate_counts(eta, model.dispersion(), rng));
}

}  // namespace tovik::tests
