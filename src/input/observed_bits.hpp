#pragma once

#include <algorithm>
#include <armadillo>
#include <cmath>
#include <cstdint>
#include <vector>

namespace tovik {

/// Which rows of a column are observed, one bit each, so that two columns compare 64 rows at a time.
class observed_bits {
 public:
  observed_bits() = default;
  explicit observed_bits(const arma::Col<double>& column) : words_((column.n_elem + 63) / 64, 0) {
    for (arma::uword i = 0; i < column.n_elem; ++i) {
      words_[i / 64] |= std::uint64_t{!std::isnan(column[i])} << (i % 64);
    }
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

 private:
  std::vector<std::uint64_t> words_;
};

}  // namespace tovik
