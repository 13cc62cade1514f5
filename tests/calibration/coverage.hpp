#pragma once

#include <algorithm>
#include <armadillo>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "calibration/replicate.hpp"
#include "results/summary.hpp"

namespace tovik::tests::calibration {

/// A quantity whose interval is to cover its true value.
struct target {
  std::string name;
  double truth = 0;
  arma::uword row = 0;  ///< in the draws; of no use where a study has its own `analyse`
};

/// What one run says of a target.
struct estimate {
  double mean = 0, deviation = 0, lower = 0, upper = 0;
};

/// Data simulated from fixed parameter values, and a command file that estimates them.
struct coverage_study {
  std::string title;
  std::string design;  ///< sentences for the report
  experiment runs;     ///< the truth of a study is not used
  std::vector<target> targets;
  /// Estimates of the targets from one run; without it, posterior means and central intervals of the draws.
  std::function<std::vector<estimate>(const sampled_run&)> analyse;
};

/// A run of one chain with this model.
inline std::string one_chain(const std::string& model) {
  return model +
         "OPTIONS: disable_dic disable_corrs; DEBUG: allow_tune_fail;\n"
         "CHAINS: 1; BURN: 1500; ITERATIONS: 3000;\n";
}

/// What repeated sampling says of one target. Monte Carlo errors are standard errors over replications.
struct coverage_row {
  std::string name;
  double truth = 0;
  double mean = 0;  ///< of the posterior means
  double bias = 0;
  double bias_error = 0;
  double deviation = 0;       ///< of the posterior means over replications
  double posterior = 0;       ///< mean posterior standard deviation
  double coverage = 0;        ///< of 95% intervals, as a share
  double coverage_error = 0;  ///< if the true coverage is 95%
};

struct coverage_table {
  std::vector<coverage_row> rows;
  std::size_t replications = 0;

  std::string markdown() const {
    std::string text =
        "| parameter | true | mean | bias | error of bias | SD of means | mean posterior SD | 95% coverage | "
        "error |\n"
        "|---|---|---|---|---|---|---|---|---|\n";
    for (const coverage_row& r : rows) {
      text += format("| %s | %.3f | %.3f | %+.4f | %.4f | %.3f | %.3f | %.1f%% | %.1f%% |\n", r.name.c_str(),
                     r.truth, r.mean, r.bias, r.bias_error, r.deviation, r.posterior, 100 * r.coverage,
                     100 * r.coverage_error);
    }
    return text;
  }
};

/// Mean, standard deviation and central 95% interval of one row of the draws, all chains together.
inline estimate estimate_of(const Summary& draws, arma::uword row) {
  std::vector<double> all;
  for (const chain_draws& chain : draws.chains()) {
    for (arma::uword t = 0; t < draws.n_cols(); ++t) all.push_back(chain(row, t));
  }
  std::sort(all.begin(), all.end());
  const arma::Col<double> values(all);
  const auto at = [&](double p) {
    return all[static_cast<std::size_t>(p * static_cast<double>(all.size() - 1))];
  };
  return {arma::mean(values), arma::stddev(values), at(0.025), at(0.975)};
}

inline std::vector<estimate> from_draws(const coverage_study& what, const sampled_run& run) {
  const Summary draws = run.iterations();
  std::vector<estimate> found;
  for (const target& one : what.targets) found.push_back(estimate_of(draws, one.row));
  return found;
}

inline coverage_table coverage(const coverage_study& what, std::size_t replications) {
  const arma::uword n = what.targets.size();
  arma::Mat<double> means(replications, n), deviations(replications, n), covered(replications, n);
  replicate(what.runs, replications, [&](std::size_t i, const study&, const sampled_run& run) {
    const std::vector<estimate> found = what.analyse ? what.analyse(run) : from_draws(what, run);
    for (arma::uword j = 0; j < n; ++j) {
      const estimate& e = found.at(j);
      means(i, j) = e.mean;
      deviations(i, j) = e.deviation;
      covered(i, j) = e.lower <= what.targets[j].truth && what.targets[j].truth <= e.upper;
    }
  });
  const double root = std::sqrt(static_cast<double>(replications));
  coverage_table table;
  table.replications = replications;
  for (arma::uword j = 0; j < n; ++j) {
    coverage_row row;
    row.name = what.targets[j].name;
    row.truth = what.targets[j].truth;
    row.mean = arma::mean(means.col(j));
    row.bias = row.mean - row.truth;
    row.deviation = arma::stddev(means.col(j));
    row.bias_error = row.deviation / root;
    row.posterior = arma::mean(deviations.col(j));
    row.coverage = arma::mean(covered.col(j));
    row.coverage_error = std::sqrt(0.95 * 0.05) / root;
    table.rows.push_back(row);
  }
  return table;
}

}  // namespace tovik::tests::calibration
