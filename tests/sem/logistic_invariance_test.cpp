// The whole scan of a logistic outcome leaves the joint distribution of parameters and data unchanged: all
// priors are proper here, so that coefficients, effects, covariance matrices and values are all drawn.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <optional>

#include "data/variable.hpp"
#include "invariance_frame.hpp"
#include "logistic_world.hpp"
#include "prior_states.hpp"
#include "sample_tests.hpp"
#include "sem/ensemble/likelihood_lists.hpp"

namespace tovik::tests::logistic_invariance_test {
namespace {

using sem::equation_setup;
using sem::Logistic;
using sem::Normal;

constexpr int replications = 15000;
constexpr int applications = 10;
constexpr double prior_variance = 0.8;
constexpr arma::uword unnamed = data::variable::no_column;

const nesting small = {{5, 1, 7}, {3, 8}, {4, 2, 6, 1}};

equation_setup proper(equation_setup setup) {
  setup = logistic(std::move(setup), prior_variance);
  setup.prior = {1, 1};
  return setup;
}

/// Parameters, effects and the outcome.
void draw_logistic(World& world, Logistic& model, Random& rng) {
  draw_starts(model, prior_variance, rng);
  draw_effects(model, rng);
  draw_binary(world, model, rng);
}

/// Every one of them continuous: y enters by its products with parameters.
void add_functions(const Logistic& model, const arma::Mat<double>& data, std::vector<double>& out) {
  const arma::Col<double> l = model.logLiklihood(data, static_cast<int>(model.level));
  const arma::Mat<double> p = model.compute_predicted_prob(data);
  const auto& rows = *model.cluster.own_rows[0];
  double score = 0.0;
  for (arma::uword i = 0; i < rows.n_elem; ++i) score += data(rows(i), model.y(0)) - p(i);
  out.insert(out.end(), {arma::accu(l), l(0), l(5), score});
  const arma::Mat<double>& b = model.betas();
  const double missing_y = data(rows(0), model.y(0)), other_y = data(rows(5), model.y(0));
  for (arma::uword j = 0; j < b.n_elem; ++j) out.push_back(b(j));
  out.insert(out.end(),
             {b(0) * (missing_y - 0.5), b(0) * (other_y - 0.5), b(0) * (missing_y - other_y + 0.1)});
  add_effect_functions(model, missing_y - 0.5, out);
}

void scan_leaves_joint(World world, const equation_setup& setup, std::uint32_t seed) {
  const Setting<bool> check(sem::Regression::check_residuals, true);
  LoneEstimator estimator(seed);
  Random rng(seed, 2U);
  std::optional<Logistic> model;
  const auto functions = [&] {
    std::vector<double> out;
    add_functions(*model, world.data, out);
    return out;
  };
  kernel_leaves_joint(
      {replications, applications, [&] { model.emplace(&estimator, setup); }},
      [&] { draw_logistic(world, *model, rng); }, functions, [&] { model->draw(world.data); });
}

TEST(LogisticInvariance, SingleLevel) {
  World world(1, {{20}}, 81);
  equation_setup setup = proper(world.setup(0, {0, 2}));
  scan_leaves_joint(world, setup, 800);
  setup.missing_units = {0, 5, 6};
  scan_leaves_joint(world, setup, 801);
}

TEST(LogisticInvariance, InterceptsAndSlopes) {
  World world(2, small, 82);
  equation_setup setup = proper(world.setup(0, {0, 2, 6}));
  setup.z[0] = {0, 2};
  setup.icept = {1};
  setup.missing_units = {0, 5, 9};
  scan_leaves_joint(world, setup, 810);
}

TEST(LogisticInvariance, ThreeLevels) {
  World world(3, small, 83);
  equation_setup setup = proper(world.setup(0, {0, 2}));
  setup.z = {{0}, {0}};
  setup.icept = {1, 1};
  scan_leaves_joint(world, setup, 820);
}

TEST(LogisticInvariance, OutcomeOfTheSecondLevel) {
  World world(3, {{2, 1, 2}, {1, 1, 3}, {2, 2}, {1, 2, 1}}, 84);
  equation_setup setup = proper(world.setup(1, {0, 6}));
  setup.z = {{0}};
  setup.icept = {1};
  setup.missing_units = {0, 4};
  scan_leaves_joint(world, setup, 830);
}

/// An incomplete binary x of column 9 and a binary y that reads it, both with missing values.
struct TwoBinaries {
  World world;
  LoneEstimator estimator;
  Random rng;
  equation_setup of_x, of_y;
  std::vector<std::shared_ptr<Logistic>> models;
  const Setting<bool> check{sem::Regression::check_residuals, true};

  TwoBinaries(unsigned levels, const nesting& sizes, std::uint32_t seed)
      : world(levels, sizes, seed), estimator(seed), rng(seed, 2U) {
    world.data.insert_cols(9, 1);
    of_x = proper(world.setup(0, {0, 2}));
    of_x.y = 9;
    of_y = proper(world.setup(0, {0, 9, 3}));
    for (equation_setup* setup : {&of_x, &of_y}) let_move(*setup, world, {1, 9});
  }

