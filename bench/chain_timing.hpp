#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <functional>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "../tests/sem/small_run.hpp"
#include "results/summary_ess.hpp"

namespace tovik::bench {

/// Processor time of this thread.
inline double seconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// The shortest time of one call among turns that take about a twentieth of a second each.
class fastest {
 public:
  explicit fastest(std::function<void()> step) : step_(std::move(step)) {
    const double begin = seconds();
    step_();
    calls_ = 1 + static_cast<int>(0.05 / std::max(1e-7, seconds() - begin));
  }
  void turn() {
    const double begin = seconds();
    for (int i = 0; i < calls_; ++i) step_();
    best_ = std::min(best_, (seconds() - begin) / calls_);
  }
  double per_call() const { return best_; }

 private:
  std::function<void()> step_;
  int calls_ = 1;
  double best_ = std::numeric_limits<double>::infinity();
};

/// How many random numbers a scan draws.
struct numbers_of_scan {
  std::size_t normals = 0;
  std::size_t uniforms = 0;
  int gammas = 0;
  std::size_t truncated = 0;  ///< normals with a bound
};

/// The floor of a scan: its random numbers, and a sum over every cell of the working matrix.
inline std::function<void()> floor_of(const numbers_of_scan& numbers, const sem::Mcmc& chain) {
  auto rng = std::make_shared<Random>(3, 1);
  auto out = std::make_shared<std::vector<double>>(numbers.normals);
  return [numbers, &chain, rng, out] {
    rng->fill_randn(out->data(), numbers.normals);
    double sum = 0.0;
    for (std::size_t k = 0; k < numbers.uniforms; ++k) sum += rng->runif();
    for (int g = 0; g < numbers.gammas; ++g) sum += rng->rgamma(1000.0, 0.001);
    for (std::size_t k = 0; k < numbers.truncated; ++k) sum += rng->trNorm(0.3, 0.0, 1.0, k % 2 == 0);
    benchmark::DoNotOptimize(out->data());
    sum += arma::accu(chain.working().data);
    benchmark::DoNotOptimize(sum);
  };
}

/// Effective draws per scan of each parameter, NaN for one that is held fixed; `rows`: one scan each.
inline std::vector<double> effective_sizes(const arma::mat& rows) {
  arma::uword const n = rows.n_rows;
  EffectiveSize size(1, n);
  std::vector<double> out;
  for (arma::uword j = 0; j < rows.n_cols; ++j) {
    const bool fixed = rows.col(j).max() == rows.col(j).min();
    out.push_back(fixed ? std::numeric_limits<double>::quiet_NaN()
                        : size({rows.colptr(j)}) / static_cast<double>(n));
  }
  return out;
}

/// Of the next scans of a chain.
inline std::vector<double> effective_sizes(sem::Mcmc& chain, arma::uword n) {
  return effective_sizes(arma::mat(tests::draws(chain, 0, n)).t());
}

/// Effective draws per scan of the slowest parameter, and its position; `rows`: one scan each. Parameters
/// that are held fixed do not count.
inline std::pair<double, arma::uword> slowest(const arma::mat& rows) {
  const std::vector<double> sizes = effective_sizes(rows);
  std::pair<double, arma::uword> out{std::numeric_limits<double>::infinity(), 0};
  for (arma::uword j = 0; j < sizes.size(); ++j)
    if (sizes[j] < out.first) out = {sizes[j], j};
  return out;
}

/// The same of the next n scans of a chain.
inline std::pair<double, arma::uword> slowest(sem::Mcmc& chain, arma::uword n) {
  return slowest(arma::mat(tests::draws(chain, 0, n)).t());
}

}  // namespace tovik::bench
