#pragma once

#include <armadillo>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
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
  /// The number of different patterns.
  std::size_t size() const { return counts_.size(); }

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
  void pack(const arma::Mat<double>& data, std::vector<std::uint64_t>& packed);
  void count(const std::vector<std::uint64_t>& packed);
  const std::uint64_t* key(std::size_t k) const { return keys_.data() + k * width_; }
  bool before(std::size_t a, std::size_t b) const;
  /// The first `n` in the order of sorted_vec().
  std::vector<pattern> first(std::size_t n) const;

  // A run may have as many patterns as rows, so they are held as bits side by side: pattern k has the words
  // from k * width_ on, bit j of them for variable j.
  std::size_t width_ = 0;
  std::vector<std::uint64_t> keys_;
  std::vector<std::uint64_t> counts_;
  std::size_t nrows_ = 0;
  std::size_t ncols_ = 0;
  std::vector<double> rates_;
};

}  // namespace tovik
