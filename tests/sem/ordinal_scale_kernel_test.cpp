// Thresholds from their normal approximation and the common factor of all that is in the units of a
// propensity: whole chains against posteriors found by integration, and against chains without the two steps.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "kernel_samples.hpp"
#include "sample_tests.hpp"
#include "sem/outcomes/ordinal.hpp"
#include "sem/scan/orbit_scale.hpp"
#include "sem/small_run.hpp"
#include "sem/wiring/settings.hpp"
#include "threshold_posterior.hpp"

namespace tovik::tests::ordinal_scale_kernel_test {
namespace {

/// What a chain uses; as it was at the end.
struct steps {
  steps(bool newton, bool scale) {
    sem::sampler_settings::newton_thresholds = newton;
    sem::sampler_settings::scale_scores = scale;
  }
  ~steps() { sem::sampler_settings::newton_thresholds = sem::sampler_settings::scale_scores = true; }
  steps(const steps&) = delete;
  steps& operator=(const steps&) = delete;
};

constexpr arma::uword n_rows = 14;

arma::vec predictor_values() {
  Random rng(41, 0U);
  arma::vec out(n_rows);
  for (double& x : out) x = 0.8 * rng.rnorm() + 0.3;
  return out;
}

/// `scans` of a chain of 14 rows, thinned: one row of the draws per kept scan.
arma::mat thinned(const small_run& run, arma::uword n, arma::uword thin, std::uint32_t seed,
                  const sem::priors& prior = {}) {
  const auto chain = run.chain(Random(seed, 1), prior);
  for (int i = 0; i < 200; ++i) chain->oneRep();
  arma::mat out(n, chain->getTotalParams());
  for (arma::uword t = 0; t < n; ++t) {
    for (arma::uword k = 0; k < thin; ++k) chain->oneRep();
    out.row(t) = chain->getParams().t();
  }
  return out;
}

/// The two coefficients of y ~ x, one of them held, stand behind the residual variance, the threshold last.
enum class held { intercept, slope };

/// The posterior of the free coefficient and of the one free threshold on a grid.
void expect_posterior(held which, const std::string& statement, double value, std::uint32_t seed) {
  arma::mat data(n_rows, 2);
  data.col(0) = arma::conv_to<arma::vec>::from(categories_of_14);
  const arma::vec x = predictor_values();
  data.col(1) = x;
  const small_run run({"o", "x"}, data, {}, {statement}, {}, {"o"});
  const double step = 0.02;
  arma::mat density(400, 350);
  for (arma::uword a = 0; a < 400; ++a) {
    const double b = -4.0 + (static_cast<double>(a) + 0.5) * step;
    const arma::vec mean = which == held::slope ? arma::vec(b + value * x) : arma::vec(value + b * x);
    for (arma::uword k = 0; k < 350; ++k) {
      const double tau = (static_cast<double>(k) + 0.5) * step;
      density(a, k) =
          std::exp(log_likelihood({0.0, tau}, categories_of_14, mean) - 0.5 * b * b / sem::Ordinal::priBeta);
    }
  }
  const GridCdf of_b(-4.0, step, arma::sum(density, 1)), of_tau(0.0, step, arma::sum(density, 0).t());
  for (const auto& [newton, scale] :
       {std::pair(true, true), std::pair(true, false), std::pair(false, true)}) {
    const steps used(newton, scale);
    const arma::mat draws = thinned(run, 8000, scale && newton ? 15 : 40, seed);
    const arma::uword at = which == held::slope ? 1 : 2;
    const std::vector<double> b(draws.colptr(at), draws.colptr(at) + draws.n_rows);
    const std::vector<double> tau(draws.colptr(3), draws.colptr(3) + draws.n_rows);
    EXPECT_LT(kolmogorov(b, of_b), 2.5) << statement << newton << scale;
    EXPECT_LT(kolmogorov(tau, of_tau), 2.5) << statement << newton << scale;
  }
}

TEST(OrdinalScale, InterceptAndThresholdHaveTheirPosterior) {
  expect_posterior(held::slope, "o ~ x@0.5", 0.5, 51);
}

TEST(OrdinalScale, WithTheInterceptHeldTheSlopeAndTheThresholdHaveTheirs) {
  expect_posterior(held::intercept, "o ~ 1@0.4 x", 0.4, 52);
}

/// Chains with the steps and without have one posterior.
void expect_same_posterior(const small_run& run, const sem::priors& prior, std::uint32_t seed) {
  Samples with, without;
  constexpr arma::uword n = 3000, thin = 60;
  const auto add = [&](Samples& to, const arma::mat& draws) {
    for (arma::uword t = 0; t < draws.n_rows; ++t) {
      std::vector<double> row;
      for (arma::uword j = 0; j < draws.n_cols; ++j)
        if (draws.col(j).max() > draws.col(j).min()) row.push_back(draws(t, j));
      to.add(row);
    }
  };
  {
    const steps used(false, false);
    add(without, thinned(run, n, thin, seed, prior));
  }
  add(with, thinned(run, n, thin / 3, seed + 1, prior));
  expect_same_distribution(with, without);
}

/// 12 clusters of 5 rows, four categories, a predictor of which `cells` are missing among the categories.
arma::mat clustered(arma::uword cells) {
  Random rng(43, 0U);
  arma::mat data(60, 3);
  double effect = 0.0;
  for (arma::uword i = 0; i < 60; ++i) {
    if (i % 5 == 0) effect = 0.8 * rng.rnorm();
    const double x = rng.rnorm(), y = 0.6 + effect + 0.5 * x + rng.rnorm();
    data.row(i) = arma::rowvec{static_cast<double>(i / 5 + 1), 1.0 + (y > 0.0) + (y > 0.7) + (y > 1.6), x};
  }
  for (arma::uword c = 0; c < cells; ++c) data(7 * c + 3, 1) = arma::datum::nan;
  return data;
}

TEST(OrdinalScale, WithRandomEffectsUnderEachPriorThePosteriorStays) {
  for (int kind : {1, 2, 3})
    expect_same_posterior(small_run({"id", "o", "x"}, clustered(0), {"id"}, {"o ~ x"}, {}, {"o"}), {kind, 1},
                          60 + 2 * static_cast<std::uint32_t>(kind));
}

TEST(OrdinalScale, WithASlopeAndMissingCategoriesThePosteriorStays) {
  expect_same_posterior(small_run({"id", "o", "x"}, clustered(6), {"id"}, {"o ~ x | x"}, {}, {"o"}), {1, 1},
                        70);
}

TEST(OrdinalScale, WithALabelledCoefficientThePosteriorStays) {
  expect_same_posterior(
      small_run({"id", "o", "x"}, clustered(0), {"id"}, {"o ~ x@b"}, {"b ~ normal(0.3, 0.5)"}, {"o"}), {1, 1},
      72);
}

TEST(OrdinalScale, OfTwoCategoriesThePosteriorStays) {
  arma::mat data = clustered(4);
  for (double& o : data.col(1))
    if (!std::isnan(o)) o = o > 2.0;
  expect_same_posterior(small_run({"id", "o", "x"}, data, {"id"}, {"o ~ x"}, {}, {"o"}), {1, 1}, 74);
}

TEST(OrbitScale, LeavesItsDensityOnTheOrbit) {
  const sem::scan::orbit_scale start{9.0, 6.0, 1.5, 2.0};
  Random rng(80, 0U);
  double l = 0.0;
  const auto sample = chain(
      20000, 3,
      [&] {
        // The same density seen from where the state stands.
        const double g = std::exp(l);
        const sem::scan::orbit_scale here{start.dimension, start.square * g * g, start.linear * g,
                                          start.inverse / (g * g)};
        l += std::log(here.draw(rng));
      },
      [&] { return l; });
  arma::vec density(4000);
  for (arma::uword j = 0; j < density.n_elem; ++j)
    density[j] = std::exp(start.log_density(-2.0 + 0.001 * (static_cast<double>(j) + 0.5)));
  EXPECT_LT(kolmogorov(sample, GridCdf(-2.0, 0.001, density)), 2.5);
}

TEST(OrbitScale, IsOneWithoutADensity) {
  Random rng(81, 0U);
  EXPECT_EQ((sem::scan::orbit_scale{5.0, arma::datum::nan, 0.0, 0.0}).draw(rng), 1.0);
}

// More is divided by the factor than multiplied: the density has a pole at 0, where nobody may fall in.
TEST(OrbitScale, StaysOnTheSideOfTheModeWhereThereIsAPole) {
  const sem::scan::orbit_scale at_mode{-3.0, 40.0, 40.0, 0.0};
  const double lowest = at_mode.lowest();
  ASSERT_TRUE(std::isfinite(lowest) && lowest < 0.0);
  double mass = 0.0, expected = 0.0;
  for (int i = 0; i < 20000; ++i) {
    const double l = lowest + 3.0 * (i + 0.5) / 20000.0, p = std::exp(at_mode.log_density(l));
    mass += p;
    expected += p * l;
  }
  expected /= mass;
  Random rng(31, 1);
  constexpr int n = 40000;
  sem::scan::orbit_scale state = at_mode;
  double l = 0.0, sum = 0.0, squares = 0.0;
  for (int t = 0; t < n; ++t) {
    const double g = state.draw(rng);
    l += std::log(g);
    state.square *= g * g;
    state.linear *= g;
    ASSERT_GE(l, lowest - 1e-9);
    sum += l;
    squares += l * l;
  }
  const double mean = sum / n, sd = std::sqrt(squares / n - mean * mean);
  // Draws of the slice sampler are worth half as many independent ones at the least.
  EXPECT_NEAR(mean, expected, 4.5 * sd * std::sqrt(2.0 / n));
  const sem::scan::orbit_scale no_mode{-3.0, 40.0, 1.0, 0.0};
  EXPECT_EQ(no_mode.draw(rng), 1.0);
  const sem::scan::orbit_scale below{-3.0, 40.0, 800.0, 0.0};  // the mode is at twenty times the state
  EXPECT_EQ(below.draw(rng), 1.0);
}

}  // namespace
}  // namespace tovik::tests::ordinal_scale_kernel_test
