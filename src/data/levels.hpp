#pragma once

#include <armadillo>
#include <string>
#include <utility>
#include <vector>

namespace tovik {

/// Marks a column that is constant within clusters where it is observed, but observed in some rows of a
/// cluster and missing in others.
inline constexpr unsigned inconsistent_level = 4294967295u;

/// One flag per column: 1 if the column holds a NaN, else 0.
std::vector<char> determineMissing(const arma::Mat<double>& data);

/// The positions of `identifiers` (columns of `data`) from the finest to the coarsest: by number of distinct
/// values, descending, ties in the order given.
std::vector<std::size_t> order_identifiers(const arma::Mat<double>& data,
                                           const std::vector<unsigned>& identifiers);

/// One value for each column: the number of clustering levels above it (0 for the highest level), or
/// inconsistent_level. A column without any observed cell varies at the lowest level. Rows with a missing
/// identifier belong to no cluster of that identifier.
std::vector<unsigned> determineNLevels(const arma::Mat<double>& data,
                                       const std::vector<unsigned>& identifiers);

/// Each coarser identifier must be constant within each finer one. Throws tovik::error for the first pair
/// that is not, and for two that define the same clusters, named by `names` (one for each column of `data`).
void check_nesting(const arma::Mat<double>& data, const std::vector<unsigned>& identifiers,
                   const std::vector<std::string>& names);

/// The sampler's level (0 the lowest, rising) of a variable whose catalogue level counts the clustering
/// levels above it. The numberings meet here and nowhere else.
constexpr unsigned sampler_level(std::size_t n_identifiers, unsigned catalogue_level) {
  return static_cast<unsigned>(n_identifiers) - catalogue_level;
}

}  // namespace tovik
