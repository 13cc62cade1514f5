#pragma once

#include <armadillo>
#include <string>
#include <vector>

#include "results/parameter_names.hpp"

namespace tovik {

/// The starting values of chains from a file of another run: what SAVE (starts) has written, or draws with
/// names (SAVE draws), of which the last of each chain are taken. `names`: those of the parameters, without
/// what follows from them. One row per parameter, one column per chain.
///
/// Throws tovik::error for a file of another model or of another number of chains, for a missing value, and
/// for a variance that is not positive.
arma::Mat<double> read_start_values(const std::string& path, const std::vector<parameter_name>& names,
                                    std::size_t chains);

}  // namespace tovik
