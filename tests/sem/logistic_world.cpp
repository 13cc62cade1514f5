#include "sem/logistic_world.hpp"

#include "sem/scan/logit.hpp"

namespace tovik::tests {

sem::equation_setup logistic(sem::equation_setup setup, double prior_variance) {
  setup.coefficients = sem::scan::coefficient_prior::ridge(prior_variance);
  setup.response_moves = true;
  return setup;
}

void draw_binary(World& world, const sem::Logistic& model, Random& rng) {
  const arma::Mat<double> p = model.compute_predicted_prob(world.data);
  arma::Col<double> y(p.n_rows);
  for (arma::uword i = 0; i < y.n_elem; ++i) y(i) = rng.runif() < p(i) ? 1.0 : 0.0;
  world.write(model.level, model.y(0), y);
}

void simulate_binary(World& world, unsigned level, double high, double low, std::uint32_t seed) {
  Random rng(seed, 3U);
  const auto& units = world.units[level];
  const double n = static_cast<double>(units.max()) + 1.0;
  arma::Col<double> y(units.max() + 1);
  for (arma::uword i = 0; i < y.n_elem; ++i)
    y(i) = rng.runif() < high + (low - high) * static_cast<double>(i) / n ? 1.0 : 0.0;
  world.write(level, 1, y);
}

}  // namespace tovik::tests
