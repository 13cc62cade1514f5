// The whole scan of a count outcome leaves the joint distribution of parameters and data unchanged: all
// priors are proper here, so that coefficients, effects, covariance matrices, the dispersion and values are
// all drawn.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "count_world.hpp"
#include "invariance_frame.hpp"
#include "prior_states.hpp"
#include "sample_tests.hpp"
#include "sem/ensemble/likelihood_lists.hpp"

namespace tovik::tests::count_invariance_test {
namespace {

using sem::equation_setup;
using sem::NBinomial;
using sem::Normal;

constexpr int replications = 8000;
constexpr int applications = 8;
constexpr double prior_variance = 0.5;

const nesting small = {{5, 1, 4}, {3, 6}, {1, 2}};

equation_setup proper(equation_setup setup) {
  setup = counted(std::move(setup), prior_variance);
  setup.prior = {1, 1};
  return setup;
}

/// Covariance matrices have heavy tails under their prior: of the linear predictors beyond these, of which
/// one state in some thousand has any, counts are drawn that no machine number holds.
bool is_usual(const NBinomial& model, const arma::Mat<double>& data) {
  const arma::Col<double> eta = arma::log(model.compute_predicted(data));
  return arma::abs(eta).max() < 9.0;
}

/// Covariates of effects are small, so that effects with these tails stay within reach.
World world_of(unsigned levels, const nesting& sizes, std::uint32_t seed) {
  World world(levels, sizes, seed);
  world.data.col(4).fill(0.15);
  world.data.col(5) *= 0.1;
  world.data.col(3) *= 0.2;
  return world;
}

/// Every one of them continuous: y enters by its products with parameters.
void add_functions(const NBinomial& model, const arma::Mat<double>& data, std::vector<double>& out) {
  const arma::Col<double> l = model.logLiklihood(data, static_cast<int>(model.level));
  const arma::Mat<double> m = model.compute_predicted(data);
  const auto& rows = *model.cluster.own_rows[0];
  const auto size = [&](arma::uword i) { return std::log1p(data(rows(i), model.y(0))); };
  const double r = std::log(model.dispersion());
  out.insert(out.end(), {arma::accu(l), l(0), l(5), r, r * (size(0) - 0.5), r * (size(0) - size(5) + 0.1)});
  const arma::Mat<double>& b = model.betas();
  for (arma::uword j = 0; j < b.n_elem; ++j) out.push_back(b(j));
  out.insert(out.end(), {b(0) * r, b(0) * (size(0) - 0.5), b(0) * (size(5) - 0.5),
                         std::log(m(0)) * (size(0) - 0.5), std::log(m(5)) - 0.5 * std::log(m(1))});
  add_effect_functions(model, size(0) - 0.5, out);
}

/// Equations of counts, and readers of them with known coefficients.
struct CountRun {
  World world;
  LoneEstimator estimator;
  Random rng;
  std::vector<equation_setup> setups;  ///< of counts, then of normal readers
  std::size_t n_counts = 1;
  std::vector<std::shared_ptr<sem::Regression>> models;
  const Setting<bool> check{sem::Regression::check_residuals, true};
  const ShortSeries series{20};

  CountRun(unsigned levels, const nesting& sizes, std::uint32_t seed)
      : world(world_of(levels, sizes, seed)), estimator(seed), rng(seed, 2U) {
    world.data.insert_cols(9, 2);
    setups.push_back(proper(world.setup(0, {0, 2})));
  }
  equation_setup& own() { return setups.front(); }
  NBinomial& count(std::size_t m = 0) const { return dynamic_cast<NBinomial&>(*models[m]); }

