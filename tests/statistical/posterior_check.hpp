#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <armadillo>
#include <cmath>
#include <string>
#include <vector>

#include "results/summary.hpp"

namespace tovik::tests {

/// Draws of one parameter, one column per chain.
inline arma::Mat<double> draws_of(const Summary& draws, arma::uword parameter) {
  arma::Mat<double> out(draws.n_cols(), draws.n_chains());
  for (arma::uword c = 0; c < draws.n_chains(); ++c) {
    for (arma::uword t = 0; t < out.n_rows; ++t) out(t, c) = draws.chains()[c](parameter, t);
  }
  return out;
}

/// Effective number of draws of a series given in one column per chain.
inline double effective(const arma::Mat<double>& series) {
  std::vector<arma::Mat<double>> chains;
  for (arma::uword c = 0; c < series.n_cols; ++c) chains.emplace_back(series.col(c).t());
  return Summary(std::move(chains), series.n_rows).ess()(0);
}

/// The share of draws below each exact quantile must be the quantile's probability.
///
/// With N_p the effective number of the indicator series, the share has standard error sqrt(p(1-p)/N_p);
/// `exact` are independent draws of the exact posterior, whose own error enters the same way. Six standard
/// errors of a statistic that is normal to good accuracy fail a right sampler less than once in 10^8
/// comparisons.
inline void expect_same_distribution(const arma::Mat<double>& series, std::vector<double> exact,
                                     const std::string& what) {
  std::sort(exact.begin(), exact.end());
  for (double p : {0.05, 0.25, 0.5, 0.75, 0.95}) {
    const double q = exact[static_cast<std::size_t>(p * static_cast<double>(exact.size()))];
    const arma::Mat<double> below = arma::conv_to<arma::Mat<double>>::from(series < q);
    const double share = arma::accu(below) / static_cast<double>(below.n_elem);
    const double variance = p * (1 - p) * (1 / effective(below) + 1 / static_cast<double>(exact.size()));
    EXPECT_NEAR(share, p, 6 * std::sqrt(variance)) << what << " at the quantile of " << p;
  }
}

/// The same against another correlated series: its indicator has an effective number of draws too.
inline void expect_same_distribution(const arma::Mat<double>& series, const arma::Mat<double>& reference,
                                     const std::string& what) {
  const arma::Col<double> sorted = arma::sort(arma::vectorise(reference));
  for (double p : {0.05, 0.25, 0.5, 0.75, 0.95}) {
    const double q = sorted(static_cast<arma::uword>(p * static_cast<double>(sorted.n_elem)));
    const arma::Mat<double> below = arma::conv_to<arma::Mat<double>>::from(series < q);
    const arma::Mat<double> expected = arma::conv_to<arma::Mat<double>>::from(reference < q);
    const double share = arma::accu(below) / static_cast<double>(below.n_elem);
    const double error = 6 * std::sqrt(p * (1 - p) * (1 / effective(below) + 1 / effective(expected)));
    EXPECT_NEAR(share, p, error) << what << " at the quantile of " << p;
    // A comparison that could hide a tenth of the probability would prove little.
    EXPECT_LT(error, 0.1) << what << ": too few effective draws";
  }
}

}  // namespace tovik::tests
