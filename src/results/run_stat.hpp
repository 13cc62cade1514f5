#pragma once

#include <armadillo>
#include <cstddef>
#include <cstdint>

#include "support/error.hpp"

namespace tovik {

namespace run_stat {
/// Adds `count` samples at once to the running means and sums of squared deviations of n elements that have
/// seen `before` samples: x is n x count, its columns one after the other. With d = x - mean, mean of before,
///   mean += sum(d) / N,   M2 += sum(d^2) - sum(d)^2 / N,   N = before + count.
void add_columns(std::size_t n, std::size_t before, std::size_t count, const double* x, double* mean,
                 double* M2);
}  // namespace run_stat

/// Running mean and sum of squared deviations of a stream of vectors, matrices or cubes, element by element,
/// without storing the stream (Welford, 1962, Technometrics 4, 419-420). Two streams merge exactly (Chan,
/// Golub and LeVeque, 1983, The American Statistician 37, 242-247), so that chains run apart and are pooled
/// at the end. The variance of the stream is M2 / (count - 1). A NaN stays in its element and touches no
/// other.
///
/// T is arma::Col<double>, arma::Mat<double> or arma::Cube<double>.
template <typename T>
struct RunStat {
  T mean;                   ///< the shape of a sample; empty before the first
  T M2;                     ///< the shape of a sample; empty before the second
  std::uint32_t count = 0;  ///< samples seen

  /// Adds one sample. Throws error_debug when its shape differs from that of the samples before.
  RunStat& operator+=(const T& x) {
    if (count == 0) {
      mean = x;
      count = 1;
      return *this;
    }
    require_same_shape(x);
    if (count == 1) M2.zeros(arma::size(mean));
    ++count;
    const double weight = 1.0 / count;
    const double* sample = x.memptr();
    double* m = mean.memptr();
    double* m2 = M2.memptr();
    for (arma::uword i = 0; i < mean.n_elem; ++i) {
      const double value = sample[i];
      const double before = value - m[i];
      m[i] += before * weight;
      m2[i] += before * (value - m[i]);
    }
    return *this;
  }

  /// Merges another stream into this one. Throws error_debug when the shapes differ.
  RunStat& operator+=(const RunStat& other) {
    if (other.count == 0 || other.mean.n_elem == 0) return *this;
    if (count == 0 || mean.n_elem == 0) return *this = other;
    require_same_shape(other.mean);
    if (other.count == 1) return *this += other.mean;
    if (count == 1) {
      const T sample = mean;
      *this = other;
      return *this += sample;
    }
    const double na = count, nb = other.count;
    for (arma::uword i = 0; i < mean.n_elem; ++i) {
      double& m = mean.memptr()[i];
      const double m_other = other.mean.memptr()[i];
      const double delta = m - m_other;
      M2.memptr()[i] += other.M2.memptr()[i] + delta * delta * (na * nb) / (na + nb);
      if (delta != 0)
        m = (m * na + m_other * nb) / (na + nb);  // what never varies stays as it is, to the bit
    }
    count += other.count;
    return *this;
  }

 private:
  void require_same_shape(const T& x) const {
    if (arma::size(x) != arma::size(mean)) throw error_debug("Does not match.");
  }
};

}  // namespace tovik
