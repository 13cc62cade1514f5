// Scans of a factor and of the equation that holds it leave their joint distribution unchanged, whatever
// draws the scores.

#include <gtest/gtest.h>

#include <cmath>

#include "invariance_frame.hpp"
#include "sample_tests.hpp"
#include "sem/autosolver/solver.hpp"
#include "sem/outcomes/ordinal.hpp"
#include "sem/wiring/settings.hpp"
#include "two_equations.hpp"

namespace tovik::tests::factor_invariance_test {
namespace {

constexpr int replications = 8000;
constexpr int applications = 6;

const nesting small = {{5, 1, 4}, {3, 6}, {4, 2, 1}};

enum class step { metropolis, slice, solver };

struct how {
  step scores;
  bool free_loading;
};

/// `cofactor`: see TwoEquations::solve().
void scans_leave_joint(TwoEquations& pair, const how& drawn, const std::string& cofactor = "") {
  const Setting<bool> sampler(sem::sampler_settings::ess_sampler, drawn.scores == step::slice);
  pair.latent = true;
  pair.free = drawn.free_loading;
  pair.build();
  pair.of_m().imp_tune.value = 1.5;
  if (drawn.scores == step::solver) pair.solve(cofactor);
  world_leaves_joint(pair, {replications, applications});
  const auto& tune = pair.of_m().imp_tune;
  if (drawn.scores == step::metropolis)
    EXPECT_GT(tune.rate(), 0.2);
  else
    EXPECT_EQ(tune.total, 0U);
}

std::string name_of(const testing::TestParamInfo<how>& info) {
  const char* const names[] = {"Metropolis", "Slice", "Solver"};
  return std::string(names[static_cast<int>(info.param.scores)]) +
         (info.param.free_loading ? "FreeLoading" : "FixedLoading");
}

class FactorScores : public testing::TestWithParam<how> {};
INSTANTIATE_TEST_SUITE_P(EachStep, FactorScores,
                         testing::Values(how{step::metropolis, false}, how{step::metropolis, true},
                                         how{step::slice, false}, how{step::slice, true},
                                         how{step::solver, false}, how{step::solver, true}),
                         name_of);

/// Where no distribution is solved.
class SquaredScores : public testing::TestWithParam<how> {};
INSTANTIATE_TEST_SUITE_P(EachStep, SquaredScores,
                         testing::Values(how{step::metropolis, false}, how{step::metropolis, true},
                                         how{step::slice, false}, how{step::slice, true}),
                         name_of);

TEST_P(FactorScores, OfRows) {
  TwoEquations pair(1, {{10}}, 700);
  pair.m = pair.world.setup(0, {0, 2});
  pair.y = pair.world.setup(0, {0, 9});
  scans_leave_joint(pair, GetParam());
}

TEST_P(FactorScores, OfRowsWithRandomEffectsOnBothSides) {
  TwoEquations pair(2, small, 701);
  pair.m = pair.world.setup(0, {0});
  pair.m.z[0] = {0};
  pair.m.icept = {1};
  pair.y = pair.world.setup(0, {0, 9});
  // A random slope of the factor leaves no solution.
  pair.y.z[0] = {0, GetParam().scores == step::solver ? arma::uword{2} : arma::uword{9}};
  pair.y.icept = {1};
  scans_leave_joint(pair, GetParam());
}

TEST_P(FactorScores, OfClusters) {
  TwoEquations pair(2, small, 702);
  pair.m = pair.world.setup(1, {0, 6});
  pair.y = pair.world.setup(0, {0, 9, 2});
  pair.y.x_compute = {computed("#DATA(9) * #DATA(2)")};
  pair.y.z[0] = {0};
  pair.y.icept = {1};
  scans_leave_joint(pair, GetParam(), "#DATA(2)");
}

TEST_P(FactorScores, OfClustersOfClusters) {
  TwoEquations pair(3, small, 703);
  pair.m = pair.world.setup(2, {0});
  pair.y = pair.world.setup(0, {0, 9});
  pair.y.z[0] = {0};
  pair.y.icept = {1, 0};
  scans_leave_joint(pair, GetParam());
}

TEST_P(FactorScores, OfClustersWithinClusters) {
  TwoEquations pair(3, small, 704);
  pair.m = pair.world.setup(1, {0});
  pair.m.z[0] = {0};
  pair.m.icept = {1};
  pair.y = pair.world.setup(1, {0, 9});
  scans_leave_joint(pair, GetParam());
}

TEST_P(SquaredScores, InTheEquation) {
  TwoEquations pair(1, {{10}}, 705);
  pair.m = pair.world.setup(0, {0});
  pair.m.estimate_resid = false;
  pair.y = pair.world.setup(0, {0, 9});
  pair.y.x_compute = {computed("#DATA(9) ^ 2")};
  scans_leave_joint(pair, GetParam());
}

/// A factor of rows and two binary indicators, all parameters but the coefficients of the indicators and the
/// variance of the factor known.
struct BinaryIndicators {
  static constexpr arma::uword column = 9;
  World world;
  LoneEstimator estimator;
  Random rng{707, 2U};
  std::shared_ptr<sem::Factor> factor;
  std::vector<std::shared_ptr<sem::Ordinal>> indicators;

