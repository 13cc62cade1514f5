// The whole scan of a nominal outcome leaves the joint distribution of parameters and data unchanged: all
// priors are proper here, so that coefficients, effects, covariance matrices and values are all drawn.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <optional>

#include "invariance_frame.hpp"
#include "logistic_world.hpp"
#include "nominal_world.hpp"
#include "prior_states.hpp"
#include "sample_tests.hpp"
#include "sem/ensemble/likelihood_lists.hpp"

namespace tovik::tests::nominal_invariance_test {
namespace {

using sem::equation_setup;
using sem::Logistic;
using sem::Nominal;
using sem::Normal;

constexpr int replications = 10000;
constexpr int applications = 6;
constexpr double prior_variance = 0.8;
const std::vector<double> categories = {3.0, 1.0, 7.5};

const nesting small = {{5, 1, 7}, {3, 8}, {4, 2, 6, 1}};

equation_setup proper(equation_setup setup) {
  setup = logistic(std::move(setup), prior_variance);
  setup.prior = {1, 1};
  return setup;
}

/// Parameters and effects of each code, and the categories.
void draw_nominal(World& world, Nominal& model, const sem::nominal_codes& codes, Random& rng) {
  for (arma::uword c = 0; c < model.n_codes(); ++c) {
    draw_starts(model.member(c), prior_variance, rng);
    draw_effects(model.member(c), rng);
  }
  draw_categories(world, model, codes, rng);
}

/// Every one of them continuous: categories enter by their products with parameters.
void add_functions(const Nominal& model, const arma::Mat<double>& data, std::vector<double>& out) {
  const arma::Col<double> l = model.logLiklihood(data, static_cast<int>(model.level));
  out.insert(out.end(), {arma::accu(l), l(0), l(5)});
  const arma::Mat<double> p = model.compute_predicted(data);
  const auto& rows = *model.member(0).cluster.own_rows[0];
  const arma::Col<arma::uword> columns = model.published();
  for (arma::uword c = 0; c < model.n_codes(); ++c) {
    const Logistic& code = model.member(c);
    const arma::Mat<double>& b = code.betas();
    const double missing_y = data(rows(0), columns(c)), other_y = data(rows(5), columns(c));
    double score = 0.0;
    for (arma::uword i = 0; i < rows.n_elem; ++i) score += data(rows(i), columns(c)) - p(i, c + 1);
    for (double value : b) out.push_back(value);
    out.insert(out.end(), {score, b(0) * (missing_y - 0.3), b(0) * (other_y - 0.3),
                           b(0) * (missing_y - other_y + 0.1), b(0) * model.member(0).betas()(0)});
    add_effect_functions(code, missing_y - 0.3, out);
  }
}

void scan_leaves_joint(World world, const equation_setup& setup, std::uint32_t seed) {
  const Setting<bool> check(sem::Regression::check_residuals, true);
  const sem::nominal_codes codes = add_codes(world, categories);
  LoneEstimator estimator(seed);
  Random rng(seed, 2U);
  std::optional<Nominal> model;
  const auto functions = [&] {
    std::vector<double> out;
    add_functions(*model, world.data, out);
    return out;
  };
  kernel_leaves_joint(
      {replications, applications, [&] { model.emplace(&estimator, setup, codes); }},
      [&] { draw_nominal(world, *model, codes, rng); }, functions, [&] { model->draw(world.data); });
}

TEST(NominalInvariance, SingleLevel) {
  World world(1, {{20}}, 181);
  equation_setup setup = proper(world.setup(0, {0, 2}));
  scan_leaves_joint(world, setup, 1800);
  setup.missing_units = {0, 5, 6};
  scan_leaves_joint(world, setup, 1801);
}

// Clusters of one row, and clusters in which a category does not stand.
TEST(NominalInvariance, ThreeEffectsOfSmallClusters) {
  World world(2, small, 182);
  equation_setup setup = proper(world.setup(0, {0, 2, 6}));
  setup.z[0] = {0, 2, 3};
  setup.icept = {1};
  setup.missing_units = {0, 5, 9};
  scan_leaves_joint(world, setup, 1810);
}

TEST(NominalInvariance, ThreeLevels) {
  World world(3, small, 183);
  equation_setup setup = proper(world.setup(0, {0, 2}));
  setup.z = {{0}, {0}};
  setup.icept = {1, 1};
  scan_leaves_joint(world, setup, 1820);
}

TEST(NominalInvariance, OutcomeOfTheSecondLevel) {
  World world(3, {{2, 1, 2}, {1, 1, 3}, {2, 2}, {1, 2, 1}}, 184);
  equation_setup setup = proper(world.setup(1, {0, 6}));
  setup.z = {{0}};
  setup.icept = {1};
  setup.missing_units = {0, 4};
  scan_leaves_joint(world, setup, 1830);
}

/// An incomplete x of three categories, in column 9 with codes in 10 and 11; a y of three categories that
/// reads the codes, in column 1 with codes in 12 and 13; and a normal outcome that reads them, column 14.
struct ReadCodes {
  World world;
  LoneEstimator estimator;
  Random rng;
  equation_setup of_x, of_y, of_normal;
  sem::nominal_codes x_codes, y_codes;
  std::shared_ptr<Nominal> x, y;
  std::shared_ptr<Normal> normal;
  const Setting<bool> check{sem::Regression::check_residuals, true};

