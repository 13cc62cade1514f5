#pragma once

#include <armadillo>
#include <atomic>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "app/chain_group.hpp"
#include "support/error.hpp"

namespace tovik::tests {

/// An estimator whose state is the number of its scans, so that a test can tell what the chain did and when.
class CountingEstimator {
 public:
  int fail_at = -1;  ///< the scan that fails; -1 for none
  bool fail_tune_check = false;
  bool fail_correlations = false;
  arma::uword n_correlations = 0;
  bool has_tuning_info = false;
  bool warns = false;
  std::vector<int> tuned_after;  ///< scans after which tune() came
  int scans = 0;
  mutable int tune_checks = 0;

  /// Estimators that are inside a scan at this moment, over all chains, and the most there ever were.
  inline static std::atomic<int> running{0};
  inline static std::atomic<int> most_running{0};

  void oneRep() {
    const int now = ++running;
    int most = most_running;
    while (now > most && !most_running.compare_exchange_weak(most, now)) {
    }
    ++scans;
    --running;
    if (scans == fail_at) throw error("scan " + std::to_string(scans) + " failed");
  }
  arma::Col<double> getParams() const { return {double(scans), 2.0 * scans}; }
  void tune() { tuned_after.push_back(scans); }
  void tune_check() const {
    ++tune_checks;
    if (fail_tune_check) throw sem::error_tuning("rates");
  }
  arma::Cube<double> getLikelihoods() const {
    arma::Cube<double> cube(3, 2, 2);
    cube.fill(-double(scans));
    return cube;
  }
  std::unique_ptr<sem::likelihood_totals> getLikelihoodTotals() const { return nullptr; }
  arma::uword getNumberCorrelations() const { return n_correlations; }
  arma::Col<double> getCorrelations() const {
    if (fail_correlations) throw numeric_error::singular();
    return arma::Col<double>(n_correlations, arma::fill::ones);
  }
  void computeSimpleSlopes() {}
  arma::Col<double> getSimpleSlopes() const { return {}; }
  bool hasTuningInfo() const { return has_tuning_info; }
  bool tune_warning() const { return warns; }
  template <class Vars, class Models>
  void printTuningInfo(std::FILE* stream, const Vars&, const Models&, bool) const {
    std::fputs("    row\n", stream);
  }
  arma::Mat<double> getData(bool, bool, bool) const {
    arma::Mat<double> data(2, 2);
    data.fill(scans);
    return data;
  }
};

static_assert(grouped_sampler<CountingEstimator>);

}  // namespace tovik::tests
