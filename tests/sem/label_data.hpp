#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "sem/small_run.hpp"

namespace tovik::tests {

inline const std::vector<std::string> names = {"m", "x", "y", "z"};

inline arma::mat columns(arma::uword n = 30, std::uint32_t seed = 9) {
  Random rng(seed, 1);
  arma::mat out = rng.randn(static_cast<int>(n), 4);
  out.col(2) += 0.6 * out.col(1) + 0.3 * out.col(3) + 1.0;
  out.col(0) += 0.5 * out.col(1);
  // Centred predictors leave the intercept apart from what is tested.
  out.col(1) -= arma::mean(out.col(1));
  out.col(3) -= arma::mean(out.col(3));
  return out;
}

/// Row of a name in the report column.
inline arma::uword row_of(const small_run& run, const std::string& outcome, const std::string& row) {
  arma::uword at = 0;
  for (const Model& model : run.models) {
    std::vector<std::string> rows = model.parameters();
    for (const std::string& extra : model.standardized()) rows.push_back(extra);
    for (const std::string& extra : model.rsquare()) rows.push_back(extra);
    for (const std::string& name : rows) {
      if (model.name() == outcome && name == row) return at;
      ++at;
    }
  }
  throw std::out_of_range(row);
}

/// The label moves in steps of about a standard deviation: the acceptance of a chain that is tuned.
inline void tune(sem::Mcmc& chain) {
  for (int block = 0; block < 12; ++block) {
    for (int i = 0; i < 200; ++i) chain.oneRep();
    chain.tune();
  }
}

inline void expect_mean(const arma::rowvec& series, double mean, double variance) {
  EXPECT_NEAR(arma::mean(series), mean, 5.0 * mean_error(series));
  const arma::rowvec squares = arma::square(series - mean);
  EXPECT_NEAR(arma::mean(squares), variance, 5.0 * mean_error(squares));
}

}  // namespace tovik::tests
