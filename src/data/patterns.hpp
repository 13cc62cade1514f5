#pragma once

#include <armadillo>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <vector>

namespace tovik {

/// Which variables are missing together, and how often.
class patterns {
 public:
  /// One combination.
  struct pattern {
    std::vector<char> missing;  ///< one flag for each variable
    std::uint64_t count = 0;    ///< rows that show it

    /// The 0/1 flags of a row, as a column.
    static arma::Col<double> is_na(const arma::Row<double>& row);
    /// The flags as text of '0' and '1'.
    std::string key() const;
  };

  /// How many patterns a band of the table shows.
  static std::uint64_t max_row_print;
  /// Print all patterns, in bands.
  static bool print_all;

  patterns() = default;
  /// Rows are observations, columns the model variables in the order of the names given to print().
  explicit patterns(const arma::Mat<double>& data);

  std::size_t nrows() const { return nrows_; }
  std::size_t ncols() const { return ncols_; }
  /// The share of missing rows of each column, between 0 and 1 (0 when there are no rows).
  const std::vector<double>& rates() const { return rates_; }
  std::size_t size() const { return map_.size(); }

  /// By count, descending; equal counts by key, ascending.
  std::vector<pattern> sorted_vec() const;

  /// Prints the table. `percent` holds each variable's percentage missing as the caller counts it (by units
  /// of the variable's own level). Nothing is printed without rows. Throws tovik::error_debug "Incorrect
  /// names to variables." if a list has the wrong length.
  void print(std::FILE* stream, const std::vector<std::string>& names,
             const std::vector<double>& percent) const;
  /// The same with the percentages of rows.
  void print(std::FILE* stream, const std::vector<std::string>& names) const;

 private:
  using bits = std::vector<std::uint64_t>;
  struct hash {
    std::size_t operator()(const bits& words) const;
  };

  std::unordered_map<bits, pattern, hash> map_;
  std::size_t nrows_ = 0;
  std::size_t ncols_ = 0;
  std::vector<double> rates_;
};

}  // namespace tovik
