#pragma once

#include <armadillo>
#include <cstdint>
#include <deque>
#include <string>
#include <unordered_map>
#include <vector>

#include "evaluate/value.hpp"
#include "input/simulate_levels.hpp"

namespace tovik::simulate {

/// Most values that a simulation holds, its resulting matrix included (8 bytes each).
inline constexpr std::uint64_t max_values = 500'000'000;

/// What a name of the simulation stands for. Names match without regard to letter case.
struct symbol {
  enum class kind { constant, column };
  std::string name;  ///< as the command file writes it
  kind what = kind::column;
  unsigned index = 0;  ///< in the list of constants, or of columns
};

/// One column, held once for each unit of its level.
struct column {
  std::string name;
  unsigned level = 1;
  bool carried = true;  ///< belongs to the data set unless VARIABLES asks for other columns
  arma::Col<double> values;
};

/// The hierarchy, the constants and the columns made so far.
class table {
 public:
  /// Enters each level's identifiers and, as "name.time", its within-cluster positions. `levels` is a
  /// hierarchy (sim_data::combine).
  explicit table(std::vector<sim_data> levels);

  /// The level whose identifier is `name`, null if there is none.
  const sim_data* level(const std::string& name) const;
  const symbol* find(const std::string& name) const;
  const column& column_of(const symbol& s) const { return columns_[s.index]; }
  /// The cell that holds a constant's value, to be read by "#VAR(index)".
  evaluate::value& cell_of(const symbol& s) { return constants_[s.index]; }

  void add_constant(const std::string& name, double value);
  void add_column(const std::string& name, unsigned level, arma::Col<double> values);

  /// Throws tovik::error when `n` more columns of the level would be too many values.
  void check_room(std::uint64_t n, const sim_data& level, const std::string& statement) const;

  /// Columns of equal or higher levels copied down to the units of `level`: one row per unit, one column for
  /// each entry of `wanted`.
  arma::Mat<double> rows(const sim_data& level, const std::vector<unsigned>& wanted) const;

  /// The data set: one row per observation. `names`: the wanted columns in their order; empty for all
  /// identifiers and variables. Comes back with the names as they were written where they were made. Throws
  /// tovik::error for a name without a column and for a name that stands twice.
  arma::Mat<double> data_set(std::vector<std::string>& names) const;

 private:
  void enter(const std::string& name, symbol::kind what, std::size_t index);

  std::vector<sim_data> levels_;  ///< from level 1 upwards
  std::vector<column> columns_;
  std::deque<evaluate::value> constants_;            ///< addresses stay while constants are added
  std::unordered_map<std::string, symbol> symbols_;  ///< by name in lower case
  std::uint64_t values_ = 0;
};

}  // namespace tovik::simulate
