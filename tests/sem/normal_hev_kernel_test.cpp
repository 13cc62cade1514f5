// Posteriors of outcomes whose residual variance differs between clusters, against sums over a grid.

#include <gtest/gtest.h>

#include <boost/math/special_functions/digamma.hpp>
#include <cmath>
#include <vector>

#include "chain_posterior.hpp"
#include "hev_world.hpp"
#include "sample_tests.hpp"
#include "sem/wiring/settings.hpp"

namespace tovik::tests::normal_hev_kernel_test {
namespace {

using sem::equation_setup;
using sem::NormalHev;

/// Posterior means of the intercept, log s0, log nu and the log variances of the clusters (nu = 1 / t), the
/// values of whose units are y: with the v_c integrated out the density is
///
///   prod_c nu s0^nu gamma(n_c / 2 + nu) / gamma(nu) / (SS_c / 2 + nu s0)^(n_c / 2 + nu) nu^-2.
///
/// `known_t`: or 0.
arma::vec posterior_means(const std::vector<arma::vec>& y, double known_t, double unit) {
  arma::vec sum(3 + y.size(), arma::fill::zeros), each(sum.n_elem);
  double mass = 0.0;
  const double first = known_t > 0.0 ? -std::log(known_t) : -9.0, last = known_t > 0.0 ? first : 11.0;
  for (double log_nu = first; log_nu <= last; log_nu += 0.2) {
    for (double log_s0 = -12.0; log_s0 <= 8.0; log_s0 += 0.2) {
      for (double b = -8.0; b <= 10.0; b += 0.2) {
        const double nu = std::exp(log_nu), s0 = std::exp(log_s0);
        // d nu = nu d log nu, d s0 = s0 d log s0; flat on t is nu^-2 on nu.
        double log_density = log_s0 - log_nu;
        for (std::size_t c = 0; c < y.size(); ++c) {
          const double n = static_cast<double>(y[c].n_elem);
          const double shape = 0.5 * n + nu, rate = 0.5 * arma::accu(arma::square(y[c] - b)) + nu * s0;
          log_density +=
              nu * std::log(nu * s0) + std::lgamma(shape) - std::lgamma(nu) - shape * std::log(rate);
          each(3 + c) = std::log(rate) - boost::math::digamma(shape) + 2.0 * std::log(unit);
        }
        each(0) = unit * b;
        each(1) = log_s0 + 2.0 * std::log(unit);
        each(2) = log_nu;
        const double p = std::exp(log_density);
        mass += p;
        sum += p * each;
      }
    }
  }
  return sum / mass;
}

class Moves : public testing::TestWithParam<bool> {
  const Setting<bool> moves_{sem::sampler_settings::move_variances, GetParam()};
};
INSTANTIATE_TEST_SUITE_P(NormalHevKernels, Moves, testing::Bool(),
                         [](const auto& info) { return info.param ? "Together" : "EachAlone"; });

void expect_posterior(const nesting& sizes, const std::vector<arma::vec>& y, bool spread_moves, double unit) {
  HevWorld w(2, sizes, 700);
  equation_setup& setup = w.add(0, {0});
  setup.fixed.reset();
  setup.fixed_values.reset();
  w.build();
  NormalHev& model = *w.models[0];
  arma::uword row = 0;
  for (const arma::vec& values : y)
    for (double value : values) w.world.data(row++, 1) = unit * value;
  ASSERT_EQ(row, w.world.data.n_rows);
  const double start = unit * unit;
  model.addStarts({0.0, start, start, start, start, 0.0});
  const ChainPosterior chain(
      [&] {
        model.draw(w.world.data);
        arma::rowvec out = {model.betas_(0), std::log(model.shared.s0), -std::log(model.shared.t)};
        return arma::rowvec(arma::join_rows(out, arma::rowvec(arma::log(model.sigma2s).t())));
      },
      50, 3000);
  const arma::vec exact = posterior_means(y, spread_moves ? 0.0 : 2.0, unit);
  for (arma::uword j = 0; j < exact.n_elem; ++j) {
    EXPECT_NEAR(chain.mean(j), exact(j), 5.0 * chain.error(j) + 1e-9) << "function " << j;
    EXPECT_LT(chain.error(j), 0.08 * chain.sd(j) + 1e-12) << "function " << j;
  }
}

const std::vector<arma::vec> five = {{0.3, 1.9, 1.0, 1.4},
                                     {3.1},
                                     {-1.2, 4.0, 2.5, 0.1, -2.8},
                                     {1.1, 0.8, 1.2},
                                     {2.2, -0.4, 1.7, 0.9, 1.3, 2.9}};

TEST_P(Moves, PosteriorOfClustersOfDifferentSizes) {
  expect_posterior({{4, 1, 5}, {3, 6}}, five, true, 1.0);
}

TEST_P(Moves, PosteriorInOtherUnits) {
  expect_posterior({{4, 1, 5}, {3, 6}}, five, true, 1000.0);
}

TEST_P(Moves, PosteriorOfTwoClusters) {
  expect_posterior({{5}, {6}}, {five[2], five[4]}, false, 1.0);
}

/// Clusters that hardly differ: given s0 and t the variances are all but known, and the other way round.
arma::mat alike(arma::uword n, bool together) {
  const Setting<bool> moves(sem::sampler_settings::move_variances, together);
  HevWorld w(2, {{20, 20, 20, 20, 20}, {20, 20, 20, 20, 20}}, 710);
  w.add(0, {0, 2});
  w.build();
  w.draw_joint();
  NormalHev& model = *w.models[0];
  for (arma::uword i = 0; i < w.world.data.n_rows; ++i)
    w.world.data(i, 1) = -0.5 + 0.5 * w.world.data(i, 2) + w.rng.rnorm();
  model.addStarts({0.0, 1.0, 1.0, 1.0, 1.0, -0.5, 0.5});
  arma::mat out(n, 2);
  for (arma::uword t = 0; t < n; ++t) {
    model.draw(w.world.data);
    out.row(t) = arma::rowvec{std::log(model.sigma2), std::log(model.shared.t)};
  }
  return out;
}

double effective_share(const arma::vec& x) {
  constexpr arma::uword batches = 100;
  const arma::mat parts = arma::reshape(x, x.n_elem / batches, batches);
  return arma::var(x) / (arma::var(arma::vec(arma::mean(parts, 0).t())) * static_cast<double>(parts.n_rows));
}

TEST(NormalHevKernels, MovesTogetherMakeVariancesOfClustersThatAreAlikeMix) {
  const arma::mat together = alike(40000, true), apart = alike(40000, false);
  EXPECT_GT(effective_share(together.col(0)), 3.0 * effective_share(apart.col(0)));
  EXPECT_GT(effective_share(together.col(1)), 1.5 * effective_share(apart.col(1)));
}

/// The correlation and the scores known: with and without the moves the posterior is the same.
ChainPosterior given_scores(bool together) {
  const Setting<bool> moves(sem::sampler_settings::move_variances, together);
  HevWorld w(2, {{4, 1, 5}, {3, 6}}, 720);
  w.tied = true;
  w.add(0, {0, 2});
  w.add(0, {0, 3});
  w.build();
  w.draw_joint();
  w.phantom->addStarts({-0.6});
  NormalHev& model = *w.models[1];
  return ChainPosterior(
      [&] {
        model.draw(w.world.data);
        arma::rowvec out = {std::log(model.shared.s0), std::log(model.shared.t)};
        return arma::rowvec(arma::join_rows(out, arma::rowvec(arma::log(model.sigma2s).t())));
      },
      50, 3000);
}

TEST(NormalHevKernels, MovesTogetherKeepThePosteriorGivenScores) {
  expect_same_posterior(given_scores(true), given_scores(false), 0.0, 0.0, 0.5);
}

}  // namespace
}  // namespace tovik::tests::normal_hev_kernel_test
