#pragma once

#include <armadillo>
#include <functional>
#include <string>
#include <vector>

#include "calibration/replicate.hpp"
#include "results/wald_test.hpp"

namespace tovik::tests::calibration {

/// Data simulated under the hypotheses of a command file's WALDTEST commands.
struct rejection_study {
  std::string title;
  std::string design;  ///< sentences for the report
  std::vector<std::string> tests;
  experiment runs;  ///< the truth of a study is not used
};

/// Levels at which rejections are counted.
inline const std::vector<double> rejection_levels = {0.01, 0.05, 0.1, 0.25, 0.5};

/// The probabilities of each test (columns) over the replications (rows).
inline arma::Mat<double> probabilities(const rejection_study& what, std::size_t replications) {
  arma::Mat<double> out(replications, what.tests.size());
  replicate(what.runs, replications, [&](std::size_t i, const study&, const sampled_run& run) {
    const arma::Mat<double> results = sem::WaldTest::results(run.prepared->tests, run.group->estimates());
    for (arma::uword j = 0; j < out.n_cols; ++j) out(i, j) = results(j, 3);
  });
  return out;
}

/// The share of probabilities below a level.
inline double rejections(const arma::Col<double>& p, double level) {
  return static_cast<double>(arma::accu(p < level)) / static_cast<double>(p.n_elem);
}

/// Tests of a value, of an equality and of two predictors that are left out, one of them incomplete.
rejection_study regression_rejections();
/// Tests of predictors of pupils and of schools on two levels.
rejection_study two_level_rejections();

inline std::vector<rejection_study> rejection_studies() {
  return {regression_rejections(), two_level_rejections()};
}

}  // namespace tovik::tests::calibration
