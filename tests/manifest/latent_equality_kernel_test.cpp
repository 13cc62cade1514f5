// With one level the regressions of this imputation are those of the imputation with latent means, and so is
// what both draw.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "manifest/manifest_world.hpp"
#include "sem/chain_posterior.hpp"

namespace tovik::tests::latent_equality_kernel_test {
namespace {

constexpr double na = std::numeric_limits<double>::quiet_NaN();

arma::mat continuous_data(double origin, double unit) {
  constexpr arma::uword n = 60, p = 3;
  Random rng(2024, 0u);
  const arma::mat R = {{1.0, 0.7, 0.5}, {0.7, 1.0, 0.6}, {0.5, 0.6, 1.0}};
  arma::mat x = rng.randn(n, p) * arma::chol(R);
  for (arma::uword i = 0; i < n; ++i)
    for (arma::uword k = 0; k < p; ++k)
      if (rng.runif() < 0.3) x(i, k) = na;
  return origin + unit * x;
}

arma::rowvec functionals(const arma::mat& x) {
  const arma::mat S = arma::cov(x), C = arma::cor(x);
  return arma::join_rows(arma::mean(x, 0), S.diag().t(), arma::rowvec{C(0, 1), C(0, 2), C(1, 2)});
}

void expect_equal(const arma::mat& data) {
  const manifest_world world({"a", "b", "c"}, data);
  const auto observed = world.make({}, 5);
  const auto latent = world.run.chain(Random(6, 1u));
  const auto scan = [](auto& estimator) { return functionals(estimator.head_cols(3)); };
  const ChainPosterior a(
      [&] {
        observed->impute();
        const arma::mat x = observed->getData();
        return scan(x);
      },
      50, 600);
  const ChainPosterior b(
      [&] {
        latent->oneRep();
        const arma::mat x = latent->getData();
        return scan(x);
      },
      50, 600);
  // Latent means draw all parameters before all imputations; that is seen below a tenth of a spread.
  expect_same_posterior(a, b, 0.04, 0.1, 0.15);
}

TEST(ManifestAndLatent, AgreeInOneLevelOfContinuousVariables) {
  expect_equal(continuous_data(0, 1));
}

TEST(ManifestAndLatent, AgreeInOtherUnits) {
  expect_equal(continuous_data(1e4, 1000));
}

/// One incomplete nominal variable, and one ordinal variable: scores and their priors are the same.
TEST(ManifestAndLatent, AgreeForCategories) {
  Random rng(77, 0u);
  arma::mat data(80, 3);
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    const double z = rng.rnorm(), s = rng.rnorm(), t = rng.rnorm(), r = 0.8 * z + rng.rnorm();
    data.row(i) = arma::rowvec{s > std::max(t, r) ? 1.0
                               : t > r            ? 2.0
                                                  : 3.0,
                               1.0 + (z + s > -0.3) + (z + s > 0.9), z};
  }
  data.col(2) -= arma::mean(data.col(2));
  for (arma::uword which : {0, 1}) {
    SCOPED_TRACE(which);
    arma::mat incomplete = data.cols(arma::uvec{which, 2});
    for (arma::uword i = 0; i < data.n_rows; i += 3) incomplete(i, 0) = na;
    using names = std::vector<std::string>;
    const manifest_world world({"g", "z"}, incomplete, {}, which == 1 ? names{"g"} : names{},
                               which == 0 ? names{"g"} : names{});
    const auto values = [](const arma::mat& x) {
      arma::rowvec out(4, arma::fill::zeros);
      for (arma::uword i = 0; i < x.n_rows; i += 3) {
        if (x(i, 0) < 3) out(x(i, 0) < 2 ? 0 : 1) += 1.0;
        if (x(i, 0) < 2) out(2) += x(i, 1);
        if (x(i, 0) > 2) out(3) += x(i, 1);
      }
      return out;
    };
    const auto latent = world.run.chain(Random(6, 1u));
    const ChainPosterior b(
        [&] {
          latent->oneRep();
          return values(latent->getData());
        },
        50, 400);
    for (const bool mice : {false, true}) {
      manifest::options how;
      how.mice = mice;
      const auto observed = world.make(how, 5);
      const ChainPosterior a(
          [&] {
            observed->impute();
            return values(observed->getData());
          },
          50, 400);
      expect_same_posterior(a, b, 0.0, 0.0, 0.3);
    }
  }
}

/// Clusters with small and with large residuals: a missing value has the spread of its cluster.
TEST(ManifestVar, WithVariancesOfClustersDrawsFromThatOfTheCluster) {
  Random rng(15, 0u);
  arma::mat data(400, 2);
  for (arma::uword i = 0; i < data.n_rows; ++i) {
    const double cluster = double(i / 20), sd = i / 20 % 2 == 0 ? 0.2 : 3.0;
    data.row(i) = arma::rowvec{cluster, i % 20 == 0 ? na : std::sin(cluster) + sd * rng.rnorm()};
  }
  const manifest_world world({"id", "x"}, data, {"id"});
  for (const bool mice : {false, true}) {
    manifest::options how;
    how.hev = true;
    how.mice = mice;
    const auto mi = world.make(how);
    arma::mat drawn(2, 4000);
    for (arma::uword t = 0; t < drawn.n_cols; ++t) {
      mi->impute();
      const arma::mat now = mi->getData();
      drawn.col(t) = arma::vec{now(40, 1), now(60, 1)};
    }
    // With 19 residuals the scale is known to a sixth; a value of the cluster adds little.
    EXPECT_NEAR(std::log(arma::stddev(drawn.row(0)) / 0.2), 0, 0.5);
    EXPECT_NEAR(std::log(arma::stddev(drawn.row(1)) / 3.0), 0, 0.5);
    // The row of the report is the mean over clusters.
    const manifest::Var& x = manifest_world::model(*mi, "x");
    EXPECT_DOUBLE_EQ(x.params()(x.numParams() - 1), arma::mean(x.residual().clusters().v));
  }
}

}  // namespace
}  // namespace tovik::tests::latent_equality_kernel_test
