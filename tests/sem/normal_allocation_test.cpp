#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include "allocation_count.hpp"
#include "sample_tests.hpp"
#include "scan_world.hpp"

namespace tovik::tests::normal_allocation_test {
namespace {

using sem::equation_setup;
using sem::Normal;

/// And the state stays where it is.
void expect_no_allocation(World world, const equation_setup& setup, bool keep_rows) {
  LoneEstimator estimator(12);
  Normal model(&estimator, setup);
  if (keep_rows) model.keep_rows();
  model.draw(world.data);
  const double* b = model.betas().memptr();
  EXPECT_EQ(allocations_of_scans(9, [&] { model.draw(world.data); }), 0U);
  EXPECT_EQ(model.betas().memptr(), b);
}

TEST(NormalAllocation, TheCounterSeesEveryWay) {
  std::size_t const before = allocations();
  const auto number = std::make_unique<int>(1);
  void* volatile block = std::malloc(64);
  std::free(block);
  const arma::Mat<double> matrix(30, 30, arma::fill::zeros);
  EXPECT_GE(allocations() - before, 3U);
  EXPECT_EQ(*number, 1);
  EXPECT_EQ(matrix(29, 29), 0.0);
}

TEST(NormalAllocation, NoneInASingleLevelScan) {
  World world(1, {{500}}, 51);
  simulate_outcome(world, 0, 1.0, 51);
  const equation_setup setup = world.setup(0, {0, 2, 3, 4, 5, 6, 7});
  expect_no_allocation(world, setup, false);
  expect_no_allocation(world, setup, true);
}

TEST(NormalAllocation, NoneInATwoLevelScan) {
  World world(2, many_clusters(), 52);
  simulate_outcome(world, 0, 1.0, 52);
  for (arma::uword q : {1, 2, 3}) {
    equation_setup setup = world.setup(0, {0, 2, 3, 6});
    setup.z[0] = arma::Col<arma::uword>{0, 2, 3}.head(q);
    setup.icept = {1};
    expect_no_allocation(world, setup, false);
    expect_no_allocation(world, setup, true);
  }
}

TEST(NormalAllocation, NoneInAThreeLevelScan) {
  World world(3, many_clusters(), 53);
  simulate_outcome(world, 0, 1.0, 53);
  equation_setup setup = world.setup(0, {0, 2, 3, 6, 8});
  setup.z = {{0, 2}, {0}};
  setup.icept = {1, 1};
  expect_no_allocation(world, setup, false);
}

TEST(NormalAllocation, NoneWithAMissingOutcome) {
  World world(2, many_clusters(), 54);
  simulate_outcome(world, 0, 1.0, 54);
  equation_setup setup = world.setup(0, {0, 2});
  setup.z[0] = {0};
  setup.icept = {1};
  for (arma::uword i = 0; i < 60; ++i) setup.missing_units.insert_rows(i, arma::Col<arma::uword>{3 * i});
  expect_no_allocation(world, setup, false);
}

}  // namespace
}  // namespace tovik::tests::normal_allocation_test
