#pragma once

#include <armadillo>
#include <vector>

#include "sem/outcomes/nominal.hpp"
#include "sem/scan_world.hpp"

namespace tovik::tests {

/// Puts a column for each value but the first, the reference, behind those of the world.
sem::nominal_codes add_codes(World& world, const std::vector<double>& values);

/// Writes the categories of a level's units, by their numbers, into column `y` and the codes of every row.
void write_categories(World& world, unsigned level, arma::uword y, const sem::nominal_codes& codes,
                      const arma::Col<arma::uword>& categories);

/// A category for each unit of the model, from its equation at the data.
void draw_categories(World& world, const sem::Nominal& model, const sem::nominal_codes& codes, Random& rng);

}  // namespace tovik::tests
