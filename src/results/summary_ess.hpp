#pragma once

#include <armadillo>
#include <cstddef>
#include <vector>

namespace tovik {

/// Effective sample size of one parameter at a time; keeps its buffers between parameters.
///
/// The autocovariances of the chains are summed directly, a few lags at a time as the sequence asks for them:
/// most chains need some tens. A chain that mixes so slowly that many lags are needed is left to the Fourier
/// transform.
class EffectiveSize {
 public:
  EffectiveSize(std::size_t n_chains, std::size_t n_draws);

  /// `chains`: for each chain the address of its first `n_draws` values. NaN below three draws, for draws
  /// that do not vary and for draws with a NaN.
  double operator()(const std::vector<const double*>& chains);

 private:
  void centre(const std::vector<const double*>& chains);
  /// Mean over chains of the autocovariance at lag k (divisor N).
  double autocovariance(std::size_t k);
  void sum_lags(std::size_t first);
  void transform_all();
  /// r(k) of the sequence: 1 - (mean_var - autocovariance(k)) / var_plus.
  double correlation(std::size_t k) { return 1.0 - (mean_var_ - autocovariance(k)) / var_plus_; }
  /// Geyer's sequences: fills rho_ and gives the first index behind the stored pairs.
  std::size_t initial_sequence();
  double variance_of_means() const;

  static constexpr std::size_t batch = 8;      // lags summed in one pass
  static constexpr std::size_t direct = 1024;  // lags summed before the transform pays

  std::size_t m_;
  std::size_t n_;
  std::vector<std::vector<double>> centred_;  // one per chain, followed by zeros
  std::vector<double> means_;
  std::vector<double> lags_;
  std::vector<double> rho_;
  double mean_var_ = 0.0;
  double var_plus_ = 0.0;
};

/// Sum of the autocovariances of two real series of equal length n (the second may be null), times n, at the
/// lags 0 to n - 1: the real part of the autocovariance of x + iy.
arma::Col<double> summed_autocovariance(const double* x, const double* y, std::size_t n);

}  // namespace tovik
