// A transformed outcome with a variance model: lambda, and the coefficients of the log variance, against an
// integral over a grid.

#include <gtest/gtest.h>

#include <cmath>

#include "chain_posterior.hpp"
#include "evaluate/functions.hpp"
#include "sample_tests.hpp"
#include "scan_world.hpp"
#include "sem/outcomes/scaled.hpp"
#include "sem/outcomes/yjt.hpp"
#include "sem/wiring/settings.hpp"

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

// The slope of the transformation at the geometric mean of 1 + |y|, with the sign of y, is the unit that all
// that is in units of the transformed values goes along with.
TEST(TransformedWithAVarianceModel, EffectsGrowWithTheUnitOfTheTransformedValues) {
  World world(2, {{5, 1, 7, 4}}, 52);
  simulate_outcome(world, 0, 1.0, 52);
  LoneEstimator estimator(952);
  LogScale scale(&estimator, world.setup(0, {0, 3}));
  sem::equation_setup setup = world.setup(0, {0, 2});
  setup.z[0] = {0, 4};
  setup.icept = {1};
  setup.prior = {1, 1};
  setup.response_moves = true;
  sem::yjt<NormalScale> model(&estimator, data::type::continuous, setup, 1.0, true);
  model.addLogScale(&scale);
  model.draw(world.data);
  double slopes = 0.0;
  for (double y : world.data.col(1)) slopes += (y < 0.0 ? -1.0 : 1.0) * std::log1p(std::abs(y));
  int moves = 0;
  for (int t = 0; t < 200; ++t) {
    const double from = model.lambda();
    const arma::mat u = model.u[0], S = model.Sigma[0], K = model.iSigma[0];
    model.draw_lambda(world.data);
    const double c = std::exp((model.lambda() - from) * slopes / static_cast<double>(world.data.n_rows));
    moves += c == 1.0 ? 0 : 1;
    EXPECT_TRUE(arma::approx_equal(model.u[0], c * u, "reldiff", 1e-12));
    EXPECT_TRUE(arma::approx_equal(model.Sigma[0], c * c * S, "reldiff", 1e-12));
    EXPECT_TRUE(arma::approx_equal(model.iSigma[0], K / (c * c), "reldiff", 1e-12));
  }
  EXPECT_GT(moves, 20);
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

/// Positive values in some unit, whose logarithm has a linear mean and variances that a predictor tells;
/// `about`: the mean of that predictor.
struct far_world {
  World world;
  LoneEstimator estimator{952};
  std::unique_ptr<LogScale> scale;
  std::unique_ptr<sem::yjt<NormalScale>> model;

  far_world(double unit, double about, bool with_effects, bool moves_along)
      : world(with_effects ? World(2, {{4, 1, 6, 5, 1, 8, 7, 3, 6, 9}}, 53) : World(1, {{60}}, 53)),
        how_(sem::sampler_settings::integrate_lambda, moves_along) {
    Random rng(54, 1);
    world.data.col(3) += about;
    for (arma::uword i = 0; i < world.data.n_rows; ++i) {
      const double effect = with_effects ? 0.3 * std::sin(7.0 * static_cast<double>(world.units[1](i))) : 0.0;
      world.data(i, 1) = unit * std::exp(1.0 + 0.3 * world.data(i, 2) + effect +
                                         0.5 * std::exp(0.3 * (world.data(i, 3) - about)) * rng.rnorm());
    }
    scale = std::make_unique<LogScale>(&estimator, world.setup(0, {0, 3}));
    sem::equation_setup setup = world.setup(0, {0, 2});
    setup.response_moves = true;
    setup.prior = {1, 1};
    if (with_effects) {
      setup.z[0] = {0, 4, 5};
      setup.icept = {1};
    }
    model = std::make_unique<sem::yjt<NormalScale>>(&estimator, data::type::continuous, setup, 1.0, true);
    model->addLogScale(scale.get());
    model->take_lambda_prior(std::make_shared<sem::Parameter>(&estimator, sem::estimator::cluster(),
                                                              sem::distribution::uniform, -0.9, 1.1),
                             {});
    if (with_effects) model->scale_priors(unit * unit, world.data);
    scale->betas_(0) = std::log(arma::var(world.data.col(1)));
    for (int t = 0; t < 3000; ++t) {
      model->draw(world.data);
      std::vector<sem::estimator::tune_obj*> proposals;
      model->addProposals(proposals);
      proposals.front()->adapt();
      scale->tune_.front().adapt();
      scale->tune_.back().adapt();
    }
  }

  /// lambda; the log variance at the mean of its predictor and the slope, both in the unit that values have
  /// at lambda = 1, as V a tells it.
  arma::rowvec next(int thin) {
    for (int t = 0; t < thin; ++t) model->draw(world.data);
    const arma::vec g = scale->betas().as_col() - 2.0 * (model->lambda() - 1.0) * a();
    return {model->lambda(), g(0) + arma::mean(world.data.col(3)) * g(1), g(1)};
  }
  /// What next() tells, back as coefficients.
  arma::vec coefficients(const arma::vec& told) const {
    const arma::vec g = {told(1) - arma::mean(world.data.col(3)) * told(2), told(2)};
    return g + 2.0 * (told(0) - 1.0) * a();
  }

  arma::mat V() const { return world.data.cols(arma::uvec{0, 3}); }
  arma::vec a() const { return arma::solve(V(), arma::log1p(world.data.col(1))); }

 private:
  const Setting<bool> how_;
};

/// Means and standard deviations of what far_world::next() tells, over a grid of n^3 points around `draws`.
arma::mat far_from_zero(const far_world& of, const ChainPosterior& draws) {
  constexpr int n = 40;
  const arma::mat X = of.world.data.cols(arma::uvec{0, 2});
  const arma::mat V = of.V();
  const arma::vec y = of.world.data.col(1);
  const arma::vec width = 6.0 * draws.sd.t();
  const double steps = n, from = std::max(-0.9, draws.mean(0) - width(0));
  const double to = std::min(1.1, draws.mean(0) + width(0));
  arma::vec total(3, arma::fill::zeros), squares(3, arma::fill::zeros);
  double mass = 0.0;
  const double top = log_posterior(X, V, y, draws.mean(0), of.coefficients(draws.mean.t()));
  for (int k = 0; k < n; ++k) {
    const double lambda = from + (to - from) * (k + 0.5) / steps;
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) {
        const arma::vec at = {lambda, draws.mean(1) + width(1) * (2.0 * (i + 0.5) / steps - 1.0),
                              draws.mean(2) + width(2) * (2.0 * (j + 0.5) / steps - 1.0)};
        const double p = std::exp(log_posterior(X, V, y, lambda, of.coefficients(at)) - top);
        mass += p;
        total += p * at;
        squares += p * arma::square(at);
      }
    }
  }
  const arma::vec mean = total / mass;
  return arma::join_rows(mean, arma::sqrt(squares / mass - arma::square(mean)));
}

