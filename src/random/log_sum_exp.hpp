#pragma once

#include <armadillo>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "support/error.hpp"

namespace tovik {

namespace log_sum {
/// For each of n sums of exponentials, sum = sum exp(x - max), adds the term exp(x[i]); the maximum follows.
/// A NaN, now or before, makes the maximum NaN. Terms 700 or more below the maximum add nothing that shows.
void add_terms(std::size_t n, const double* x, double* max, double* sum);
/// The same with several terms at once for each sum: x is n x count, its columns one after the other. Terms
/// are scaled by the largest of them, and the sum by what that rises, so that a term costs an exponential and
/// no comparison. `max` and `sum` may be those of no terms yet: minus infinity and 0.
void add_columns(std::size_t n, std::size_t count, const double* x, double* max, double* sum);
/// Adds other sums of the same kind.
void add_sums(std::size_t n, const double* other_max, const double* other_sum, double* max, double* sum);
}  // namespace log_sum

/// Running log(sum(exp(x))) of a stream of equally shaped T (arma::Mat<double>, arma::Cube<double>, ...),
/// element by element, scaled by the running maximum so that nothing overflows. Minus infinity is a value
/// like any other; an element that has seen a NaN stays NaN.
template <typename T>
struct LogSumExp {
  std::uint64_t count = 0;  ///< terms added
  T sum;                    ///< sum of exp(x - max)
  T max;                    ///< running maximum

  /// Adds one term. Another shape than before raises error_debug.
  LogSumExp& operator+=(T const& x) {
    if (count == 0) {
      max = x;
      sum.copy_size(x);
      sum.ones();
    } else {
      check_size(x);
      log_sum::add_terms(x.n_elem, x.memptr(), max.memptr(), sum.memptr());
    }
    ++count;
    return *this;
  }

  /// Adds all terms of another accumulator; an empty one adds nothing.
  LogSumExp& operator+=(const LogSumExp& other) {
    if (other.count == 0) return *this;
    if (count == 0) return *this = other;
    check_size(other.max);
    log_sum::add_sums(max.n_elem, other.max.memptr(), other.sum.memptr(), max.memptr(), sum.memptr());
    count += other.count;
    return *this;
  }

  /// max + log(sum); empty before the first term.
  T value() const {
    T out = max;
    for (arma::uword i = 0; i < out.n_elem; ++i) out[i] += std::log(sum[i]);
    return out;
  }

 private:
  void check_size(T const& x) const {
    if (arma::size(x) != arma::size(max)) throw error_debug("Does not match.");
  }
};

}  // namespace tovik