  void build() {
    models.clear();
    for (std::size_t m = 0; m < setups.size(); ++m) {
      if (m < n_counts)
        models.push_back(std::make_shared<NBinomial>(&estimator, setups[m]));
      else
        models.push_back(std::make_shared<Normal>(&estimator, setups[m]));
    }
    if (models.size() == 1) return;
    sem::wire_likelihood_lists({models.begin(), models.end()}, world.level_units(), world.data);
  }
  bool draw_once() {
    for (std::size_t m = 0; m < models.size(); ++m) {
      if (m < n_counts) {
        draw_starts(count(m), prior_variance, rng);
        draw_effects(count(m), rng);
        if (!is_usual(count(m), world.data)) return false;
        draw_counts(world, count(m), rng);
        continue;
      }
      draw_normal(world, *models[m], rng);
    }
    return true;
  }
  void draw_joint() {
    while (!draw_once()) {
    }
  }
  void scan() {
    for (const auto& m : models) m->draw(world.data);
  }
  std::vector<double> functions() const {
    std::vector<double> out;
    for (std::size_t m = 0; m < models.size(); ++m) {
      if (m < n_counts) {
        add_functions(count(m), world.data, out);
        continue;
      }
      const arma::Mat<double> e = models[m]->compute_residual(world.data);
      out.insert(out.end(), {arma::accu(e), e(0), e(5), std::log(arma::accu(arma::square(e)))});
    }
    return out;
  }
  void scans_leave_joint() {
    proposal_count proposals;
    const auto inspect = [&] {
      ASSERT_LT(count().residual_error(world.data), 1e-8);
      proposals.add(count().dispersion_tune);
    };
    world_leaves_joint(*this, {.replications = replications,
                               .applications = applications,
                               .begin = [&] { build(); },
                               .after = inspect});
    EXPECT_EQ(proposals.total, static_cast<std::uint64_t>(replications * applications));
    EXPECT_GT(proposals.accepted, proposals.total / 10);
  }
};

TEST(CountInvariance, SingleLevel) {
  CountRun run(1, {{12}}, 181);
  run.scans_leave_joint();
}

TEST(CountInvariance, MissingCountsThatNobodyReads) {
  CountRun run(1, {{12}}, 182);
  run.own().missing_units = {0, 5, 6};
  run.scans_leave_joint();
}

TEST(CountInvariance, InterceptsAndTwoSlopes) {
  CountRun run(2, small, 183);
  run.own().z[0] = {4, 5, 3};
  run.own().icept = {1};
  run.own().missing_units = {0, 5, 9};
  run.scans_leave_joint();
}

TEST(CountInvariance, ThreeLevels) {
  CountRun run(3, small, 184);
  run.own().z = {{4}, {4, 5}};
  run.own().icept = {1, 1};
  run.scans_leave_joint();
}

TEST(CountInvariance, CountsOfTheSecondLevel) {
  CountRun run(3, {{2, 1, 2}, {1, 1, 3}, {2, 2}, {1, 2, 1}}, 185);
  run.setups = {proper(run.world.setup(1, {0, 6}))};
  run.world.data.col(8).fill(0.15);
  run.own().z = {{8}};
  run.own().icept = {1};
  run.own().missing_units = {0, 4};
  run.scans_leave_joint();
}

// The equation's own density stands in the proposal and in the target; only the reader's is left.
TEST(CountInvariance, MissingCountsThatANormalOutcomeReads) {
  CountRun run(1, {{12}}, 186);
  run.own().missing_units = {0, 5, 6, 11};
  equation_setup reader = run.world.setup(0, {0, 1});
  reader.y = 9;
  hold_coefficients(reader, {0.4, 0.5});
  reader.estimate_resid = false;
  reader.resid_value = 0.7;
  run.setups.push_back(reader);
  for (equation_setup& setup : run.setups) let_move(setup, run.world, {1});
  run.scans_leave_joint();
  EXPECT_EQ(run.count().impute_tune.total, applications * 4U);
}

// Counts read counts: the logarithm of the one predicts the other.
TEST(CountInvariance, MissingCountsThatCountsRead) {
  CountRun run(2, small, 187);
  run.own().z[0] = {4};
  run.own().icept = {1};
  run.own().missing_units = {0, 5, 6};
  equation_setup reader = proper(run.world.setup(0, {0}));
  reader.y = 9;
  reader.x_compute.push_back(computed("ln(1 + #DATA(1)) / 4"));
  reader.missing_units = {5, 7};
  run.setups.push_back(reader);
  run.n_counts = 2;
  for (equation_setup& setup : run.setups) let_move(setup, run.world, {1, 9});
  run.scans_leave_joint();
}

}  // namespace
}  // namespace tovik::tests::count_invariance_test
