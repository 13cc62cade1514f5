// The whole scan of an equation with a variance model leaves the joint distribution of parameters and data
// unchanged: all priors are proper here, so that coefficients of both, effects, covariance matrices and
// values are all drawn.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "invariance_frame.hpp"
#include "prior_states.hpp"
#include "sample_tests.hpp"
#include "scan_world.hpp"
#include "sem/ensemble/likelihood_lists.hpp"
#include "sem/outcomes/scaled.hpp"

namespace tovik::tests::scaled_invariance_test {
namespace {

using sem::equation_setup;
using sem::LogScale;
using sem::Normal;
using sem::NormalScale;
using sem::OrdinalScale;
using sem::Regression;

constexpr int replications = 16000;
constexpr int applications = 6;
constexpr double prior_variance = 0.8, log_prior_variance = 0.4;

const nesting small = {{5, 1, 7}, {3, 8}, {4, 2, 6, 1}};

arma::Col<double> predictor(const Regression& model, const arma::Mat<double>& data) {
  return model.compute_predicted(data);
}

/// An equation of column 1 with a variance model, and beside it a normal predictor x of column 9, which may
/// be incomplete and which the equation, its variance model, or both read.
struct ScaledWorld {
  World world;
  LoneEstimator estimator;
  Random rng;
  equation_setup y, v, x;
  bool with_x = false;
  std::shared_ptr<NormalScale> of_y;
  std::shared_ptr<LogScale> of_v;
  std::shared_ptr<Normal> of_x;
  const Setting<bool> check{Regression::check_residuals, true};

