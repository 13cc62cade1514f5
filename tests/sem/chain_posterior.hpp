#pragma once

#include <gtest/gtest.h>

#include <armadillo>
#include <cmath>

namespace tovik::tests {

/// Means and standard deviations of functions over a chain, with standard errors from batches.
struct ChainPosterior {
  arma::rowvec mean, sd, error, sd_error;

  /// `next`: one scan, and the values of the functions after it.
  template <typename Next>
  ChainPosterior(Next next, arma::uword batches, arma::uword length) {
    for (int i = 0; i < 300; ++i) next();
    arma::mat all;
    for (arma::uword i = 0; i < batches * length; ++i) {
      arma::rowvec const values = next();
      if (i == 0) all.set_size(batches * length, values.n_elem);
      all.row(i) = values;
    }
    mean = arma::mean(all, 0);
    sd = arma::stddev(all, 0, 0);
    arma::mat batch_mean(batches, all.n_cols), batch_sd(batches, all.n_cols);
    for (arma::uword b = 0; b < batches; ++b) {
      arma::mat const part = all.rows(b * length, (b + 1) * length - 1);
      batch_mean.row(b) = arma::mean(part, 0);
      batch_sd.row(b) = arma::sqrt(arma::mean(arma::square(part.each_row() - mean), 0));
    }
    const double root = std::sqrt(static_cast<double>(batches));
    error = arma::stddev(batch_mean, 0, 0) / root;
    sd_error = arma::stddev(batch_sd, 0, 0) / root;
  }
};

/// The posteriors of two chains agree but for chance (4.5 standard errors: 7e-6 each) and for these shares of
/// a standard deviation. `precise`: what chance may come to in the means, as such a share.
inline void expect_same_posterior(const ChainPosterior& a, const ChainPosterior& b, double mean_share,
                                  double sd_share, double precise) {
  ASSERT_EQ(a.mean.n_elem, b.mean.n_elem);
  for (arma::uword j = 0; j < a.mean.n_elem; ++j) {
    const double chance = 4.5 * std::hypot(a.error[j], b.error[j]);
    EXPECT_NEAR(a.mean[j], b.mean[j], chance + mean_share * a.sd[j]) << "mean of function " << j;
    EXPECT_NEAR(a.sd[j], b.sd[j], 4.5 * std::hypot(a.sd_error[j], b.sd_error[j]) + sd_share * a.sd[j])
        << "spread of function " << j;
    EXPECT_LT(chance, precise * a.sd[j]) << "chance of function " << j;
  }
}

}  // namespace tovik::tests
