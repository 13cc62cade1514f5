// A transformed outcome with a variance model: lambda, and the coefficients of the log variance, against an
// integral over a grid.

#include <gtest/gtest.h>

#include <cmath>

#include "chain_posterior.hpp"
#include "evaluate/functions.hpp"
#include "scan_world.hpp"
#include "sem/outcomes/scaled.hpp"
#include "sem/outcomes/yjt.hpp"

namespace tovik::tests::yjt_scaled_kernel_test {
namespace {

using sem::LogScale;
using sem::NormalScale;

constexpr double lower = 0.5, upper = 1.5;

/// log p(lambda, g | y) up to a constant, the flat coefficients of X integrated out.
double log_posterior(const arma::mat& X, const arma::mat& V, const arma::vec& y, double lambda,
                     const arma::vec& g) {
  arma::vec transformed(y.n_elem);
  double slopes = 0.0;
  for (arma::uword i = 0; i < y.n_elem; ++i) {
    transformed(i) = evaluate::yjt(y(i), lambda);
    slopes += (y(i) < 0.0 ? -1.0 : 1.0) * std::log1p(std::abs(y(i)));
  }
  const arma::vec l = V * g, w = arma::exp(-l);
  const arma::mat weighted = X.each_col() % w, A = X.t() * weighted;
  const arma::vec b = arma::solve(A, weighted.t() * transformed), e = transformed - X * b;
  return -0.5 * (arma::accu(l) + std::log(arma::det(A)) + arma::accu(w % e % e)) + (lambda - 1.0) * slopes;
}

/// Means and standard deviations of lambda and of the two coefficients over a grid of n^3 points.
arma::mat over_a_grid(const arma::mat& X, const arma::mat& V, const arma::vec& y, const arma::vec& centre,
                      const arma::vec& width) {
  constexpr int n = 48;
  arma::vec total(3, arma::fill::zeros), squares(3, arma::fill::zeros);
  double mass = 0.0;
  const double top = log_posterior(X, V, y, 1.0, centre);
  for (int k = 0; k < n; ++k) {
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) {
        const double lambda = lower + (upper - lower) * (k + 0.5) / n;
        const arma::vec g = {centre(0) + width(0) * (2.0 * (i + 0.5) / n - 1.0),
                             centre(1) + width(1) * (2.0 * (j + 0.5) / n - 1.0)};
        const double p = std::exp(log_posterior(X, V, y, lambda, g) - top);
        const arma::vec at = {lambda, g(0), g(1)};
        mass += p;
        total += p * at;
        squares += p * arma::square(at);
      }
    }
  }
  const arma::vec mean = total / mass;
  return arma::join_rows(mean, arma::sqrt(squares / mass - arma::square(mean)));
}

TEST(TransformedWithAVarianceModel, LambdaAndVariancesHaveTheirPosterior) {
  World world(1, {{30}}, 51);
  simulate_outcome(world, 0, 1.0, 51);
  world.data.col(1) %= arma::exp(0.3 * world.data.col(3));
  LoneEstimator estimator(951);
  LogScale scale(&estimator, world.setup(0, {0, 3}));
  sem::equation_setup setup = world.setup(0, {0, 2});
  setup.response_moves = true;
  sem::yjt<NormalScale> model(&estimator, data::type::continuous, setup, 1.0, true);
  model.addLogScale(&scale);
  model.take_lambda_prior(std::make_shared<sem::Parameter>(&estimator, sem::estimator::cluster(),
                                                           sem::distribution::uniform, lower, upper),
                          {});
  const arma::mat X = world.data.cols(arma::uvec{0, 2}), V = world.data.cols(arma::uvec{0, 3});
  const arma::vec y = world.data.col(1);
  const double start = std::log(arma::var(y));
  scale.betas_(0) = start;
  const auto next = [&] {
    for (int thin = 0; thin < 10; ++thin) model.draw(world.data);
    return arma::rowvec{model.lambda(), scale.betas()(0), scale.betas()(1)};
  };
  const ChainPosterior draws(next, 40, 400);
  const arma::vec centre = {draws.mean(1), draws.mean(2)}, width = {6.0 * draws.sd(1), 6.0 * draws.sd(2)};
  const arma::mat exact = over_a_grid(X, V, y, centre, width);
  for (arma::uword j = 0; j < 3; ++j) {
    EXPECT_NEAR(draws.mean(j), exact(j, 0), 4.5 * draws.error(j) + 0.005 * exact(j, 1)) << j;
    EXPECT_NEAR(draws.sd(j), exact(j, 1), 4.5 * draws.sd_error(j) + 0.01 * exact(j, 1)) << j;
    EXPECT_LT(draws.error(j), 0.1 * exact(j, 1)) << j;
  }
}

}  // namespace
}  // namespace tovik::tests::yjt_scaled_kernel_test
