#pragma once

#include <armadillo>
#include <cmath>
#include <cstdint>
#include <limits>

#include "support/error.hpp"

namespace tovik {

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
      for (arma::uword i = 0; i < x.n_elem; ++i) add(i, x[i], 1.0);
    }
    ++count;
    return *this;
  }

  /// Adds all terms of another accumulator; an empty one adds nothing.
  LogSumExp& operator+=(LogSumExp const& other) {
    if (other.count == 0) return *this;
    if (count == 0) return *this = other;
    check_size(other.max);
    for (arma::uword i = 0; i < max.n_elem; ++i) add(i, other.max[i], other.sum[i]);
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

  /// Adds weight * exp(x) to element i. The equal case stands apart because exp(m - x) is NaN when both are
  /// infinite.
  void add(arma::uword i, double x, double weight) {
    double& m = max[i];
    double& s = sum[i];
    if (x == m) {
      s += weight;
    } else if (x < m) {
      s += weight * std::exp(x - m);
    } else if (x > m) {
      s = s * std::exp(m - x) + weight;
      m = x;
    } else {
      m = std::numeric_limits<double>::quiet_NaN();
    }
  }
};

}  // namespace tovik
