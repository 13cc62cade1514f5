// The parts of a transformed outcome by themselves: the density with the coefficients integrated out, missing
// values at a bound of the transformation, and lambda against its posterior by numerical integration.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <boost/math/distributions/normal.hpp>
#include <cmath>
#include <memory>

#include "sample_tests.hpp"
#include "sem/scan/integrated_regression.hpp"
#include "sem/wiring/settings.hpp"
#include "yjt_world.hpp"

namespace tovik::tests::yjt_kernel_test {
namespace {

using sem::equation_setup;
using model = sem::yjt<sem::Normal>;

/// log of the integral of f over a grid of equal steps, up to the steps.
template <class F>
double log_integral(double from, double to, int steps, F log_f) {
  double largest = -INFINITY;
  std::vector<double> values;
  for (int i = 0; i <= steps; ++i) {
    values.push_back(log_f(from + (to - from) * i / steps));
    largest = std::max(largest, values.back());
  }
  double sum = 0.0;
  for (double value : values) sum += std::exp(value - largest);
  return largest + std::log(sum);
}

// Two coefficients and the variance integrated by sums, against the closed form, for two vectors e of which
// one is 10 times the other and shifted: the difference of the logarithms is free of constants.
TEST(IntegratedRegression, IsTheIntegralOverCoefficientsAndVariance) {
  const arma::Mat<double> X = {{1.0, 9.0}, {1.0, 10.5}, {1.0, 11.0}, {1.0, 8.0}, {1.0, 12.0}, {1.0, 9.5}};
  const arma::Col<double> first = {0.3, -0.2, 1.1, 0.4, -0.9, 0.6}, second = 2.0 * first + X.col(1);
  sem::scan::integrated_regression closed;
  closed.design() = X;
  ASSERT_TRUE(closed.factor());
  for (const int prior : {1, 3}) {
    const double df = prior == 1 ? 2.0 : 0.0, pseudo = prior == 1 ? 1.5 : 0.0;
    // The integral over the coefficients of one value of the variance is normal: only SS is left of it, and v
    // to the power (n - k) / 2. Here it is summed over slope and intercept.
    auto by_sums = [&](const arma::Col<double>& e) {
      const arma::Col<double> b = arma::solve(X, e);
      return log_integral(-9.0, 9.0, 120, [&](double log_v) {
        const double v = std::exp(log_v), spread = 9.0 * std::sqrt(v);
        const double inner = log_integral(-spread, spread, 80, [&](double d1) {
          return log_integral(-spread, spread, 80, [&](double d0) {
            const arma::Col<double> r = e - X * (b + arma::Col<double>{d0 - 9.8 * d1, d1});
            return -0.5 * arma::dot(r, r) / v - 0.5 * 6.0 * log_v;
          });
        });
        return inner + 2.0 * std::log(spread) - 0.5 * df * log_v - 0.5 * pseudo / v;
      });
    };
    const double expected = by_sums(second) - by_sums(first);
    const double found = closed.log_density(closed.squares(second), prior, 1.5) -
                         closed.log_density(closed.squares(first), prior, 1.5);
    EXPECT_NEAR(found, expected, 1e-3) << prior;
    EXPECT_LT(found, -1.0);
  }
  closed.design().col(1) = 3.0 * X.col(0);
  EXPECT_FALSE(closed.factor());
}

/// An outcome of one level with the given lambda, three of whose values are missing.
struct bounded_world {
  World world{1, {{40}}, 8};
  LoneEstimator estimator{9};
  std::unique_ptr<model> outcome;

  bounded_world(double lambda, double mean, double variance) {
    equation_setup setup = world.setup(0, {0});
    setup.fixed = {0};
    setup.fixed_values = {mean};
    setup.estimate_resid = false;
    setup.resid_value = variance;
    setup.missing_units = {3, 11, 12};
    setup.response_moves = true;
    outcome = std::make_unique<model>(&estimator, data::type::continuous, setup, lambda, false);
  }
};

// Below -1 at lambda = 3, and above 0.5 at lambda = -2, there is no value: draws follow the truncated normal
// distribution, also where nearly all of the normal one is outside.
TEST(YeoJohnsonKernels, MissingValuesStayWithinTheRange) {
  for (const auto& [lambda, mean, variance] :
       {std::array{3.0, -0.5, 1.0}, {3.0, -4.0, 0.5}, {-2.0, 0.3, 0.4}, {-2.0, 5.0, 1.0}}) {
    bounded_world w(lambda, mean, variance);
    const arma::Mat<double> before = w.world.data;
    const boost::math::normal normal(mean, std::sqrt(variance));
    const double bound = lambda > 2.0 ? -1.0 : 0.5, at_bound = boost::math::cdf(normal, bound);
    std::vector<double> sample;
    for (int t = 0; t < 4000; ++t) {
      w.outcome->draw(w.world.data);
      for (const arma::uword i : {3, 11, 12}) sample.push_back(evaluate::yjt(w.world.data(i, 1), lambda));
    }
    EXPECT_LT(kolmogorov(std::move(sample),
                         [&](double x) {
                           const double F = boost::math::cdf(normal, x);
                           return lambda > 2.0 ? std::clamp((F - at_bound) / (1.0 - at_bound), 0.0, 1.0)
                                               : std::clamp(F / at_bound, 0.0, 1.0);
                         }),
              2.7)
        << lambda << " " << mean;
    arma::Col<double> changed = w.world.data.col(1) - before.col(1);
    changed(arma::Col<arma::uword>{3, 11, 12}).zeros();
    EXPECT_EQ(arma::abs(changed).max(), 0.0);
  }
}

/// A chain of lambda, of one level with an intercept and a predictor, both with flat priors.
struct lambda_chain {
  World world{1, {{60}}, 10};
  equation_setup setup = world.setup(0, {0, 2, 3});
  LoneEstimator estimator{11};
  std::unique_ptr<model> outcome;

