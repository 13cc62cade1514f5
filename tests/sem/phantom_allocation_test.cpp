#include <gtest/gtest.h>

#include "allocation_count.hpp"
#include "correlated_world.hpp"
#include "sample_tests.hpp"

namespace tovik::tests::phantom_allocation_test {
namespace {

/// Allocations of 200 scans after the first ten.
std::size_t allocations_of(CorrelatedWorld& w) {
  // What compares residuals takes room of its own.
  const Setting<bool> unchecked(sem::Normal::check_residuals, false);
  w.finish();
  w.build();
  w.draw_joint();
  for (int t = 0; t < 10; ++t) w.scan();
  std::size_t const before = allocations();
  for (int t = 0; t < 200; ++t) w.scan();
  return allocations() - before;
}

nesting many_clusters() {
  nesting out(20);
  for (unsigned top = 0; top < 20; ++top)
    for (unsigned c = 0; c < 5; ++c) out[top].push_back(1 + (top + 3 * c) % 9);
  return out;
}

TEST(PhantomAllocation, NoneWithCorrelatedResiduals) {
  CorrelatedWorld w(1, {{300}}, 401);
  w.add(0, 1, {0, 2});
  w.add(0, 9, {0, 3});
  w.add(0, 10, {0});
  w.ties = {{11, 0, {{0, 0, 0}, {1, 0, 0}}}, {12, 0, {{2, 0, 0}, {0, 0, 0}}}};
  EXPECT_EQ(allocations_of(w), 0U);
}

TEST(PhantomAllocation, NoneWithCorrelatedEffects) {
  CorrelatedWorld w(3, many_clusters(), 402);
  w.add(0, 1, {0}).z = {{0, 2}, {0}};
  w.add(0, 9, {0}).z = {{0}, {0}};
  w.ties = {{11, 1, {{0, 1, 0}, {1, 1, 0}}},
            {12, 1, {{1, 1, 0}, {0, 1, 1}}},
            {13, 2, {{0, 2, 0}, {1, 2, 0}}},
            {14, 0, {{0, 0, 0}, {1, 0, 0}}}};
  EXPECT_EQ(allocations_of(w), 0U);
}

}  // namespace
}  // namespace tovik::tests::phantom_allocation_test
