// Scans of a factor and of the equation that holds it leave their joint distribution unchanged, whatever
// draws the scores.

#include <gtest/gtest.h>

#include <cmath>

#include "kernel_samples.hpp"
#include "sample_tests.hpp"
#include "sem/wiring/settings.hpp"
#include "two_equations.hpp"

namespace tovik::tests::factor_invariance_test {
namespace {

constexpr int replications = 8000;
constexpr int applications = 6;

const nesting small = {{5, 1, 4}, {3, 6}, {4, 2, 1}};

enum class step { metropolis, slice };

struct how {
  step scores;
  bool free_loading;
};

void scans_leave_joint(TwoEquations& pair, const how& drawn) {
  const Setting<bool> sampler(sem::sampler_settings::ess_sampler, drawn.scores == step::slice);
  pair.latent = true;
  pair.free = drawn.free_loading;
  pair.build();
  pair.of_m().imp_tune.value = 1.5;
  Samples fresh, after;
  for (int rep = 0; rep < replications; ++rep) {
    pair.draw_joint();
    fresh.add(pair.functions());
    pair.draw_joint();
    for (int t = 0; t < applications; ++t) pair.scan();
    after.add(pair.functions());
  }
  expect_same_distribution(fresh, after);
  const auto& tune = pair.of_m().imp_tune;
  if (drawn.scores == step::metropolis)
    EXPECT_GT(tune.rate(), 0.2);
  else
    EXPECT_EQ(tune.total, 0U);
}

class FactorScores : public testing::TestWithParam<how> {};
INSTANTIATE_TEST_SUITE_P(EachStep, FactorScores,
                         testing::Values(how{step::metropolis, false}, how{step::metropolis, true},
                                         how{step::slice, false}, how{step::slice, true}),
                         [](const auto& info) {
                           return std::string(info.param.scores == step::slice ? "Slice" : "Metropolis") +
                                  (info.param.free_loading ? "FreeLoading" : "FixedLoading");
                         });

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
  pair.y.z[0] = {0, 9};
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
  scans_leave_joint(pair, GetParam());
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

TEST_P(FactorScores, SquaredInTheEquation) {
  TwoEquations pair(1, {{10}}, 705);
  pair.m = pair.world.setup(0, {0});
  pair.m.estimate_resid = false;
  pair.y = pair.world.setup(0, {0, 9});
  pair.y.x_compute = {computed("#DATA(9) ^ 2")};
  scans_leave_joint(pair, GetParam());
}

}  // namespace
}  // namespace tovik::tests::factor_invariance_test
