// Scans of outcomes with correlated residuals leave the joint distribution of everything unchanged: of the
// members' coefficients, effects, missing values and propensities, and of the covariance matrix, whatever is
// known of it.

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "block_world.hpp"
#include "kernel_samples.hpp"
#include "sample_tests.hpp"
#include "sem/wiring/likelihood.hpp"

namespace tovik::tests::block_kernel_test {
namespace {

constexpr int replications = 8000;
constexpr int applications = 6;

const nesting small = {{5, 1, 3}, {3, 4}};

void scans_leave_joint(BlockWorld& w) {
  Samples fresh, after;
  for (int rep = 0; rep < replications; ++rep) {
    w.draw_joint();
    fresh.add(w.functions());
    w.draw_joint();
    for (int t = 0; t < applications; ++t) w.scan();
    after.add(w.functions());
  }
  expect_same_distribution(fresh, after);
}

void three_outcomes(BlockWorld& w) {
  w.add(0, {0, 2});
  w.add(0, {0});
  w.add(0, {0, 3});
}

/// The densities that hold y of the first member, which the block has in one.
void give_list(BlockWorld& w) {
  auto list = std::make_unique<sem::estimator::likelihood>();
  for (const auto& model : w.models) list->add_once(model->likelihoodFunc(sem::likelihood_type::imputed));
  ASSERT_EQ(list->size(), 1u);
  w.models[0]->addLL(std::move(list), sem::likelihood_type::imputed);
}

TEST(BlockKernels, FreeMatrixAndMembersWithEffects) {
  BlockWorld w(2, small, 801);
  three_outcomes(w);
  w.setups[0].z = {{0, 2}};
  w.setups[1].z = {{0}};
  w.setups[2].missing_units = {1, 4, 9};
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, MissingValuesThatAnotherMemberReads) {
  BlockWorld w(1, {{9}}, 802);
  w.add(0, {0, 2}).missing_units = {0, 3, 7};
  w.add(0, {0, 1});
  w.add(0, {0, 3}).missing_units = {3, 5};
  w.finish();
  w.build();
  give_list(w);
  scans_leave_joint(w);
}

/// A member of a block keeps Metropolis steps where slices are asked for.
TEST(BlockKernels, MissingValuesThatAnotherMemberReadsWithSlicesOn) {
  Setting<bool> const slices(sem::estimator::Outcome::ess_sampler, true);
  BlockWorld w(1, {{8}}, 803);
  w.add(0, {0, 2}).missing_units = {0, 3};
  w.add(0, {0, 1});
  w.finish();
  w.build();
  give_list(w);
  scans_leave_joint(w);
}

TEST(BlockKernels, PropensityOfABinaryMember) {
  BlockWorld w(2, small, 804);
  w.add(0, {0, 2});
  w.add(0, {0, 3}, true).z = {{0}};
  w.add(0, {0}).missing_units = {2};
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, OutcomesOfLevelTwo) {
  BlockWorld w(3, {{2, 1, 3}, {2, 1}, {1, 2, 1}, {2}}, 805);
  w.add(1, {0, 6}).z = {{0}};
  w.add(1, {0}).missing_units = {2};
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, CorrelationHeldAtZero) {
  BlockWorld w(1, {{9}}, 806);
  three_outcomes(w);
  w.hold_correlation(2, 0, 0.0);
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, CorrelationHeldAtAValue) {
  BlockWorld w(1, {{9}}, 807);
  three_outcomes(w);
  w.hold_correlation(1, 0, 0.6);
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, CorrelationsHeldAtZeroAndAtAValue) {
  BlockWorld w(1, {{8}}, 808);
  three_outcomes(w);
  w.hold_correlation(1, 0, -0.5);
  w.hold_correlation(2, 1, 0.0);
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, VarianceHeld) {
  BlockWorld w(1, {{9}}, 809);
  three_outcomes(w);
  w.hold_variance(1, 0.8);
  w.setups[1].estimate_resid = false;
  w.setups[1].resid_value = 0.8;
  w.finish();
  w.build();
  scans_leave_joint(w);
}

TEST(BlockKernels, LabelledCorrelation) {
  BlockWorld w(1, {{9}}, 810);
  three_outcomes(w);
  w.label_correlation(2, 0);
  w.hold_correlation(1, 0, 0.4);
  w.finish();
  w.build();
  scans_leave_joint(w);
}

}  // namespace
}  // namespace tovik::tests::block_kernel_test
