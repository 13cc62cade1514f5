// The whole scan of an outcome whose residual variance differs between clusters leaves the joint distribution
// of parameters and data unchanged, what the variances share given: that has a flat prior, and its draw given
// the variances is tested with its posterior.

#include <gtest/gtest.h>

#include "hev_world.hpp"
#include "invariance_frame.hpp"
#include "sample_tests.hpp"
#include "sem/wiring/settings.hpp"

namespace tovik::tests::normal_hev_invariance_test {
namespace {

using sem::equation_setup;
using values = HevWorld::values;

constexpr int applications = 6;

const nesting small = {{5, 1, 7}, {3, 8}, {4, 2, 6, 1}};
const nesting few = {{4, 1, 3}, {2, 3}};

void scans_leave_joint(HevWorld& w, int replications = 8000) {
  const Setting<bool> check(sem::Normal::check_residuals, true);
  // They move what the variances share.
  const Setting<bool> each(sem::sampler_settings::move_variances, false);
  const Setting<bool> slice(sem::sampler_settings::ess_sampler, w.missing == values::slice);
  world_leaves_joint(w, {replications, applications, [&] {
                           w.build();
                           w.models[0]->imp_tune.value = 1.5;
                         }});
}

TEST(NormalHevInvariance, ClustersOfOneRowAndMissingValues) {
  HevWorld w(2, small, 601);
  equation_setup& setup = w.add(0, {0, 2, 6});
  setup.z[0] = {0};
  setup.icept = {1};
  setup.missing_units = {0, 5, 6, 7};
  scans_leave_joint(w);
}

TEST(NormalHevInvariance, WithoutEffects) {
  HevWorld w(2, small, 602);
  w.add_with_prior(0, {0, 2, 6}).missing_units = {1, 5};
  scans_leave_joint(w);
}

TEST(NormalHevInvariance, CoefficientsWithThreeEffectsIntegratedOut) {
  HevWorld w(2, small, 603);
  equation_setup& setup = w.add_with_prior(0, {0, 2, 3});
  setup.z[0] = {0, 2, 3};
  setup.icept = {1};
  scans_leave_joint(w);
}

TEST(NormalHevInvariance, TheNearestOfTwoLevels) {
  HevWorld w(3, small, 604);
  equation_setup& setup = w.add_with_prior(0, {0, 2, 8});
  setup.z = {{0}, {0, 2}};
  setup.icept = {1, 1};
  setup.missing_units = {3};
  scans_leave_joint(w);
}

TEST(NormalHevInvariance, AnOutcomeOfLevelTwo) {
  HevWorld w(3, small, 605);
  equation_setup& setup = w.add_with_prior(1, {0, 6});
  setup.z = {{0}};
  setup.icept = {1};
  setup.missing_units = {0, 5};
  scans_leave_joint(w);
}

class HevValues : public testing::TestWithParam<values> {};
INSTANTIATE_TEST_SUITE_P(NormalHevInvariance, HevValues,
                         testing::Values(values::metropolis, values::slice, values::solved),
                         [](const auto& info) {
                           return info.param == values::solved  ? "Solved"
                                  : info.param == values::slice ? "Slice"
                                                                : "Metropolis";
                         });

TEST_P(HevValues, MissingValuesThatAnotherEquationReads) {
  HevWorld w(2, few, 610);
  w.missing = GetParam();
  equation_setup& first = w.add(0, {0, 2});
  first.z[0] = {0};
  first.icept = {1};
  first.missing_units = {0, 4, 5, 9};
  equation_setup& second = w.add(0, {0, 1});
  second.z[0] = {0};
  second.icept = {1};
  scans_leave_joint(w);
}

TEST(NormalHevInvariance, EffectsThatAnotherEquationReads) {
  HevWorld w(2, small, 620);
  w.published = true;
  equation_setup& first = w.add(0, {0, 2});
  first.z[0] = {0, 2};
  first.icept = {1};
  w.add(0, {0, 12});
  scans_leave_joint(w);
}

TEST(NormalHevInvariance, CorrelatedResiduals) {
  HevWorld w(2, few, 630);
  w.tied = true;
  w.add(0, {0, 2}).missing_units = {2, 4};
  equation_setup& second = w.add_with_prior(0, {0, 3});
  second.z[0] = {0};
  second.icept = {1};
  scans_leave_joint(w, 12000);
}

TEST_P(HevValues, CorrelatedResidualsAndMissingValuesThatAreRead) {
  HevWorld w(2, few, 640);
  w.tied = true;
  w.missing = GetParam();
  w.add(0, {0, 2}).missing_units = {2, 4};
  w.add(0, {0, 1});
  scans_leave_joint(w);
}

}  // namespace
}  // namespace tovik::tests::normal_hev_invariance_test
