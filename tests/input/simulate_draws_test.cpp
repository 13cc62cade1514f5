#include <cmath>

#include "data/save_matrix.hpp"
#include "input/chain_info.hpp"
#include "simulated.hpp"

namespace tovik::tests::simulate_draws_test {
namespace {

/// Limits of a standard normal statistic that a right program passes in all but one of 30,000 runs.
constexpr double limit = 4.15;

struct SimulateDraws : Simulated {
  static constexpr double n = 200000.0;

  /// Mean and variance of normal draws, in standard errors from their values: sd/sqrt(n) and v*sqrt(2/n).
  static void expect_normal(const arma::Col<double>& x, double mean, double variance) {
    const double rows = static_cast<double>(x.n_elem);
    EXPECT_LT(std::abs(arma::mean(x) - mean) / std::sqrt(variance / rows), limit);
    EXPECT_LT(std::abs(arma::var(x) / variance - 1.0) / std::sqrt(2.0 / rows), limit);
    // Share beyond 1.96 standard deviations.
    const arma::uvec tail = arma::find(arma::abs(x - mean) > 1.959963984540054 * std::sqrt(variance));
    EXPECT_LT(std::abs(static_cast<double>(tail.n_elem) / rows - 0.05) / std::sqrt(0.05 * 0.95 / rows),
              limit);
  }
};

TEST_F(SimulateDraws, NormalTakesAVariance) {
  const auto m =
      simulate("n = 200000; n: a = normal(0, 1); b = normal(-3, 9); v := 0.25; c = normal(10, v);");
  expect_normal(m.col(1), 0.0, 1.0);
  expect_normal(m.col(2), -3.0, 9.0);
  expect_normal(m.col(3), 10.0, 0.25);
  const double r = arma::as_scalar(arma::cor(m.col(1), m.col(2)));
  EXPECT_LT(std::abs(r) * std::sqrt(n), limit);
}

TEST_F(SimulateDraws, NormalFollowsColumns) {
  const auto m = simulate("n = 200000; n: g = ifelse(n > 100000, 1, 0); x = normal(5*g, 1 + 3*g);");
  expect_normal(m.col(2).head(100000), 0.0, 1.0);
  expect_normal(m.col(2).tail(100000), 5.0, 4.0);
}

TEST_F(SimulateDraws, UniformFillsItsRange) {
  const auto m = simulate("n = 200000; n: u = uniform(2, 6); w = uniform(0, n);");
  const arma::Col<double> u = m.col(1);
  EXPECT_GE(u.min(), 2.0);
  EXPECT_LT(u.max(), 6.0);
  const double variance = 16.0 / 12.0;
  EXPECT_LT(std::abs(arma::mean(u) - 4.0) / std::sqrt(variance / n), limit);
  // The fourth central moment of a uniform on width h is h^4 / 80.
  EXPECT_LT(std::abs(arma::var(u) - variance) / std::sqrt((256.0 / 80.0 - variance * variance) / n), limit);
  const arma::Col<double> share = m.col(2) / m.col(0);
  EXPECT_GE(share.min(), 0.0);
  EXPECT_LT(share.max(), 1.0);
  EXPECT_LT(std::abs(arma::mean(share) - 0.5) / std::sqrt(1.0 / 12.0 / n), limit);
}

TEST_F(SimulateDraws, IntraclassCorrelationComesOut) {
  const auto m =
      simulate("n = 200000; id(2) = 20000; id: u = normal(0, 0.3); n: y = 1 + u + normal(0, 0.7);");
  const arma::Mat<double> y = arma::reshape(m.col(3), 10, 20000);
  // Cluster means have variance 0.3 + 0.07; within clusters the variance is 0.7.
  const arma::Row<double> means = arma::mean(y, 0);
  EXPECT_LT(std::abs(arma::var(means) / 0.37 - 1.0) / std::sqrt(2.0 / 20000.0), limit);
  const double within = arma::mean(arma::var(y, 0, 0));
  EXPECT_LT(std::abs(within / 0.7 - 1.0) / std::sqrt(2.0 / 180000.0), limit);
}

TEST_F(SimulateDraws, SeedDecides) {
  const std::string text = "n = 20; id(2) = 5; id: u = normal(0, 1); n: x1:x3 = uniform(0, 1) + u;";
  const arma::Mat<double> first = simulate(text, "SEED: 42; ");
  const arma::Mat<double> again = simulate(text, "SEED: 42; ");
  const arma::Mat<double> other = simulate(text, "SEED: 43; ");
  EXPECT_TRUE(arma::all(arma::vectorise(first == again)));
  EXPECT_FALSE(arma::any(arma::vectorise(first.cols(2, 5) == other.cols(2, 5))));
}

TEST_F(SimulateDraws, WantedColumnsDoNotChangeTheDraws) {
  const std::string text = "n = 20; n: a = normal(0, 1); b = normal(0, 1); c = normal(0, 1);";
  const arma::Mat<double> all = simulate(text);
  const arma::Mat<double> one = simulate(text + "VARIABLES: c;");
  expect_equal(one.col(0), all.col(3));
}

TEST_F(SimulateDraws, StartingOffsetsFollowTheDraws) {
  const std::string rest = "BURN: 1; ITER: 8; CHAINS: 4; MODEL: x ~ n;";
  simulate("n = 5; n: x = normal(0, 1);" + rest);
  const std::vector<chain_info> infos = in->chainInfo();
  Random stream(7u, 0u);
  for (int i = 0; i < 5; ++i) stream.rnorm();
  EXPECT_EQ(infos[0].dispersion, 0.0);
  stream.rnorm();  // drawn for the first chain, which starts at the centre all the same
  EXPECT_EQ(infos[1].dispersion, -stream.rnorm());
  EXPECT_EQ(infos[2].dispersion, stream.rnorm());
  for (std::uint32_t i = 0; i < 4; ++i) EXPECT_EQ(infos[i].id, i + 1);  // streams 1 to 4, whatever was drawn
}

}  // namespace
}  // namespace tovik::tests::simulate_draws_test