// Values of thousands, and a predictor of the variance far from 0.
TEST(TransformedWithAVarianceModel, LambdaHasItsPosteriorInLargeUnits) {
  far_world of(1000.0, 10.0, false, true);
  const ChainPosterior draws([&of] { return of.next(3); }, 40, 400);
  const arma::mat exact = far_from_zero(of, draws);
  for (arma::uword j = 0; j < 3; ++j) {
    EXPECT_NEAR(draws.mean(j), exact(j, 0), 4.5 * draws.error(j) + 0.01 * exact(j, 1)) << j;
    EXPECT_NEAR(draws.sd(j), exact(j, 1), 4.5 * draws.sd_error(j) + 0.015 * exact(j, 1)) << j;
    EXPECT_LT(draws.error(j), 0.06 * exact(j, 1)) << j;
  }
}

/// The mean square of the change of lambda in a scan, as a share of that between independent draws.
double share_of_a_jump(bool moves_along, double sd) {
  far_world of(1000.0, 10.0, false, moves_along);
  double squares = 0.0, before = of.model->lambda();
  constexpr int scans = 3000;
  for (int t = 0; t < scans; ++t) {
    of.model->draw(of.world.data);
    squares += std::pow(of.model->lambda() - before, 2);
    before = of.model->lambda();
  }
  return squares / scans / (2.0 * sd * sd);
}

TEST(TransformedWithAVarianceModel, LambdaMixesBecauseTheVarianceModelGoesAlong) {
  far_world of(1000.0, 10.0, false, true);
  const double sd = ChainPosterior([&of] { return of.next(1); }, 20, 100).sd(0);
  EXPECT_GT(share_of_a_jump(true, sd), 0.1);
  EXPECT_LT(share_of_a_jump(false, sd), 0.01);
}

// With three random effects, some clusters of one row, and values near 0, where the plain step mixes too.
TEST(TransformedWithAVarianceModel, BothStepsHaveTheSamePosterior) {
  const auto run = [](bool moves_along, int thin) {
    far_world of(1.0, 0.0, true, moves_along);
    return ChainPosterior(
        [&] {
          const arma::rowvec more = {of.model->betas_(0), of.model->betas_(1),
                                     std::log(of.model->Sigma[0](0, 0)), of.model->u[0](0, 0)};
          return arma::rowvec(arma::join_rows(of.next(thin), more));
        },
        40, 150);
  };
  expect_same_posterior(run(true, 3), run(false, 12), 0.02, 0.03, 0.4);
}

}  // namespace
}  // namespace tovik::tests::yjt_scaled_kernel_test
