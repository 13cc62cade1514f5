// The whole scan of the normal outcome leaves the joint distribution of parameters and data unchanged.
// Coefficients are held fixed, since their prior is flat, or have a normal one; the variances have their
// proper prior (prior 1).

#include <gtest/gtest.h>

#include <cmath>
#include <optional>

#include "invariance_frame.hpp"
#include "prior_states.hpp"
#include "scan_world.hpp"

namespace tovik::tests::normal_invariance_test {
namespace {

using sem::equation_setup;
using sem::Normal;
namespace scan = sem::scan;

constexpr int replications = 20000;
constexpr int applications = 10;

const nesting small = {{5, 1, 7}, {3, 8}, {4, 2, 6, 1}};

/// Parameters, effects and outcome from their joint distribution, into the model and the data.
void draw_joint(World& world, const equation_setup& setup, Normal& model, Random& rng) {
  model.sigma2 = 1.0 / rng.rgamma(1.0, 2.0);
  draw_covariances_and_effects(model, rng);
  if (setup.fixed.is_empty())
    for (double& b : model.betas_) b = rng.rnorm();
  arma::Col<double> y(setup.cluster.own_rows[0]->n_elem);
  for (double& value : y) value = std::sqrt(model.sigma2) * rng.rnorm();
  add_fixed_part(world, setup, model.betas_, y);
  add_random_part(world, setup, model.u, y);
  world.write(setup.level, 1, y);
}

std::vector<double> functions(const World& world, const equation_setup& setup, const Normal& model) {
  const auto& rows = *setup.cluster.own_rows[0];
  const auto& y = world.data.col(1);
  const double sd = std::sqrt(model.sigma2);
  std::vector<double> out = {std::log(model.sigma2), y(rows(0)), y(rows(0)) / sd,
                             y(rows(5)) * y(rows(0)) / model.sigma2};
  const arma::Mat<double> e = model.compute_residual(world.data);
  out.push_back(std::log(arma::accu(arma::square(e)) / model.sigma2));
  out.push_back(arma::accu(e) / sd);
  out.push_back(e(0) / sd);
  if (setup.fixed.is_empty()) {
    const auto& b = model.betas_;
    out.insert(out.end(), {b(0), b(1), b(0) * b(1), b(0) * y(rows(0))});
    if (model.u[0].n_cols > 0) out.insert(out.end(), {b(0) * model.u[0](0, 0), b(1) * model.u[0](1, 0)});
  }
  for (unsigned L = 0; L < setup.n_levels; ++L) {
    arma::uword const q = model.u[L].n_cols;
    if (q == 0) continue;
    const double scale = std::sqrt(model.Sigma[L](0, 0));
    out.push_back(std::log(model.Sigma[L](0, 0)));
    out.push_back(std::log(arma::det(model.Sigma[L])));
    out.push_back(model.Sigma[L](0, q - 1) / std::sqrt(model.Sigma[L](0, 0) * model.Sigma[L](q - 1, q - 1)) *
                  scale);
    out.push_back(model.u[L](0, 0));
    out.push_back(model.u[L](1, q - 1) / scale);
    out.push_back(model.u[L](0, 0) * y(rows(0)) / (scale * sd));
    out.push_back(arma::dot(model.u[L].col(0), model.u[L].col(q - 1)));
    out.push_back(std::log(arma::accu(model.u[L] % (model.u[L] * model.iSigma[L]))));
  }
  return out;
}

void scan_leaves_joint(World world, equation_setup setup, std::uint32_t seed) {
  setup.prior = {1, 1};
  if (setup.coefficients.is_flat()) hold_coefficients(setup);
  LoneEstimator estimator(seed);
  Random rng(seed, 2U);
  std::optional<Normal> model;
  kernel_leaves_joint(
      {replications, applications, [&] { model.emplace(&estimator, setup); }},
      [&] { draw_joint(world, setup, *model, rng); }, [&] { return functions(world, setup, *model); },
      [&] { model->draw(world.data); });
}

TEST(NormalInvariance, SingleLevel) {
  World world(1, {{20}}, 1);
  equation_setup setup = world.setup(0, {0, 2});
  scan_leaves_joint(world, setup, 200);
  setup.missing_units = {0, 5, 6};
  scan_leaves_joint(world, setup, 201);
}

TEST(NormalInvariance, TwoLevelsWithASlope) {
  World world(2, small, 2);
  equation_setup setup = world.setup(0, {0, 2, 6});
  setup.z[0] = {0, 2};
  setup.icept = {1};
  scan_leaves_joint(world, setup, 210);
  setup.missing_units = {0, 5, 6, 7};
  scan_leaves_joint(world, setup, 211);
}

TEST(NormalInvariance, ThreeLevels) {
  World world(3, small, 3);
  equation_setup setup = world.setup(0, {0, 2});
  setup.z = {{0}, {0}};
  setup.icept = {1, 1};
  setup.missing_units = {5, 9};
  scan_leaves_joint(world, setup, 220);
}

TEST(NormalInvariance, OutcomeOfLevelTwo) {
  World world(3, small, 4);
  equation_setup setup = world.setup(1, {0, 6});
  setup.z = {{0}};
  setup.icept = {1};
  setup.missing_units = {0, 5};
  scan_leaves_joint(world, setup, 230);
}

// Coefficients with the effects of one level or of two integrated out, and effects given these.
TEST(NormalInvariance, WithCoefficientsOfTwoLevels) {
  World world(2, small, 5);
  equation_setup setup = world.setup(0, {0, 2, 6});
  setup.coefficients = scan::coefficient_prior::ridge(1.0);
  setup.z[0] = {0};
  setup.icept = {1};
  scan_leaves_joint(world, setup, 240);
  setup.z[0] = {0, 2};
  setup.missing_units = {0, 5, 6, 7};
  scan_leaves_joint(world, setup, 241);
}

TEST(NormalInvariance, WithCoefficientsOfThreeLevels) {
  World world(3, small, 6);
  equation_setup setup = world.setup(0, {0, 2, 6, 8});
  setup.coefficients = scan::coefficient_prior::ridge(1.0);
  setup.z = {{0, 2}, {0, 2}};
  setup.icept = {1, 1};
  setup.missing_units = {5, 9};
  scan_leaves_joint(world, setup, 250);
  setup.z = {{0}, {}};
  setup.icept = {1, 0};
  scan_leaves_joint(world, setup, 251);
  setup.z = {{}, {0, 2}};
  setup.icept = {0, 1};
  scan_leaves_joint(world, setup, 252);
}

}  // namespace
}  // namespace tovik::tests::normal_invariance_test
