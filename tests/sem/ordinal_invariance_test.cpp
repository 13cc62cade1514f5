// The steps on thresholds, propensities and missing categories of an ordinal outcome leave their distribution
// given the data unchanged: states drawn from it directly, against states that went through scans.

#include <gtest/gtest.h>

#include "invariance_frame.hpp"
#include "ordinal_world.hpp"

namespace tovik::tests::ordinal_invariance_test {
namespace {

constexpr int replications = 10000;
constexpr int applications = 6;

void scan_leaves_posterior(OrdinalWorld& world, bool solved = false) {
  world.build(solved);
  kernel_leaves_joint(
      {replications, applications}, [&] { world.draw_state(); }, [&] { return world.functions(); },
      [&] { world.model->draw(world.world.data); });
}

TEST(OrdinalInvariance, ReadByNobody) {
  OrdinalWorld world(0, 3, 300);
  scan_leaves_posterior(world);
}

TEST(OrdinalInvariance, WithItsCategoryReadByAnotherEquation) {
  OrdinalWorld world(0, 3, 301);
  world.c = 0.5;
  scan_leaves_posterior(world);
}

TEST(OrdinalInvariance, WithItsPropensityReadByAnotherEquation) {
  OrdinalWorld world(0, 3, 302);
  world.b = 0.8;
  scan_leaves_posterior(world);
  EXPECT_GT(world.model->tune_cmp.total, 0U);
}

TEST(OrdinalInvariance, WithPropensityAndCategoryReadByAnotherEquation) {
  OrdinalWorld world(0, 3, 303);
  world.b = 0.8;
  world.c = -0.6;
  scan_leaves_posterior(world);
}

TEST(OrdinalInvariance, WithASolvedPropensity) {
  OrdinalWorld world(0, 3, 304);
  world.b = 0.8;
  scan_leaves_posterior(world, true);
  EXPECT_EQ(world.model->tune_cmp.total, 0U);
  EXPECT_EQ(world.model->tune_mis.total, 0U);
}

TEST(OrdinalInvariance, WithASolvedPropensityAndTheCategoryReadToo) {
  OrdinalWorld world(0, 3, 305);
  world.b = 0.8;
  world.c = -0.6;
  scan_leaves_posterior(world, true);
  EXPECT_GT(world.model->tune_mis.total, 0U);
}

TEST(OrdinalInvariance, OfTwoCategories) {
  OrdinalWorld world(0, 2, 306);
  scan_leaves_posterior(world);
  OrdinalWorld read(0, 2, 307);
  read.b = -0.7;
  read.c = 0.4;
  scan_leaves_posterior(read);
}

TEST(OrdinalInvariance, OfLevelTwo) {
  OrdinalWorld world(1, 3, 308);
  world.b = 0.6;
  world.c = 0.3;
  scan_leaves_posterior(world);
}

}  // namespace
}  // namespace tovik::tests::ordinal_invariance_test
