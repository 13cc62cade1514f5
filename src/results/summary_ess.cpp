#include "results/summary_ess.hpp"

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numeric>

#include "results/summary_row.hpp"

namespace tovik {

EffectiveSize::EffectiveSize(std::size_t n_chains, std::size_t n_draws)
    : m_(n_chains),
      n_(n_draws),
      centred_(n_chains, std::vector<double>(n_draws + direct + 2 * batch, 0.0)),
      means_(n_chains, 0.0) {}

void EffectiveSize::centre(const std::vector<const double*>& chains) {
  const double size = static_cast<double>(n_);
  for (std::size_t j = 0; j < m_; ++j) {
    // As for the variance: deviations from the first value keep a constant exactly at zero.
    const double* x = chains[j];
    double sum = 0.0;
    for (std::size_t t = 0; t < n_; ++t) sum += x[t] - x[0];
    const double offset = sum / size;
    for (std::size_t t = 0; t < n_; ++t) centred_[j][t] = (x[t] - x[0]) - offset;
    means_[j] = x[0] + offset;
  }
}

void EffectiveSize::sum_lags(std::size_t first) {
  double total[batch] = {};
  for (const std::vector<double>& chain : centred_) {
    double sum[batch] = {};
    const double* x = chain.data();
    const double* y = x + first;
    const std::size_t last = n_ > first ? n_ - first : 0;
    // The zeros behind the series end the later lags of the batch.
    for (std::size_t t = 0; t < last; ++t) {
      for (std::size_t k = 0; k < batch; ++k) sum[k] += x[t] * y[t + k];
    }
    for (std::size_t k = 0; k < batch; ++k) total[k] += sum[k];
  }
  const double divisor = static_cast<double>(n_) * static_cast<double>(m_);
  for (const double value : total) lags_.push_back(value / divisor);
}

void EffectiveSize::transform_all() {
  arma::Col<double> sum(n_, arma::fill::zeros);
  for (std::size_t j = 0; j < m_; j += 2) {
    const double* second = j + 1 < m_ ? centred_[j + 1].data() : nullptr;
    sum += summed_autocovariance(centred_[j].data(), second, n_);
  }
  const double divisor = static_cast<double>(n_) * static_cast<double>(m_);
  lags_.resize(n_);
  for (std::size_t k = 0; k < n_; ++k) lags_[k] = sum(k) / divisor;
}

double EffectiveSize::autocovariance(std::size_t k) {
  while (k >= lags_.size()) {
    if (lags_.size() >= direct) {
      transform_all();
    } else {
      sum_lags(lags_.size());
    }
  }
  return lags_[k];
}

double EffectiveSize::variance_of_means() const {
  return summary_row::mean_variance(means_.data(), m_).variance;
}

std::size_t EffectiveSize::initial_sequence() {
  // Sums of adjacent pairs of correlations are positive and decreasing in a reversible chain; the first
  // negative pair ends the sequence.
  std::size_t s = 2;
  double even = 0.0;
  while (true) {
    even = correlation(s);
    const double odd = correlation(s + 1);
    if (even + odd < 0.0) break;
    rho_[s] = even;
    rho_[s + 1] = odd;
    s += 2;
    if (n_ - 4 <= s) break;
  }
  if (even > 0.0) rho_[s] = even;
  for (std::size_t k = 2; k + 2 < s; k += 2) {
    const double before = rho_[k - 2] + rho_[k - 1];
    if (before < rho_[k] + rho_[k + 1]) rho_[k] = rho_[k + 1] = before / 2.0;
  }
  return s;
}

double EffectiveSize::operator()(const std::vector<const double*>& chains) {
  constexpr double nan = std::numeric_limits<double>::quiet_NaN();
  if (n_ < 3) return nan;
  centre(chains);
  lags_.clear();
  const double n = static_cast<double>(n_), total = n * static_cast<double>(m_);
  const double w = autocovariance(0);
  mean_var_ = n / (n - 1.0) * w;
  var_plus_ = m_ > 1 ? w + variance_of_means() : w;
  if (!(var_plus_ > 0.0)) return nan;

  rho_.assign(n_, 0.0);
  rho_[0] = 1.0;
  rho_[1] = correlation(1);
  std::size_t s = 2;
  if (n_ > 6) {
    s = initial_sequence();
  } else {
    rho_[2] = 1.0;
  }
  double tau =
      2.0 * std::accumulate(rho_.begin(), rho_.begin() + static_cast<std::ptrdiff_t>(s), 0.0) - 1.0 + rho_[s];
  // The bound keeps antithetic chains below total * log10(total); a NaN stays.
  const double bound = 1.0 / std::log10(total);
  if (tau < bound) tau = bound;
  return total / tau;
}

arma::Col<double> summed_autocovariance(const double* x, const double* y, std::size_t n) {
  arma::Col<double> out(n, arma::fill::zeros);
  if (n == 0) return out;
  // Zeros up to a power of two at least twice the length: the circular sums do not wrap into the lags wanted,
  // and the transform is fast for every n.
  std::size_t length = 1;
  while (length < 2 * n) length *= 2;
  arma::Col<std::complex<double>> z(length, arma::fill::zeros);
  for (std::size_t t = 0; t < n; ++t) z(t) = {x[t], y ? y[t] : 0.0};
  const arma::Col<std::complex<double>> f = arma::fft(z);
  for (std::size_t i = 0; i < length; ++i) z(i) = std::norm(f(i));
  const arma::Col<std::complex<double>> back = arma::ifft(z);
  for (std::size_t k = 0; k < n; ++k) out(k) = back(k).real();
  return out;
}

}  // namespace tovik