  void build() {
    models = {std::make_shared<Logistic>(&estimator, of_x), std::make_shared<Logistic>(&estimator, of_y)};
    sem::wire_likelihood_lists({models.begin(), models.end()}, world.level_units(), world.data);
  }
  void draw_joint() {
    for (const auto& model : models) draw_logistic(world, *model, rng);
  }
  void scan() {
    for (const auto& model : models) model->draw(world.data);
  }
  std::vector<double> functions() const {
    std::vector<double> out;
    for (const auto& model : models) add_functions(*model, world.data, out);
    const double slope = models[1]->betas()(1);
    out.push_back(slope * (world.data(0, 9) - 0.5));
    out.push_back(slope * (world.data(5, 9) - world.data(0, 9) + 0.1));
    return out;
  }
  void scans_leave_joint() {
    proposal_count proposals;
    world_leaves_joint(*this, {.replications = replications,
                               .applications = applications,
                               .begin = [&] { build(); },
                               .after = [&] { proposals.add(models[0]->impute_tune); }});
    // 10 scans of each missing x; some proposals are rejected.
    EXPECT_EQ(proposals.total,
              static_cast<std::uint64_t>(replications * applications) * of_x.missing_units.n_elem);
    EXPECT_LT(proposals.accepted, proposals.total);
    EXPECT_GT(proposals.accepted, proposals.total / 2);
  }
};

TEST(LogisticInvariance, BinaryPredictorOfABinaryOutcome) {
  TwoBinaries run(1, {{20}}, 85);
  run.of_x.missing_units = {0, 5, 6, 11};
  run.of_y.missing_units = {5, 7};
  run.scans_leave_joint();
}

TEST(LogisticInvariance, BinaryPredictorWithinClusters) {
  TwoBinaries run(2, small, 86);
  run.of_x.missing_units = {0, 5, 6};
  run.of_x.z[0] = {0};
  run.of_x.icept = {1};
  run.of_y.missing_units = {5};
  run.of_y.z[0] = {0};
  run.of_y.icept = {1};
  run.scans_leave_joint();
}

/// A logistic equation whose effects of the first level stand in column 11, and a normal outcome of that
/// level, in column 10, that reads them.
struct PublishedWorld {
  World world;
  LoneEstimator estimator;
  Random rng;
  equation_setup owner, reader;
  std::vector<std::shared_ptr<sem::Regression>> models;
  bool together = false;
  const Setting<bool> check{sem::Regression::check_residuals, true};

  PublishedWorld(unsigned levels, std::uint32_t seed, const nesting& sizes = small)
      : world(levels, sizes, seed), estimator(seed), rng(seed, 2U) {
    world.data.insert_cols(9, 3);
    owner = proper(world.setup(0, {0, 2}));
    for (unsigned L = 0; L + 1 < levels; ++L) {
      owner.z[L] = {0};
      owner.icept[L] = 1;
    }
    reader = world.setup(1, {0, 11});
    reader.y = 10;
    reader.prior = {1, 1};
    hold_coefficients(reader, {0.4, 0.8});
    reader.estimate_resid = false;
    reader.resid_value = 0.7;
    for (equation_setup* setup : {&owner, &reader}) let_move(*setup, world, {11});
  }
  Logistic& model() const { return dynamic_cast<Logistic&>(*models[0]); }
  void build() {
    models = {std::make_shared<Logistic>(&estimator, owner), std::make_shared<Normal>(&estimator, reader)};
    arma::Col<arma::uword> columns(owner.n_levels, arma::fill::value(unnamed));
    columns(0) = 11;
    models[0]->addIndicator(columns, sem::indicator_type::random_effect);
    models[0]->addLL(contributions(models), sem::likelihood_type::random_effect);
    if (!together) return;
    models[0]->accept_together(0);
    models[0]->re_tune[0].value = 0.3;
  }
  void draw_joint() {
    draw_starts(model(), prior_variance, rng);
    draw_effects(model(), rng);
    model().publish_effects(world.data);
    draw_binary(world, model(), rng);
    draw_normal(world, *models[1], rng);
  }
  void scan() {
    for (const auto& m : models) m->draw(world.data);
  }
  std::vector<double> functions() const {
    std::vector<double> out;
    add_functions(model(), world.data, out);
    const arma::Mat<double> e = models[1]->compute_residual(world.data);
    out.insert(out.end(), {arma::accu(e), e(0), std::log(arma::accu(arma::square(e)))});
    return out;
  }
  void scans_leave_joint() {
    world_leaves_joint(*this, {.replications = replications,
                               .applications = applications,
                               .begin = [&] { build(); },
                               .after = [&] { ASSERT_LT(model().residual_error(world.data), 1e-8); }});
  }
};

TEST(LogisticInvariance, EffectsThatAreVariablesOfOthers) {
  PublishedWorld run(2, 87);
  run.scans_leave_joint();
}

// The effects of the next level are drawn given the weights that the walk has left as they were.
TEST(LogisticInvariance, EffectsThatAreVariablesBelowOthersThatAreNot) {
  PublishedWorld run(3, 88);
  run.reader.z[0] = {};
  run.scans_leave_joint();
}

// Many units with large predictors: their weights tell much of the effects, and so does what the walk makes
// of them.
TEST(LogisticInvariance, EffectsThatTheWeightsTell) {
  PublishedWorld run(3, 92, {{30, 20}, {25, 25}});
  run.world.data.col(4).fill(6.0);
  run.owner.z = {{4}, {0}};
  run.owner.x = {2};
  run.scans_leave_joint();
}

TEST(LogisticInvariance, EffectsAcceptedTogether) {
  PublishedWorld run(2, 89);
  run.together = true;
  run.scans_leave_joint();
}

// The equation reads its own effects: the products of the design move with the walk.
TEST(LogisticInvariance, EffectsThatAreVariablesOfTheirOwnEquation) {
  PublishedWorld run(2, 90);
  run.owner.x_compute.push_back(computed("#DATA(11) * #DATA(3) / 3"));
  run.scans_leave_joint();
}

}  // namespace
}  // namespace tovik::tests::logistic_invariance_test
