#pragma once

#include <armadillo>
#include <cstdint>
#include <string>
#include <vector>

namespace tovik {

/// One identifier level of simulated data.
struct sim_data {
  /// Most units of a level: a column then takes 0.4 GB.
  static constexpr std::uint32_t max_size = 50'000'000;

  std::string name;
  unsigned level = 1;        ///< 1 for the observations, 2 for their clusters, 3 for clusters of clusters
  std::uint32_t size = 0;    ///< units at this level
  arma::Col<double> values;  ///< identifiers of the units: 1 to size
  arma::Col<double> time;    ///< position of each unit within its cluster, from 1; empty until add_time()

  sim_data() = default;
  /// Reads "name = n" (level 1) or "name(level) = n". Throws tovik::error for anything else, for a level
  /// other than 1, 2 and 3, for too many units, and for a name that cannot stand in an expression.
  explicit sim_data(const std::string& text);

  /// The level has no within-cluster positions yet.
  bool no_time() const { return time.is_empty(); }
  /// Positions of the units when nothing stands above them: 1 to size.
  void add_time();
  /// Positions of the units of `lower` within the units of this level, 1 to lower.size / size for each.
  void add_time(sim_data& lower) const;

  /// Nests this level in the one above: equal clusters of units that follow each other. Throws tovik::error
  /// when the size above does not divide this one, or either is 0.
  sim_data& operator+=(const sim_data& upper);

  /// The levels as a hierarchy: sorted from level 1 upwards, nested, with identifiers and positions. Throws
  /// tovik::error for a level that is left out or does not nest, tovik::error_debug for an empty list.
  static std::vector<sim_data> combine(std::vector<sim_data> list);
};

}  // namespace tovik