  BinaryIndicators() : world(1, {{8}}, 706), estimator(706) {
    world.data.insert_cols(column, 1);
    sem::equation_setup f = world.setup(0, {0, 2});
    f.y = column;
    f.prior = {1, 1};
    f.fixed = {0, 1};
    f.fixed_values = {0.2, 0.5};
    f.mutable_columns.assign(world.data.n_cols, false);
    f.mutable_columns[1] = f.mutable_columns[8] = f.mutable_columns[column] = true;
    factor = std::make_shared<sem::Factor>(&estimator, f);
    for (arma::uword y : {arma::uword{1}, arma::uword{8}}) {
      sem::equation_setup o = world.setup(0, {0, column});
      o.y = y;
      o.prior = {1, 1};
      o.coefficients = sem::scan::coefficient_prior::ridge(1.0);
      o.response_moves = true;
      o.mutable_columns = f.mutable_columns;
      sem::ordered_values const observed{{0.0, 1.0}, arma::uvec(8, arma::fill::zeros), 0};
      indicators.push_back(std::make_shared<sem::Ordinal>(&estimator, o, observed));
    }
    auto solver = std::make_shared<sem::autosolver::solver<sem::autosolver::normal>>();
    solver->rng = &estimator.random;
    const arma::uvec all = factor->missing_rows;
    solver->functions = {factor->dist_self(all)};
    for (const auto& o : indicators)
      solver->functions.push_back(o->distributionFunc(
          sem::distribution_type::fixed, sem::autosolver::solution::constant(1, column), 0, all));
    factor->addDist(solver, sem::distribution_type::fixed);
  }

  void draw_joint() {
    factor->sigma2 = 1.0 / rng.rgamma(1.0, 2.0);
    for (arma::uword i = 0; i < 8; ++i)
      world.data(i, column) = 0.2 + 0.5 * world.data(i, 2) + std::sqrt(factor->sigma2) * rng.rnorm();
    for (const auto& o : indicators) {
      for (double& b : o->betas_) b = rng.rnorm();
      arma::uvec categories(8);
      for (arma::uword i = 0; i < 8; ++i) {
        const double score = o->betas_(0) + o->betas_(1) * world.data(i, column) + rng.rnorm();
        o->propensity.values(i) = score;
        categories(i) = score > 0.0 ? 1 : 0;
        world.data(i, o->y(0)) = static_cast<double>(categories(i));
      }
      o->propensity.sets.observe(categories);
    }
  }

  void scan() {
    factor->draw(world.data);
    for (const auto& o : indicators) o->draw(world.data);
  }

  std::vector<double> functions() const {
    const arma::vec e = factor->compute_residual(world.data);
    std::vector<double> out = {std::log(factor->sigma2), std::log(arma::dot(e, e) / factor->sigma2),
                               e(0) / std::sqrt(factor->sigma2)};
    for (const auto& o : indicators) {
      const arma::vec d = o->compute_residual(world.data);
      out.insert(out.end(), {o->betas_(0), o->betas_(1), o->betas_(1) * e(0) / std::sqrt(factor->sigma2),
                             d(0), arma::dot(d, d), arma::dot(d, e) / std::sqrt(factor->sigma2)});
    }
    return out;
  }
};

TEST(FactorOfBinaryIndicators, ScoresBySolver) {
  BinaryIndicators w;
  world_leaves_joint(w, {replications, applications});
}

}  // namespace
}  // namespace tovik::tests::factor_invariance_test