  ReadCodes(unsigned levels, const nesting& sizes, std::uint32_t seed)
      : world(levels, sizes, seed), estimator(seed), rng(seed, 2U) {
    world.data.insert_cols(9, 1);
    x_codes = add_codes(world, categories);
    y_codes = add_codes(world, {0.0, 1.0, 2.0});
    world.data.insert_cols(14, 1);
    of_x = proper(world.setup(0, {0, 2}));
    of_x.y = 9;
    of_y = proper(world.setup(0, {0, 10, 11}));
    of_normal = world.setup(0, {0, 10});
    of_normal.y = 14;
    of_normal.prior = {1, 1};
    hold_coefficients(of_normal, {0.4, 1.2});
    of_normal.estimate_resid = false;
    of_normal.resid_value = 0.7;
    for (equation_setup* setup : {&of_x, &of_y, &of_normal}) let_move(*setup, world, {1, 9, 10, 11, 12, 13});
  }

  void build() {
    x = std::make_shared<Nominal>(&estimator, of_x, x_codes);
    y = std::make_shared<Nominal>(&estimator, of_y, y_codes);
    normal = std::make_shared<Normal>(&estimator, of_normal);
    sem::wire_likelihood_lists({x, y, normal}, world.level_units(), world.data);
  }
  void draw_joint() {
    draw_nominal(world, *x, x_codes, rng);
    draw_nominal(world, *y, y_codes, rng);
    draw_normal(world, *normal, rng);
  }
  void scan() {
    x->draw(world.data);
    y->draw(world.data);
  }
  std::vector<double> functions() const {
    std::vector<double> out;
    add_functions(*x, world.data, out);
    add_functions(*y, world.data, out);
    const arma::Mat<double> e = normal->compute_residual(world.data);
    out.insert(out.end(), {arma::accu(e), e(0), e(5)});
    const double slope = y->member(0).betas()(1);
    out.push_back(slope * (world.data(0, 10) - 0.3));
    out.push_back(slope * (world.data(5, 11) - world.data(0, 10) + 0.1));
    return out;
  }
  void scans_leave_joint() {
    proposal_count proposals;
    world_leaves_joint(*this, {.replications = replications,
                               .applications = applications,
                               .begin = [&] { build(); },
                               .after = [&] { proposals.add(x->impute_tune); }});
    EXPECT_EQ(proposals.total,
              static_cast<std::uint64_t>(replications * applications) * of_x.missing_units.n_elem);
    EXPECT_LT(proposals.accepted, proposals.total);
    EXPECT_GT(proposals.accepted, proposals.total / 3);
  }
};

TEST(NominalInvariance, CategoriesThatOtherOutcomesRead) {
  ReadCodes run(1, {{20}}, 185);
  run.of_x.missing_units = {0, 5, 6, 11};
  run.of_y.missing_units = {5, 7};
  run.scans_leave_joint();
}

TEST(NominalInvariance, CategoriesThatOtherOutcomesReadWithinClusters) {
  ReadCodes run(2, {{5, 1, 4}, {3, 6}}, 186);
  for (equation_setup* setup : {&run.of_x, &run.of_y}) {
    setup->z[0] = {0};
    setup->icept = {1};
  }
  run.of_x.missing_units = {0, 5, 6};
  run.of_y.missing_units = {5};
  run.scans_leave_joint();
}

}  // namespace
}  // namespace tovik::tests::nominal_invariance_test
