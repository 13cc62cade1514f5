#pragma once

#include <algorithm>
#include <armadillo>
#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

namespace tovik {

/// Which rows of a column are observed, one bit each, so that columns compare 64 rows at a time.
class observed_bits {
 public:
  observed_bits() = default;
  /// All rows observed, or none.
  observed_bits(std::size_t rows, bool observed)
      : rows_(rows), words_((rows + 63) / 64, observed ? ~std::uint64_t{0} : 0) {
    if (observed && rows % 64 != 0) words_.back() = (std::uint64_t{1} << (rows % 64)) - 1;
  }
  /// `cells` holds `rows` values.
  observed_bits(const double* cells, std::size_t rows) : rows_(rows), words_((rows + 63) / 64, 0) {
    for (std::size_t w = 0; w < words_.size(); ++w) {
      const std::size_t end = std::min<std::size_t>(64, rows - 64 * w);
      std::uint64_t word = 0;
      for (std::size_t i = 0; i < end; ++i) word |= std::uint64_t{!std::isnan(cells[64 * w + i])} << i;
      words_[w] = word;
    }
  }
  explicit observed_bits(const arma::Col<double>& column) : observed_bits(column.memptr(), column.n_elem) {}

  std::size_t rows() const { return rows_; }
  bool operator[](std::size_t row) const { return words_[row / 64] >> (row % 64) & 1u; }

  /// The number of observed rows.
  std::size_t count() const {
    std::size_t out = 0;
    for (std::uint64_t word : words_) out += static_cast<std::size_t>(std::popcount(word));
    return out;
  }
  bool none() const {
    return std::all_of(words_.begin(), words_.end(), [](std::uint64_t w) { return w == 0; });
  }

  /// True when some row is observed in both.
  bool meets(const observed_bits& other) const {
    for (std::size_t k = 0; k < words_.size(); ++k) {
      if (words_[k] & other.words_[k]) return true;
    }
    return false;
  }

  /// Keeps the rows that are observed in both, or in either.
  observed_bits& operator&=(const observed_bits& other) {
    for (std::size_t k = 0; k < words_.size(); ++k) words_[k] &= other.words_[k];
    return *this;
  }
  observed_bits& operator|=(const observed_bits& other) {
    for (std::size_t k = 0; k < words_.size(); ++k) words_[k] |= other.words_[k];
    return *this;
  }

 private:
  std::size_t rows_ = 0;
  std::vector<std::uint64_t> words_;
};

}  // namespace tovik
