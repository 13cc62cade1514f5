#pragma once

#include <string>

#include "results/parameter_names.hpp"
#include "results/summary.hpp"

namespace tovik {

/// The draws of all chains as comma-separated text: the number of the chain, of the iteration in its chain
/// and of the draw among all, each from 1, then the parameters under the names of their columns, with ten
/// significant digits. With "*" in the path a file for each chain, its number in that place. A chain without
/// draws leaves no lines. Draws are written as they stand in the chains' stores; nothing is copied. Throws
/// error_debug for another number of names than of parameters.
void save_draws(const std::string& path, const Summary& draws, const std::vector<parameter_name>& names);

}  // namespace tovik