  ScaledWorld(unsigned levels, const nesting& sizes, std::uint32_t seed, unsigned level = 0)
      : world(levels, sizes, seed), estimator(seed), rng(seed, 2U) {
    world.data.insert_cols(9, 1);
    const arma::uword varies = level == 0 ? 2 : 6;
    y = world.setup(level, {0, varies});
    v = world.setup(level, {0, level == 0 ? 3U : 7U});
    x = world.setup(level, {0, varies});
    x.y = 9;
    for (equation_setup* setup : {&y, &v, &x}) {
      let_move(*setup, world, {1, 9});
      setup->prior = {1, 1};
      setup->coefficients = sem::scan::coefficient_prior::ridge(prior_variance);
    }
    v.coefficients = sem::scan::coefficient_prior::ridge(log_prior_variance);
  }
  void build() {
    of_v = std::make_shared<LogScale>(&estimator, v);
    of_y = std::make_shared<NormalScale>(&estimator, data::type::continuous, y);
    of_y->addLogScale(of_v.get());
    std::vector<std::shared_ptr<sem::estimator::Outcome>> models = {of_v, of_y};
    if (with_x) {
      of_x = std::make_shared<Normal>(&estimator, x);
      models.push_back(of_x);
    }
    sem::wire_likelihood_lists(models, world.level_units(), world.data);
  }
  void draw_values(const Regression& model, const arma::Col<double>& variances) {
    arma::Col<double> values = predictor(model, world.data);
    for (arma::uword i = 0; i < values.n_elem; ++i) values(i) += std::sqrt(variances(i)) * rng.rnorm();
    world.write(model.level, model.y(0), values);
  }
  void draw_joint() {
    if (with_x) {
      draw_parameters(*of_x, prior_variance, rng);
      of_x->sigma2 = 1.0 / rng.rgamma(1.0, 2.0);
      draw_values(*of_x, arma::Col<double>(of_x->n_units, arma::fill::value(of_x->sigma2)));
    }
    draw_parameters(*of_y, prior_variance, rng);
    for (double& g : of_v->betas_) g = std::sqrt(log_prior_variance) * rng.rnorm();
    draw_values(*of_y, of_v->variances(world.data));
  }
  void scan() {
    if (with_x) of_x->draw(world.data);
    of_y->draw(world.data);
  }
  std::vector<double> functions() const {
    const arma::Mat<double>&b = of_y->betas(), &g = of_v->betas();
    const arma::Col<double> e = of_y->compute_residual(world.data), v_i = of_v->variances(world.data);
    const auto& rows = *of_y->cluster.own_rows[0];
    const double y0 = world.data(rows(0), 1), y5 = world.data(rows(5), 1);
    std::vector<double> out = {b(0),
                               b(1),
                               b(0) * y0,
                               b(1) * y5,
                               g(0),
                               g(1),
                               g(0) * g(1),
                               std::log(arma::accu(e % e / v_i)),
                               arma::accu(e / arma::sqrt(v_i)),
                               e(0) / std::sqrt(v_i(0)),
                               g(1) * std::log(std::fabs(e(0))),
                               g(0) + std::log(std::fabs(e(5))),
                               arma::accu(of_y->logLiklihood(world.data, static_cast<int>(of_y->level)))};
    add_effect_functions(*of_y, y0, out);
    if (with_x) {
      const double x0 = world.data(rows(0), 9), x5 = world.data(rows(5), 9);
      out.insert(out.end(), {x0, x5, std::log(of_x->sigma2), g(1) * x0, g(1) * x5, b(1) * x0, x0 * y0,
                             x0 * std::log(std::fabs(e(0)))});
    }
    return out;
  }
  void scans_leave_joint() {
    build();
    world_leaves_joint(*this, {replications, applications});
  }
};

TEST(ScaledInvariance, SingleLevelWithMissingOutcomes) {
  ScaledWorld world(1, {{20}}, 710);
  world.y.missing_units = {0, 5, 6};
  world.scans_leave_joint();
}

TEST(ScaledInvariance, ThreeRandomEffects) {
  ScaledWorld world(2, small, 711);
  world.y.z[0] = {0, 2, 4};
  world.y.icept = {1};
  world.y.missing_units = {0, 5, 9};
  world.scans_leave_joint();
}

TEST(ScaledInvariance, ThreeLevels) {
  ScaledWorld world(3, small, 712);
  world.y.z = {{0}, {0}};
  world.y.icept = {1, 1};
  world.scans_leave_joint();
}

TEST(ScaledInvariance, OutcomeOfTheSecondLevel) {
  ScaledWorld world(3, {{2, 1, 2}, {1, 1, 3}, {2, 2}, {1, 2, 1}}, 713, 1);
  world.y.z = {{0}};
  world.y.icept = {1};
  world.y.missing_units = {0, 4};
  world.scans_leave_joint();
}

TEST(ScaledInvariance, AnIncompletePredictorOfTheVariance) {
  ScaledWorld world(1, {{20}}, 714);
  world.with_x = true;
  world.v.x = {0, 9};
  world.x.missing_units = {0, 5, 6, 11};
  world.y.missing_units = {5, 7};
  world.scans_leave_joint();
  EXPECT_GT(world.of_x->imp_tune.rate(), 0.1);
}

TEST(ScaledInvariance, AnIncompletePredictorOfMeanAndVariance) {
  ScaledWorld world(2, small, 715);
  world.with_x = true;
  world.y.x = {0, 9};
  world.y.z[0] = {0};
  world.y.icept = {1};
  world.v.x = {0};
  world.v.x_compute = {computed("#DATA(9) * #DATA(3)")};
  world.x.missing_units = {0, 5, 6, 11};
  world.scans_leave_joint();
  EXPECT_GT(world.of_x->imp_tune.rate(), 0.1);
}

TEST(ScaledInvariance, AnIncompletePredictorOfTheVarianceByTheSlice) {
  const Setting<bool> slice(sem::sampler_settings::ess_sampler, true);
  ScaledWorld world(1, {{20}}, 716);
  world.with_x = true;
  world.y.x = {0, 9};
  world.v.x = {0, 9};
  world.x.missing_units = {0, 5, 6};
  world.scans_leave_joint();
}

/// A missing y that the equation of column 9 reads.
TEST(ScaledInvariance, AMissingOutcomeThatAnotherEquationReads) {
  ScaledWorld world(1, {{20}}, 717);
  world.y.missing_units = {0, 5, 6};
  world.y.x = {0, 2};
  equation_setup reader = world.x;
  reader.x = {0, 1};
  reader.estimate_resid = false;
  reader.resid_value = 0.6;
  world.build();
  auto of_z = std::make_shared<Normal>(&world.estimator, reader);
  sem::wire_likelihood_lists({world.of_y, of_z}, world.world.level_units(), world.world.data);
  const auto draw_joint = [&] {
    world.draw_joint();
    draw_parameters(*of_z, prior_variance, world.rng);
    world.draw_values(*of_z, arma::Col<double>(20, arma::fill::value(0.6)));
  };
  const auto functions = [&] {
    std::vector<double> out = world.functions();
    const double z0 = world.world.data(0, 9), y0 = world.world.data(0, 1);
    out.insert(out.end(), {z0 * y0, of_z->betas()(1) * y0, of_z->betas()(1) * z0 * y0});
    return out;
  };
  kernel_leaves_joint({replications, applications}, draw_joint, functions, [&] {
    world.scan();
    of_z->draw(world.world.data);
  });
  EXPECT_GT(world.of_y->imp_tune.rate(), 0.1);
}

/// A binary outcome whose score has a variance model without intercept; its category is never seen where it
/// is missing.
void binary_scan_leaves_joint(equation_setup y, equation_setup v, World& world, std::uint32_t seed) {
  LoneEstimator estimator(seed);
  Random rng(seed, 2U);
  y.response_moves = true;
  y.prior = {1, 1};
  y.coefficients = sem::scan::coefficient_prior::ridge(prior_variance);
  v.coefficients = sem::scan::coefficient_prior::ridge(log_prior_variance);
  v.fixed = {0};
  v.fixed_values = {0.0};
  const arma::uword n = y.cluster.own_rows[0]->n_elem;
  Samples fresh, after;
  for (int rep = 0; rep < replications; ++rep) {
    for (Samples* to : {&fresh, &after}) {
      sem::ordered_values observed;
      observed.values = {0.0, 1.0};
      observed.of_unit.zeros(n);
      auto scale = std::make_unique<LogScale>(&estimator, v);
      scale->betas_(1) = std::sqrt(log_prior_variance) * rng.rnorm();
      // Its coefficients and effects tell the categories of the model that is scanned.
      OrdinalScale truth(&estimator, data::type::ordinal, y, observed);
      truth.addLogScale(scale.get());
      draw_parameters(truth, prior_variance, rng);
      const arma::Col<double> mu = predictor(truth, world.data), variance = scale->variances(world.data);
      arma::Col<double> scores(n);
      for (arma::uword i = 0; i < n; ++i) {
        scores(i) = mu(i) + std::sqrt(variance(i)) * rng.rnorm();
        observed.of_unit(i) = scores(i) > 0.0 ? 1 : 0;
        world.data(i, 1) = static_cast<double>(observed.of_unit(i));
      }
      OrdinalScale model(&estimator, data::type::ordinal, y, observed);
      model.addLogScale(scale.get());
      model.betas_ = truth.betas_;
      model.Sigma = truth.Sigma;
      model.iSigma = truth.iSigma;
      model.u = truth.u;
      model.propensity.values = scores;
      for (int t = 0; to == &after && t < applications; ++t) model.draw(world.data);
      const arma::Mat<double>&b = model.betas(), &g = scale->betas();
      const arma::Col<double>& s = model.propensity.values;
      const arma::Col<double> e = model.compute_residual(world.data), v_i = scale->variances(world.data);
      std::vector<double> out = {b(0),
                                 b(1),
                                 g(1),
                                 b(0) * b(1),
                                 g(1) * b(1),
                                 b(0) * s(0),
                                 s(0),
                                 s(5),
                                 std::log(arma::accu(e % e / v_i)),
                                 e(3) / std::sqrt(v_i(3)),
                                 g(1) * std::log(std::fabs(e(3))),
                                 b(1) * (world.data(3, 1) - 0.5),
                                 g(1) * std::fabs(s(3))};
      if (y.n_levels > 0)
        out.insert(out.end(), {model.u[0](0, 0), std::log(model.Sigma[0](0, 0)), model.u[0](0, 0) * s(0)});
      to->add(out);
    }
  }
  expect_same_distribution(fresh, after);
}

TEST(ScaledInvariance, ABinaryOutcome) {
  World world(1, {{20}}, 720);
  equation_setup y = world.setup(0, {0, 2});
  y.missing_units = {0, 5, 6};
  binary_scan_leaves_joint(y, world.setup(0, {0, 3}), world, 721);
}

TEST(ScaledInvariance, ABinaryOutcomeWithRandomIntercepts) {
  World world(2, small, 722);
  equation_setup y = world.setup(0, {0, 2});
  y.z[0] = {0};
  y.icept = {1};
  binary_scan_leaves_joint(y, world.setup(0, {0, 3}), world, 723);
}

}  // namespace
}  // namespace tovik::tests::scaled_invariance_test