  lambda_chain(double unit, int prior, bool integrates, double lower, double upper)
      : how_(sem::sampler_settings::integrate_lambda, integrates) {
    Random rng(12, 1);
    for (arma::uword i = 0; i < 60; ++i)
      world.data(i, 1) = unit * std::exp(1.0 + 0.4 * world.data(i, 2) + 0.5 * rng.rnorm());
    setup.prior = {prior, prior};
    outcome = transformed_normal(estimator, setup, lower, upper);
    outcome->settle_lambda(world.data);
    for (int t = 0; t < 3000; ++t) {
      outcome->draw(world.data);
      std::vector<sem::estimator::tune_obj*> proposals;
      outcome->addProposals(proposals);
      proposals.front()->adapt();
    }
  }

  std::vector<double> draw(int n, int thin) {
    std::vector<double> out;
    for (int t = 0; t < n * thin; ++t) {
      outcome->draw(world.data);
      if (t % thin == 0) out.push_back(outcome->lambda());
    }
    return out;
  }

  /// The distribution function of lambda given the data, by the trapezoidal rule.
  std::vector<double> exact(double lower, double upper, int steps, int prior) const {
    const arma::Mat<double> X = world.data.cols(setup.x);
    std::vector<double> log_density;
    for (int i = 0; i <= steps; ++i) {
      const double lambda = lower + (upper - lower) * i / steps;
      arma::Col<double> y(60);
      double slopes = 0.0;
      for (arma::uword j = 0; j < 60; ++j) {
        y(j) = evaluate::yjt(world.data(j, 1), lambda);
        slopes += std::log(std::fabs(world.data(j, 1)) + 1.0) * (world.data(j, 1) < 0.0 ? -1.0 : 1.0);
      }
      const arma::Col<double> r = y - X * arma::solve(X, y);
      const double df = prior == 1 ? 2.0 : prior == 2 ? -2.0 : 0.0;
      log_density.push_back((lambda - 1.0) * slopes -
                            0.5 * (57.0 + df) * std::log(arma::dot(r, r) + (prior == 1 ? 1.0 : 0.0)));
    }
    const double top = *std::max_element(log_density.begin(), log_density.end());
    std::vector<double> out(log_density.size(), 0.0);
    for (std::size_t i = 1; i < out.size(); ++i)
      out[i] = out[i - 1] + 0.5 * (std::exp(log_density[i - 1] - top) + std::exp(log_density[i] - top));
    const double total = out.back();
    for (double& value : out) value /= total;
    return out;
  }

 private:
  const Setting<bool> how_;
};

double at(const std::vector<double>& cumulated, double lower, double upper, double x) {
  const double place = (x - lower) / (upper - lower) * static_cast<double>(cumulated.size() - 1);
  const auto i = static_cast<std::size_t>(std::clamp(place, 0.0, static_cast<double>(cumulated.size() - 2)));
  return cumulated[i] + (place - static_cast<double>(i)) * (cumulated[i + 1] - cumulated[i]);
}

void expect_exact(double unit, int prior, bool integrates, double lower, double upper, int n, int thin) {
  lambda_chain chain(unit, prior, integrates, lower, upper);
  const std::vector<double> cumulated = chain.exact(lower, upper, 2000, prior);
  EXPECT_LT(kolmogorov(chain.draw(n, thin), [&](double x) { return at(cumulated, lower, upper, x); }), 2.5)
      << unit << " " << prior << " " << integrates;
}

TEST(YeoJohnsonKernels, LambdaHasItsPosteriorUnderEachPrior) {
  for (const int prior : {1, 2, 3}) expect_exact(1.0, prior, true, -1.0, 1.0, 4000, 8);
}

TEST(YeoJohnsonKernels, LambdaByItselfHasTheSamePosterior) {
  expect_exact(1.0, 3, false, -1.0, 1.0, 1500, 60);
}

// In units of which the values are some thousands it mixes as before.
TEST(YeoJohnsonKernels, LambdaMixesWhateverTheUnit) {
  expect_exact(1000.0, 2, true, 0.0, 3.0, 4000, 8);
  expect_exact(1e6, 3, true, -1.0, 1.0, 4000, 8);
}

TEST(YeoJohnsonKernels, LambdaStopsAtTheBoundsOfItsPrior) {
  expect_exact(1.0, 3, true, 0.1, 0.3, 4000, 8);
  expect_exact(1.0, 3, true, -0.9, -0.2, 4000, 8);
}

}  // namespace
}  // namespace tovik::tests::yjt_kernel_test
