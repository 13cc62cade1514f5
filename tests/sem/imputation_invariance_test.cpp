// Scans of two equations leave the joint distribution of their parameters and data unchanged when one of
// them holds the other's incomplete outcome.

#include <gtest/gtest.h>

#include <cmath>

#include "invariance_frame.hpp"
#include "sample_tests.hpp"
#include "sem/wiring/settings.hpp"
#include "two_equations.hpp"

namespace tovik::tests::imputation_invariance_test {
namespace {

constexpr int replications = 10000;
constexpr int applications = 8;

const nesting small = {{5, 1, 7}, {3, 8}, {4, 2, 6, 1}};

enum class step { metropolis, slice };

/// `n` scans leave the joint distribution of what is admitted.
void pair_leaves_joint(TwoEquations& pair, int n, const std::function<bool(double)>& admitted) {
  kernel_leaves_joint(
      {replications, n}, [&] { pair.draw_joint(admitted); }, [&] { return pair.functions(); },
      [&] { pair.scan(); });
}

void scans_leave_joint(TwoEquations& pair, step kind, const std::function<bool(double)>& admitted = nullptr,
                       double scale = 1.5) {
  const Setting<bool> sampler(sem::sampler_settings::ess_sampler, kind == step::slice);
  pair.build();
  pair.of_m().imp_tune.value = scale;
  pair_leaves_joint(pair, applications, admitted);
  // A test that nothing moves would pass too.
  const auto& tune = pair.of_m().imp_tune;
  if (kind == step::metropolis)
    EXPECT_GT(tune.rate(), 0.2);
  else
    EXPECT_EQ(tune.total, 0U);
}

class EachStep : public testing::TestWithParam<step> {};
INSTANTIATE_TEST_SUITE_P(Imputation, EachStep, testing::Values(step::metropolis, step::slice),
                         [](const auto& info) { return info.param == step::slice ? "Slice" : "Metropolis"; });

TEST_P(EachStep, APredictorInOneLevel) {
  TwoEquations pair(1, {{12}}, 300);
  pair.m = pair.world.setup(0, {0, 2});
  pair.m.missing_units = {0, 3, 4, 11};
  pair.y = pair.world.setup(0, {0, 9, 2});
  scans_leave_joint(pair, GetParam());
}

TEST_P(EachStep, AProductWithTheMediator) {
  TwoEquations pair(1, {{12}}, 301);
  pair.m = pair.world.setup(0, {0, 2});
  pair.m.missing_units = {1, 3, 4};
  pair.y = pair.world.setup(0, {0, 9, 2});
  pair.y.x_compute = {computed("#DATA(9) * #DATA(2)")};
  scans_leave_joint(pair, GetParam());
}

TEST_P(EachStep, ARandomSlopeOfTheMediator) {
  TwoEquations pair(2, small, 302);
  pair.m = pair.world.setup(0, {0, 2});
  pair.m.z[0] = {0};
  pair.m.icept = {1};
  pair.m.missing_units = {0, 5, 6, 7, 20};
  pair.y = pair.world.setup(0, {0, 9});
  pair.y.z[0] = {0, 9};
  pair.y.icept = {1};
  scans_leave_joint(pair, GetParam());
}

TEST_P(EachStep, AMediatorOfLevelTwo) {
  TwoEquations pair(3, small, 303);
  pair.m = pair.world.setup(1, {0, 6});
  pair.m.z[0] = {0};
  pair.m.icept = {1};
  pair.m.missing_units = {0, 4, 5};
  pair.y = pair.world.setup(0, {0, 9, 2});
  pair.y.x_compute = {computed("#DATA(9) * #DATA(2)")};
  pair.y.z[0] = {0};
  pair.y.icept = {1, 0};
  scans_leave_joint(pair, GetParam());
}

TEST_P(EachStep, ALogarithm) {
  TwoEquations pair(1, {{12}}, 304);
  pair.transformation = "log(#DATA(0))";
  pair.m = pair.world.setup(0, {0});
  pair.m.estimate_resid = false;
  pair.m.resid_value = 0.3;
  pair.m.missing_units = {0, 3, 4};
  pair.y = pair.world.setup(0, {0, 9, 2});
  scans_leave_joint(pair, GetParam());
}

TEST_P(EachStep, AProbabilityScale) {
  TwoEquations pair(2, small, 305);
  pair.transformation = "iphi(#DATA(0))";
  pair.m = pair.world.setup(0, {0});
  pair.m.estimate_resid = false;
  pair.m.resid_value = 0.5;
  pair.m.missing_units = {0, 3, 4};
  pair.y = pair.world.setup(0, {0, 9, 2});
  pair.y.x_compute = {computed("#DATA(9) ^ 2")};
  scans_leave_joint(pair, GetParam());
}

// The range of the transformation truncates the mediator's distribution: with all its parameters known the
// joint distribution is still one to draw from.
TEST_P(EachStep, ASquareRoot) {
  TwoEquations pair(1, {{12}}, 306);
  pair.transformation = "sqrt(#DATA(0))";
  pair.m = pair.world.setup(0, {0});
  pair.m.estimate_resid = false;
  pair.m.missing_units = {0, 3, 4};
  pair.y = pair.world.setup(0, {0, 9, 2});
  scans_leave_joint(pair, GetParam(), [](double v) { return v > 0.0; });
}

TEST_P(EachStep, ASquare) {
  TwoEquations pair(1, {{12}}, 307);
  pair.transformation = "#DATA(0) ^ 2";
  pair.m = pair.world.setup(0, {0});
  pair.m.estimate_resid = false;
  pair.m.missing_units = {0, 3, 4};
  pair.y = pair.world.setup(0, {0, 9, 2});
  scans_leave_joint(pair, GetParam(), [](double v) { return v > 0.0; });
}

/// An equation that says much about the values together.
void make_strong(TwoEquations& pair) {
  pair.last_coefficient = 2.0;
  pair.y.estimate_resid = false;
  pair.y.resid_value = 0.4;
}

TEST_P(EachStep, AColumnThatIsCentred) {
  TwoEquations pair(1, {{5}}, 308);
  pair.m = pair.world.setup(0, {0, 2});
  pair.m.missing_units = {0, 1, 3, 4};
  pair.y = pair.world.setup(0, {0, 2});
  pair.y.x_compute = {computed("center(#DATA(9))")};
  make_strong(pair);
  scans_leave_joint(pair, GetParam(), nullptr, 0.4);
}

TEST_P(EachStep, AClusterMean) {
  TwoEquations pair(2, small, 309);
  pair.m = pair.world.setup(0, {0, 2});
  pair.m.missing_units = {0, 1, 5, 6, 7, 20};
  pair.y = pair.world.setup(0, {0, 9});
  pair.y.x_compute = {computed("clmn(#DATA(9), #DATA(10))")};
  make_strong(pair);
  pair.y.z[0] = {0};
  pair.y.icept = {1};
  scans_leave_joint(pair, GetParam());
}

TEST_P(EachStep, AClusterMeanInAnEquationOfLevelTwo) {
  TwoEquations pair(2, small, 310);
  pair.m = pair.world.setup(0, {0, 2});
  pair.m.missing_units = {0, 1, 5, 6, 20, 36};
  pair.y = pair.world.setup(1, {0, 6});
  pair.y.x_compute = {computed("clmn(#DATA(9), #DATA(10))")};
  make_strong(pair);
  scans_leave_joint(pair, GetParam());
}

// Without a reader the values come from their equation alone.
void predictive_leaves_joint(TwoEquations& pair, const std::function<bool(double)>& admitted) {
  pair.m.missing_units = {0, 3, 4};
  pair.y = pair.world.setup(0, {0, 2});
  pair.build();
  pair_leaves_joint(pair, 1, admitted);
  EXPECT_EQ(pair.of_m().imp_tune.total, 0U);
}

TEST(PredictiveImputation, ALogarithm) {
  TwoEquations pair(2, small, 320);
  pair.transformation = "log(#DATA(0))";
  pair.m = pair.world.setup(0, {0, 2});
  pair.m.z[0] = {0};
  pair.m.icept = {1};
  predictive_leaves_joint(pair, nullptr);
}

TEST(PredictiveImputation, ASquareRoot) {
  TwoEquations pair(1, {{10}}, 321);
  pair.transformation = "sqrt(#DATA(0))";
  pair.m = pair.world.setup(0, {0});
  pair.m.estimate_resid = false;
  predictive_leaves_joint(pair, [](double v) { return v > 0.0; });
}

TEST(PredictiveImputation, ASquareOfLevelTwo) {
  TwoEquations pair(2, small, 322);
  pair.transformation = "#DATA(0) ^ 2";
  pair.m = pair.world.setup(1, {0});
  pair.m.estimate_resid = false;
  predictive_leaves_joint(pair, [](double v) { return v > 0.0; });
}

}  // namespace
}  // namespace tovik::tests::imputation_invariance_test
