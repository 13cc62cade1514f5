// The whole scan of a nominal outcome leaves the joint distribution of parameters and data unchanged: all
// priors are proper here, so that coefficients, effects, covariance matrices and values are all drawn.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "kernel_samples.hpp"
#include "logistic_world.hpp"
#include "nominal_world.hpp"
#include "phantom_world.hpp"
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

/// Coefficients, covariances and effects of each code from their priors.
void draw_parameters(Nominal& model, Random& rng) {
  for (arma::uword c = 0; c < model.n_codes(); ++c) {
    Logistic& code = model.member(c);
    arma::Col<double> starts = code.params();
    arma::uword at = 0;
    for (unsigned L = code.n_levels; L-- > 0;) {
      arma::uword const q = code.u[L].n_cols;
      const arma::Mat<double> S = q == 0 ? arma::Mat<double>() : draw_prior_covariance(q, rng);
      for (arma::uword j = 0; j < q; ++j)
        for (arma::uword i = j; i < q; ++i) starts(at++) = S(i, j);
    }
    for (; at < starts.n_elem; ++at) starts(at) = std::sqrt(prior_variance) * rng.rnorm();
    code.addStarts(starts);
    for (unsigned L = 0; L < code.n_levels; ++L) {
      arma::uword const q = code.u[L].n_cols;
      if (q > 0)
        code.u[L] =
            rng.randn(static_cast<int>(code.u[L].n_rows), static_cast<int>(q)) * arma::chol(code.Sigma[L]);
    }
  }
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
    for (unsigned L = 0; L < model.n_levels; ++L) {
      const auto& u = code.u[L];
      arma::uword const q = u.n_cols;
      if (q == 0) continue;
      const double scale = std::sqrt(code.Sigma[L](0, 0));
      out.insert(out.end(), {std::log(code.Sigma[L](0, 0)), std::log(arma::det(code.Sigma[L])),
                             u(0, 0) / scale, u(1, q - 1), u(0, 0) * (missing_y - 0.3) / scale,
                             u(0, 0) * b(0) / scale, std::log(arma::accu(u % (u * code.iSigma[L])))});
    }
  }
}

void scan_leaves_joint(World world, const equation_setup& setup, std::uint32_t seed) {
  const Setting<bool> check(sem::Regression::check_residuals, true);
  const sem::nominal_codes codes = add_codes(world, categories);
  LoneEstimator estimator(seed);
  Random rng(seed, 2U);
  Samples fresh, after;
  const auto draw_joint = [&](Nominal& model) {
    draw_parameters(model, rng);
    draw_categories(world, model, codes, rng);
  };
  const auto functions = [&](const Nominal& model) {
    std::vector<double> out;
    add_functions(model, world.data, out);
    return out;
  };
  for (int rep = 0; rep < replications; ++rep) {
    Nominal model(&estimator, setup, codes);
    draw_joint(model);
    fresh.add(functions(model));
    draw_joint(model);
    for (int t = 0; t < applications; ++t) model.draw(world.data);
    after.add(functions(model));
  }
  expect_same_distribution(fresh, after);
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
    of_normal.fixed = {0, 1};
    of_normal.fixed_values = {0.4, 1.2};
    of_normal.estimate_resid = false;
    of_normal.resid_value = 0.7;
    for (equation_setup* setup : {&of_x, &of_y, &of_normal}) {
      setup->mutable_columns.assign(15, false);
      for (arma::uword column : {1U, 9U, 10U, 11U, 12U, 13U}) setup->mutable_columns[column] = true;
    }
  }

  void build() {
    x = std::make_shared<Nominal>(&estimator, of_x, x_codes);
    y = std::make_shared<Nominal>(&estimator, of_y, y_codes);
    normal = std::make_shared<Normal>(&estimator, of_normal);
    sem::level_units units;
    for (const auto& ids : world.units) units.push_back(&ids);
    sem::wire_likelihood_lists({x, y, normal}, units, world.data);
  }
  void draw_joint() {
    draw_parameters(*x, rng);
    draw_categories(world, *x, x_codes, rng);
    draw_parameters(*y, rng);
    draw_categories(world, *y, y_codes, rng);
    world.data.col(14) = normal->compute_predicted(world.data) +
                         std::sqrt(0.7) * rng.randn(static_cast<int>(world.data.n_rows), 1);
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
    Samples fresh, after;
    std::uint64_t proposals = 0, accepted = 0;
    for (int rep = 0; rep < replications; ++rep) {
      build();
      draw_joint();
      fresh.add(functions());
      draw_joint();
      for (int t = 0; t < applications; ++t) {
        x->draw(world.data);
        y->draw(world.data);
      }
      after.add(functions());
      proposals += x->impute_tune.total;
      accepted += x->impute_tune.accepted;
    }
    expect_same_distribution(fresh, after);
    EXPECT_EQ(proposals, static_cast<std::uint64_t>(replications * applications) * of_x.missing_units.n_elem);
    EXPECT_LT(accepted, proposals);
    EXPECT_GT(accepted, proposals / 3);
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
