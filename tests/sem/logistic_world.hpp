#pragma once

#include <armadillo>
#include <cstdint>

#include "sem/outcomes/logistic.hpp"
#include "sem/scan_world.hpp"

namespace tovik::tests {

/// What the ensemble adds to a setup for a logistic outcome.
sem::equation_setup logistic(sem::equation_setup setup, double prior_variance = sem::Logistic::priBeta);

/// 0 or 1 for each unit of the model, from its equation at the data, into every row of the unit.
void draw_binary(World& world, const sem::Logistic& model, Random& rng);

/// y of the data, 0 or 1 with a probability that falls from `high` to `low` over the units.
void simulate_binary(World& world, unsigned level, double high, double low, std::uint32_t seed);

}  // namespace tovik::tests
