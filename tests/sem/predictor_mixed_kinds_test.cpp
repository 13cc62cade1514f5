// Continuous, binary, ordinal and nominal variables that predict each other in one round robin.

#include <gtest/gtest.h>

#include <cmath>

#include "sem/two_level_predictors.hpp"

namespace tovik::sem::predictor_mixed_kinds_test {
namespace {

using tests::clustered;
using tests::predictor_run;

/// What every scan is asked for, and its name.
struct functional {
  const char* name;
  double value;
};

/// Five variables in 200 clusters of 8, all of them normal behind what is seen and related at both levels: a
/// complete y, and x, b (0, 1), o (0, 1, 2) and g (1, 2, 3), which are missing more often where y is large.
/// The scores behind g have the covariance of differences of independent utilities given all others, so that
/// each regression of the round robin is true.
struct mixed_world {
  static constexpr arma::uword J = 200, n = 8;
  arma::mat complete, seen;  ///< id, y, x, b, o, g

  explicit mixed_world(int seed) : complete(J * n, 6) {
    Random rng(seed, 1);
    for (arma::uword j = 0; j < J; ++j) {
      const double f = rng.rnorm();
      const arma::vec between = {0.6 * f, 0.5 * f, 0.5 * f, -0.4 * f, 0.6 * f, -0.3 * f};
      const arma::vec mean = between + 0.4 * arma::vec(rng.randn(6, 1));
      for (arma::uword i = 0; i < n; ++i)
        complete.row(j * n + i) = one_row(static_cast<double>(j), mean, rng);
    }
    seen = complete;
    for (arma::uword i = 0; i < seen.n_rows; ++i)
      for (arma::uword k = 2; k < 6; ++k)
        if (rng.runif() < (seen(i, 1) > 0 ? 0.45 : 0.1)) seen(i, k) = arma::datum::nan;
  }

  static arma::rowvec one_row(double cluster, const arma::vec& mean, Random& rng) {
    const double y = rng.rnorm(), x = 0.5 * y + 0.8 * rng.rnorm();
    const double b = 0.7 * x - 0.4 * y + rng.rnorm(), o = 0.6 * b + 0.4 * x + rng.rnorm();
    const double shared = std::sqrt(0.5) * rng.rnorm();
    const double z1 = mean[4] + 0.8 * x - 0.3 * b + shared + std::sqrt(0.5) * rng.rnorm();
    const double z2 = mean[5] + 0.5 * o + 0.4 * y + shared + std::sqrt(0.5) * rng.rnorm();
    const double latent_o = mean[3] + o;
    const double g = z1 <= 0 && z2 <= 0 ? 1 : z1 > z2 ? 2 : 3;
    return {cluster,
            mean[0] + y,
            mean[1] + x,
            mean[2] + b > 0 ? 1.0 : 0.0,
            latent_o > 1      ? 2.0
            : latent_o > -0.5 ? 1.0
                              : 0.0,
            g};
  }

  /// Mean of products of columns of cluster means, which no row by itself determines.
  static double between(const arma::vec& a, const arma::vec& b) {
    const arma::rowvec of_a = arma::mean(arma::reshape(a, n, J), 0);
    const arma::rowvec of_b = arma::mean(arma::reshape(b, n, J), 0);
    return arma::mean(of_a % of_b);
  }

  static std::vector<functional> describe(const arma::mat& data) {
    const arma::vec y = data.col(1), x = data.col(2), b = data.col(3), o = data.col(4);
    const arma::vec g2 = arma::conv_to<arma::vec>::from(data.col(5) == 2.0);
    const arma::vec g3 = arma::conv_to<arma::vec>::from(data.col(5) == 3.0);
    const arma::vec high = arma::conv_to<arma::vec>::from(o == 2.0);
    return {{"x", arma::mean(x)},
            {"x x", arma::mean(x % x)},
            {"x y", arma::mean(x % y)},
            {"b", arma::mean(b)},
            {"b x", arma::mean(b % x)},
            {"b y", arma::mean(b % y)},
            {"o", arma::mean(o)},
            {"o = 2", arma::mean(high)},
            {"o b", arma::mean(o % b)},
            {"g = 2", arma::mean(g2)},
            {"g = 3", arma::mean(g3)},
            {"g = 2, x", arma::mean(g2 % x)},
            {"g = 3, o", arma::mean(g3 % o)},
            {"g = 3, b", arma::mean(g3 % b)},
            {"g = 2, y", arma::mean(g2 % y)},
            {"means of x", between(x, x)},
            {"means of b, x", between(b, x)},
            {"means of g = 2, o", between(g2, o)}};
  }
};

/// Given what is seen, the value that a functional has in the complete data is one more draw from the
/// distribution that its values in completed data have (but for what the priors say). With 400 scans, worth
/// 60 or more independent ones, their standard deviation is known to 10% and their mean to 0.13 of it, so
/// that five of it are left by one of 18 functionals in fewer than one of 10,000 samples.
TEST(PredictorMixedKinds, CompletedDataAreAsTheDataThatWereLost) {
  const mixed_world world(12);
  auto p = clustered();
  p.ordinal = {"b", "o"};
  p.nominal = {"g"};
  p.auxiliary = {"y", "x", "b", "o", "g"};
  const predictor_run run({"id", "y", "x", "b", "o", "g"}, world.seen, {}, p);
  const auto chain = run.chain(Random(3, 1));
  ASSERT_EQ(chain->predictors().size(), 5u);
  const auto truth = mixed_world::describe(world.complete);
  const int burn = 200, scans = 400;
  arma::mat draws(truth.size(), scans);
  for (int t = -burn; t < scans; ++t) {
    chain->oneRep();
    if (t < 0) {
      if (t < -burn / 2 && t % 25 == 0) chain->tune();
      continue;
    }
    const auto now = mixed_world::describe(chain->getData());
    for (std::size_t k = 0; k < now.size(); ++k) draws(k, t) = now[k].value;
  }
  for (std::size_t k = 0; k < truth.size(); ++k) {
    const arma::vec values = draws.row(k).t();
    const double mean = arma::mean(values);
    const double sd = arma::norm(values - mean) / std::sqrt(scans - 1.0);
    EXPECT_NEAR(mean, truth[k].value, 5.0 * sd) << truth[k].name << ", sd " << sd;
    EXPECT_LT(sd, 0.05) << truth[k].name;
  }
}

/// The rows that are left by themselves are far from the truth: the test above could fail.
TEST(PredictorMixedKinds, CompleteRowsAloneMislead) {
  const mixed_world world(12);
  arma::uvec full(world.seen.n_rows);
  arma::uword m = 0;
  for (arma::uword i = 0; i < full.n_elem; ++i)
    if (!world.seen.row(i).has_nan()) full[m++] = i;
  const arma::mat rows = world.complete.rows(full.head(m));
  for (arma::uword k : {2u, 3u, 4u})
    EXPECT_LT(arma::mean(rows.col(k)), arma::mean(world.complete.col(k)) - (k == 2 ? 0.2 : 0.0)) << k;
}

}  // namespace
}  // namespace tovik::sem::predictor_mixed_kinds_test
